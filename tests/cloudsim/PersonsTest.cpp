// Checks persons and accesses from creation to deletion, and the shape of the objects that readers rely on.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

using PersonsTest = CloudTest;

TEST_F(PersonsTest, PersonLivesFromCreationToDeletion)
{
    const Response created =
        Write("POST /access_persons",
              R"({"type":"access_user","attributes":{"name":"Bo","email":"b@x","pin":"777777"}})");
    const std::string id = drawn, path = "/access_persons/" + id;
    EXPECT_EQ(created.body, R"({"data":{"type":"access_user","id":")" + id +
                                R"(","attributes":{"name":"Bo","pin":"777777","email":"b@x"}}})");
    const std::string renamed = R"({"attributes":{"name":"Bob","pin":"777777"}})";
    EXPECT_EQ(Write("PUT " + path, renamed).body, Replaced(created.body, "\"Bo\"", "\"Bob\""));
    Expect(Write("PUT " + path, Replaced(renamed, "777777", "1234")), "422 pin_taken");
    Expect(Write("PUT " + path, Replaced(renamed, "{", R"({"type":"access_user",)")), "422 unknown_field");
    Expect(Write("POST " + path + "/email/notify"), "204");

    const std::string grant = R"({"attributes":{"accessible_id":"back","accessible_type":"lock"}})";
    const std::string granted = Write("POST " + path + "/accesses", grant).body;
    const std::string accessId = drawn;
    const std::string access = R"({"type":"access_person_access","id":")" + accessId +
                               R"(","attributes":{"accessible_id":"back","accessible_type":"lock",)"
                               R"("access_person_id":")" +
                               id + R"("}})";
    EXPECT_EQ(granted, R"({"data":)" + access + "}");
    EXPECT_EQ(Get(path + "/accesses").body, R"({"data":[)" + access + R"(],"meta":{"count":1}})");
    Expect(Delete("/access_persons/alex/accesses/" + accessId), "404 unknown_access");
    Expect(Delete(path), "204");
    Expect(Delete(path), "404 unknown_access_person");
    EXPECT_EQ(cloud.CurrentWorld().accesses.size(), 1U);
}

TEST_F(PersonsTest, ListsPutTypeAndIdBeforeNestedObjects)
{
    const std::string lists[][2] = {
        {"/locations/home", R"({"data":[{"type":"location","id":"home","attributes":{"name":"Home"}}],)"
                            R"("meta":{"count":1}})"},
        {"/devices",
         R"({"data":[{"type":"lock","id":"front","attributes":{"name":"Front","location_id":"home",)"
         R"("state":"locked","power_level":80,"power_source":"battery","wifi_level":60,)"
         R"("programming_code":"111222","serial_number":"S1","heartbeat_interval":20,)"
         R"("connected_at":"2026-03-01T12:00:00Z","updated_at":"2026-03-01T12:00:00Z","alive":true}},)"}};
    for (const auto& [path, begin] : lists)
        EXPECT_THAT(Get(path).body, StartsWith(begin));
}

} // namespace cloudsim::test
