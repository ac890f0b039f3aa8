// Checks persons and accesses from creation to deletion.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

using PersonsTest = CloudTest;

TEST_F(PersonsTest, PersonLivesFromCreationToDeletion)
{
    const Response created =
        Write("POST /access_persons",
              R"({"type":"access_user","attributes":{"name":"Bo","email":"b@x","pin":"777777"}})");
    const std::string id = m_drawn, path = "/access_persons/" + id;
    EXPECT_EQ(created.body, R"({"data":{"type":"access_user","id":")" + id +
                                R"(","attributes":{"name":"Bo","pin":"777777","email":"b@x"}}})");
    const std::string renamed = R"({"attributes":{"name":"Bob","pin":"777777"}})";
    EXPECT_EQ(Write("PUT " + path, renamed).body, Replaced(created.body, "\"Bo\"", "\"Bob\""));
    Expect(Write("PUT " + path, Replaced(renamed, "777777", "1234")), "422 pin_taken");
    Expect(Write("PUT " + path, Replaced(renamed, "{", R"({"type":"access_user",)")), "422 unknown_field");
    Expect(Write("POST " + path + "/email/notify"), "204");

    const std::string grant = R"({"attributes":{"accessible_id":"back","accessible_type":"lock"}})";
    const std::string granted = Write("POST " + path + "/accesses", grant).body;
    const std::string accessId = m_drawn;
    const std::string access = R"({"type":"access_person_access","id":")" + accessId +
                               R"(","attributes":{"accessible_id":"back","accessible_type":"lock",)"
                               R"("access_person_id":")" +
                               id + R"("}})";
    EXPECT_EQ(granted, R"({"data":)" + access + "}");
    EXPECT_EQ(Get(path + "/accesses").body, R"({"data":[)" + access + R"(],"meta":{"count":1}})");
    Expect(Delete("/access_persons/alex/accesses/" + accessId), "404 unknown_access");
    Expect(Delete(path), "204");
    Expect(Delete(path), "404 unknown_access_person");
    EXPECT_EQ(m_cloud.CurrentWorld().accesses.size(), 1U);
}

} // namespace cloudsim::test
