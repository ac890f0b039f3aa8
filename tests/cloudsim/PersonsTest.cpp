// Checks persons and accesses from creation to deletion, and the shape of the objects that readers rely on.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

class PersonsTest : public CloudTest
{
protected:
    PersonsTest() { Authorize(); }

    Response Grant(const std::string& person, const std::string& lock)
    {
        return Write("POST", "/access_persons/" + person + "/accesses",
                     R"({"attributes":{"accessible_id":")" + lock + R"(","accessible_type":"lock"}})");
    }
};

TEST_F(PersonsTest, PersonLivesFromCreationToDeletion)
{
    const Response created =
        Write("POST", "/access_persons",
              R"({"type":"access_user","attributes":{"name":"Bo","email":"b@x","pin":"777777"}})");
    ASSERT_EQ(created.status, 200);
    const Json person = Json::parse(created.body).at("data");
    const std::string id = person.at("id");
    EXPECT_EQ(created.body, R"({"data":{"type":"access_user","id":")" + id +
                                R"(","attributes":{"name":"Bo","pin":"777777","email":"b@x"}}})");

    const std::string path = "/access_persons/" + id;
    const Response updated = Write("PUT", path, R"({"attributes":{"name":"Bob","pin":"777777"}})");
    ASSERT_EQ(updated.status, 200);
    EXPECT_EQ(Json::parse(updated.body)["data"]["attributes"],
              Json::parse(R"({"name":"Bob","pin":"777777","email":"b@x"})"));
    EXPECT_EQ(Write("PUT", path, R"({"attributes":{"name":"Bob","pin":"1234"}})").errorcode, "pin_taken");
    EXPECT_EQ(
        Write("PUT", path, R"({"type":"access_user","attributes":{"name":"B","pin":"9999"}})").errorcode,
        "unknown_field");
    EXPECT_EQ(Write("POST", path + "/email/notify", "").status, 204);

    ASSERT_EQ(Grant(id, "front").status, 200);
    const Response deleted = Delete(path);
    EXPECT_EQ(deleted.status, 204);
    EXPECT_EQ(deleted.body, "");
    EXPECT_EQ(Delete(path).status, 404);
    EXPECT_EQ(cloud.CurrentWorld().accesses.size(), 1U);
}

TEST_F(PersonsTest, AccessesAreGrantedListedAndRevoked)
{
    const Json granted = Json::parse(Grant("alex", "back").body);
    EXPECT_FALSE(granted.contains("meta"));
    const std::string id = granted["data"]["id"];
    const Response list = Get("/access_persons/alex/accesses");
    EXPECT_EQ(
        list.body,
        R"({"data":[{"type":"access_person_access","id":"alex-front","attributes":{"accessible_id":"front",)"
        R"("accessible_type":"lock","access_person_id":"alex"}},{"type":"access_person_access","id":")" +
            id +
            R"(","attributes":{"accessible_id":"back","accessible_type":"lock","access_person_id":"alex"}}],)"
            R"("meta":{"count":2}})");
    EXPECT_EQ(Delete("/access_persons/alex/accesses/" + id).status, 204);
    EXPECT_EQ(Delete("/access_persons/alex/accesses/" + id).errorcode, "unknown_access");
    EXPECT_EQ(Get("/access_persons/bob/accesses").errorcode, "unknown_access_person");
}

TEST_F(PersonsTest, ListsPutTypeAndIdBeforeNestedObjects)
{
    EXPECT_EQ(
        Get("/access_persons").body,
        R"({"data":[{"type":"access_user","id":"alex","attributes":{"name":"Alex","pin":"1234","email":null}}],)"
        R"("meta":{"count":1}})");
    EXPECT_EQ(
        Get("/locations").body,
        R"({"data":[{"type":"location","id":"home","attributes":{"name":"Home"}}],"meta":{"count":1}})");
    EXPECT_EQ(Get("/locations/home").body, Get("/locations").body);
    const std::string devices = Get("/devices").body;
    EXPECT_TRUE(devices.starts_with(
        R"({"data":[{"type":"lock","id":"front","attributes":{"name":"Front","location_id":"home","state":"locked",)"
        R"("power_level":80,"power_source":"battery","wifi_level":60,"programming_code":"111222","serial_number":"S1",)"
        R"("heartbeat_interval":20,"connected_at":"2026-03-01T12:00:00Z","updated_at":"2026-03-01T12:00:00Z",)"
        R"("alive":true}},)"))
        << devices;
}

TEST_F(PersonsTest, PinOpensOnlyLocksWithAccess)
{
    EXPECT_EQ(Admin("POST", "/admin/locks/front/pin", R"({"pin":"0000"})").status, 403);
    EXPECT_EQ(Admin("POST", "/admin/locks/back/pin", R"({"pin":"1234"})").status, 403);
    EXPECT_EQ(cloud.CurrentWorld().locks[1].physical.state, LockState::Locked);
    const Response opened = Admin("POST", "/admin/locks/front/pin", R"({"pin":"1234"})");
    EXPECT_EQ(opened.status, 200);
    EXPECT_EQ(Json::parse(opened.body).at("access_person_id"), "alex");
    EXPECT_EQ(FirstLock().reported.state, LockState::Unlocked);
}

} // namespace
} // namespace cloudsim::test
