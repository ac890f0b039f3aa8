// Checks that fixtures survive saving and loading, and that broken ones are refused with the field's name.
#include "cloudsim/server/StateFolder.h"
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

using FixtureTest = CloudTest;

TEST_F(FixtureTest, SavedWorldGoesOnWhereItWas)
{
    Admin("POST /admin/locks/back/online", R"({"online":false})");
    Admin("POST /admin/locks/front/battery", R"({"level":9})");
    m_now += 20s;
    Admin("POST /admin/locks/front/wifi", R"({"level":3})");
    Write("PUT /devices/front/unlock");
    const World loaded = LoadWorld(WholeWorld(), m_now + 1h);
    EXPECT_EQ(SaveWorld(loaded), WholeWorld());

    Cloud second(loaded, {}, SeededRandom(2));
    const std::string reply = second.HandleRaw(Bytes("GET /devices/front"), m_now + 20s);
    EXPECT_THAT(reply, HasSubstr(R"("state":"unlocked","power_level":9)"));
    EXPECT_EQ(second.CurrentWorld().locks[1].missedHeartbeats, 2);
}

TEST_F(FixtureTest, ShippedFixturesLoadAndBrokenOnesNameTheField)
{
    for (const char* name : {"/house.json", "/single.json"})
        LoadWorld(ReadFile(std::string(VESTARA_CLOUDSIM_FIXTURES) + name), kStart);
    // clang-format off
    const std::string rows[][3] = {
        {"\"locks\"", "locks", "the fixture is no JSON (line 3, column 1)"},
        {"\"Home\"", NestedArrays(62), "the fixture is nested deeper than 64 levels"},
        {"\"locations\": [{", "\"locations\": [7, {", "locations[0] must be an object"},
        {"\"name\": \"Back\", ", "", "locks[1].name is missing"},
        {"\"id\": \"back\"", "\"id\": \"front\"", "locks[1].id occurs twice"},
        {"\"id\": \"back\"", "\"id\": \"a/b\"", "locks[1].id must be"},
        {"\"location_id\": \"home\"", "\"location_id\": \"work\"", "locks[0].location_id names \"work\""},
        {"\"heartbeat_interval\": 20", "\"heartbeat_interval\": 0", "locks[0].heartbeat_interval must be"},
        {"\"power_level\": 80", "\"power_level\": 80, \"colour\": 1", "locks[0].colour is not known"},
        {"\"power_level\"", "\"connected_at\": \"now\", \"power_level\"", "locks[0].connected_at must be"},
        {"\"accessible_id\": \"front\"", "\"accessible_id\": \"side\"", "accesses[0].accessible_id names \"side\""},
    };
    // clang-format on
    for (const auto& [from, to, begin] : rows) {
        const std::string broken = Replaced(kSmallFixture, from, to);
        EXPECT_THAT([&] { LoadWorld(broken, kStart); },
                    testing::ThrowsMessage<FixtureError>(StartsWith(begin)))
            << to;
    }
}

} // namespace cloudsim::test
