// Checks persons and accesses from creation to deletion, and the shape of the objects that readers rely on.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

using PersonsTest = AuthorizedTest;

std::string Access(const std::string& id, const std::string& lock)
{
    return R"({"type":"access_person_access","id":")" + id + R"(","attributes":{"accessible_id":")" + lock +
           R"(","accessible_type":"lock","access_person_id":"alex"}})";
}

std::string Grant(const std::string& lock)
{
    return R"({"attributes":{"accessible_id":")" + lock + R"(","accessible_type":"lock"}})";
}

TEST_F(PersonsTest, PersonLivesFromCreationToDeletion)
{
    const Response created =
        Write("POST /access_persons",
              R"({"type":"access_user","attributes":{"name":"Bo","email":"b@x","pin":"777777"}})");
    const std::string id = Between(created.body, "\"id\":\"", "\"");
    EXPECT_EQ(created.body, R"({"data":{"type":"access_user","id":")" + id +
                                R"(","attributes":{"name":"Bo","pin":"777777","email":"b@x"}}})");

    const std::string path = "/access_persons/" + id;
    EXPECT_EQ(Write("PUT " + path, R"({"attributes":{"name":"Bob","pin":"777777"}})").body,
              Replaced(created.body, "\"Bo\"", "\"Bob\""));
    EXPECT_EQ(Write("PUT " + path, R"({"attributes":{"name":"Bob","pin":"1234"}})").errorcode, "pin_taken");
    EXPECT_EQ(
        Write("PUT " + path, R"({"type":"access_user","attributes":{"name":"B","pin":"9999"}})").errorcode,
        "unknown_field");
    EXPECT_EQ(Write("POST " + path + "/email/notify").status, 204);

    ASSERT_EQ(Write("POST " + path + "/accesses", Grant("front")).status, 200);
    const Response deleted = Delete(path);
    EXPECT_EQ(deleted.status, 204);
    EXPECT_EQ(deleted.body, "");
    EXPECT_EQ(Delete(path).status, 404);
    EXPECT_EQ(cloud.CurrentWorld().accesses.size(), 1U);
}

TEST_F(PersonsTest, AccessesAreGrantedListedAndRevoked)
{
    const std::string path = "/access_persons/alex/accesses";
    const std::string granted = Write("POST " + path, Grant("back")).body;
    const std::string id = Between(granted, "\"id\":\"", "\"");
    EXPECT_EQ(granted, R"({"data":)" + Access(id, "back") + "}");
    EXPECT_EQ(Get(path).body, R"({"data":[)" + Access("alex-front", "front") + "," + Access(id, "back") +
                                  R"(],"meta":{"count":2}})");
    EXPECT_EQ(Delete(path + "/" + id).status, 204);
    EXPECT_EQ(Delete(path + "/" + id).errorcode, "unknown_access");
    EXPECT_EQ(Get("/access_persons/bob/accesses").errorcode, "unknown_access_person");
}

TEST_F(PersonsTest, ListsPutTypeAndIdBeforeNestedObjects)
{
    const std::string lists[][2] = {
        {"/access_persons", R"({"data":[{"type":"access_user","id":"alex","attributes":)"
                            R"({"name":"Alex","pin":"1234","email":null}}],"meta":{"count":1}})"},
        {"/locations/home", R"({"data":[{"type":"location","id":"home","attributes":{"name":"Home"}}],)"
                            R"("meta":{"count":1}})"},
        {"/devices",
         R"({"data":[{"type":"lock","id":"front","attributes":{"name":"Front","location_id":"home",)"
         R"("state":"locked","power_level":80,"power_source":"battery","wifi_level":60,)"
         R"("programming_code":"111222","serial_number":"S1","heartbeat_interval":20,)"
         R"("connected_at":"2026-03-01T12:00:00Z","updated_at":"2026-03-01T12:00:00Z","alive":true}},)"}};
    for (const auto& [path, begin] : lists)
        EXPECT_EQ(Get(path).body.substr(0, begin.size()), begin);
}

TEST_F(PersonsTest, PinOpensOnlyLocksWithAccess)
{
    EXPECT_EQ(Admin("POST", "/admin/locks/front/pin", R"({"pin":"0000"})").status, 403);
    EXPECT_EQ(Admin("POST", "/admin/locks/back/pin", R"({"pin":"1234"})").status, 403);
    EXPECT_EQ(cloud.CurrentWorld().locks[1].physical.state, LockState::Locked);
    const Response opened = Admin("POST", "/admin/locks/front/pin", R"({"pin":"1234"})");
    EXPECT_EQ(Json::parse(opened.body).at("access_person_id"), "alex");
    EXPECT_EQ(FirstLock().reported.state, LockState::Unlocked);
}

} // namespace
} // namespace cloudsim::test
