// Checks that fixtures survive saving and loading, and that broken ones are refused with the field's name.
#include "cloudsim/model/Fixture.h"

#include "cloudsim/server/StateFolder.h"
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

TEST(FixtureTest, ShippedFixturesLoad)
{
    const std::string folder = VESTARA_CLOUDSIM_FIXTURES;
    EXPECT_EQ(LoadWorld(ReadFile(folder + "/house.json"), StartTime()).locations.size(), 2U);
    EXPECT_EQ(LoadWorld(ReadFile(folder + "/single.json"), StartTime()).locations.size(), 1U);
}

using SavedWorldTest = AuthorizedTest;

TEST_F(SavedWorldTest, GoesOnWhereItWas)
{
    Admin("POST", "/admin/locks/back/online", R"({"online":false})");
    Admin("POST", "/admin/locks/front/battery", R"({"level":9})");
    now += std::chrono::seconds(20);
    Admin("POST", "/admin/locks/front/wifi", R"({"level":3})");
    Write("PUT /devices/front/unlock");
    const std::string saved = SaveWorld(cloud.CurrentWorld());
    const World loaded = LoadWorld(saved, now + std::chrono::hours(1));
    EXPECT_EQ(SaveWorld(loaded), saved);

    Cloud second(loaded, {}, SeededRandom(2));
    const std::string reply = second.HandleRaw(Bytes("GET /devices/front"), now + std::chrono::seconds(20));
    EXPECT_NE(reply.find(R"("state":"unlocked","power_level":9)"), std::string::npos) << reply;
    EXPECT_EQ(second.CurrentWorld().locks[1].missedHeartbeats, 2);
}

TEST(FixtureTest, BrokenFixturesNameTheField)
{
    // clang-format off
    const struct {
        std::string from, to, named;
    } rows[] = {
        {"{\"account\"", "\"account\"", "no JSON"},
        {"\"name\": \"Robin <Example>\"", "\"name\": 5", "account.name must be a text"},
        {"\"locations\": [{", "\"locations\": [7, {", "locations[0] must be an object"},
        {"\"name\": \"Back\", ", "", "locks[1].name is missing"},
        {"\"id\": \"back\"", "\"id\": \"front\"", "locks[1].id occurs twice"},
        {"\"id\": \"back\"", "\"id\": \"a/b\"", "locks[1].id must be"},
        {"\"location_id\": \"home\"", "\"location_id\": \"work\"", "locks[0].location_id names \"work\""},
        {"\"heartbeat_interval\": 20", "\"heartbeat_interval\": 0", "locks[0].heartbeat_interval must be"},
        {"\"state\": \"locked\"", "\"state\": \"open\"", "locks[0].state must be"},
        {"\"power_level\": 80", "\"power_level\": 80, \"colour\": 1", "locks[0].colour is not known"},
        {"\"power_level\"", "\"connected_at\": \"now\", \"power_level\"", "locks[0].connected_at must be"},
        {"\"pin\": \"1234\"", "\"pin\": \"12\"", "access_persons[0].pin must be"},
        {"\"accessible_id\": \"front\"", "\"accessible_id\": \"side\"", "accessible_id names \"side\""},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.to);
        try {
            LoadWorld(Replaced(SmallFixture(), row.from, row.to), StartTime());
            ADD_FAILURE() << "was accepted";
        } catch (const FixtureError& error) {
            EXPECT_NE(std::string(error.what()).find(row.named), std::string::npos) << error.what();
        }
    }
}

} // namespace
} // namespace cloudsim::test
