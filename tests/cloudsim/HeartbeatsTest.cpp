// Checks what a lock does at its heartbeats and what the cloud knows of it in between.
#include "cloudsim/model/Heartbeats.h"

#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

using namespace std::chrono_literals;

class HeartbeatsTest : public AuthorizedTest
{
protected:
    // The state and the times of day of the last contact and the last change.
    std::string Device(const std::string& id = "front")
    {
        const Json shown = Json::parse(Get("/devices/" + id).body).at("attributes");
        return shown.at("state").get<std::string>() + (shown.at("alive").get<bool>() ? "" : " dead") + " " +
               shown.at("connected_at").get<std::string>().substr(11, 8) + " " +
               shown.at("updated_at").get<std::string>().substr(11, 8);
    }
    void Change(const std::string& part, const std::string& body)
    {
        EXPECT_EQ(Admin("POST", "/admin/locks/front/" + part, body).status, 200) << part;
    }
};

TEST_F(HeartbeatsTest, LastCommandAndNewLevelsShowAtTheNextHeartbeat)
{
    const auto levels = [&] { return Between(Get("/devices/front").body, "\"power_level\":", ",\"prog"); };
    Change("battery", R"({"level":15})");
    Change("wifi", R"({"level":7})");
    Write("PUT /devices/front/lock");
    const std::string answer = Write("PUT /devices/front/unlock").body;
    EXPECT_TRUE(answer.starts_with(R"({"type":"lock","id":"front","attributes":{)")) << answer;
    EXPECT_EQ(Between(answer, "\"state\":\"", "\""), "locked");
    now += 20s - 1ms;
    EXPECT_EQ(Device(), "locked 12:00:00 12:00:00");
    EXPECT_EQ(levels(), R"(80,"power_source":"battery","wifi_level":60)");
    now += 1ms;
    EXPECT_EQ(Device(), "unlocked 12:00:20 12:00:20");
    EXPECT_EQ(levels(), R"(15,"power_source":"battery","wifi_level":7)");
    now += 25s;
    EXPECT_EQ(Device(), "unlocked 12:00:40 12:00:20") << "no news at this one";
    EXPECT_EQ(Device("back"), "locked 12:00:40 12:00:00");
}

TEST_F(HeartbeatsTest, KnobWakesTheLockAndShiftsItsHeartbeatButAPendingCommandHasTheLastWord)
{
    now += 5s;
    Change("turn", R"({"state":"unlocked"})");
    EXPECT_EQ(Device(), "unlocked 12:00:05 12:00:05");
    now += 15s;
    EXPECT_EQ(Device(), "unlocked 12:00:05 12:00:05");
    now += 5s;
    EXPECT_EQ(Device(), "unlocked 12:00:25 12:00:05");
    Write("PUT /devices/front/unlock");
    Change("turn", R"({"state":"locked"})");
    EXPECT_TRUE(Device().starts_with("unlocked"));
    EXPECT_FALSE(FirstLock().pending);
}

TEST_F(HeartbeatsTest, OfflineLockDiesAtItsThirdMissedHeartbeatAndComesBack)
{
    Change("online", R"({"online":false})");
    Change("turn", R"({"state":"unlocked"})");
    Write("PUT /devices/front/lock");
    now += 60s - 1ms;
    EXPECT_EQ(Device(), "locked 12:00:00 12:00:00");
    now += 1ms;
    EXPECT_TRUE(Device().starts_with("locked dead 12:00:00"));
    EXPECT_EQ(FirstLock().physical.state, LockState::Unlocked);

    Change("online", R"({"online":true})");
    EXPECT_TRUE(Device().starts_with("locked dead"));
    now += 20s;
    EXPECT_TRUE(Device().starts_with("locked 12:01:20"));
    EXPECT_EQ(FirstLock().physical.state, LockState::Locked);
}

TEST(HeartbeatTimesTest, LongStandstillEndsInPhaseAndTimestampsKeepToTheirForm)
{
    Lock lock = SmallWorld().locks.at(0);
    AdvanceLock(lock, StartTime() + 24h * 365 * 50 + 7s);
    EXPECT_EQ(lock.connectedAt, StartTime() + 24h * 365 * 50);

    EXPECT_EQ(FormatTimestamp(ParseTimestamp("2024-02-29T23:59:59Z").value()), "2024-02-29T23:59:59Z");
    for (const char* text :
         {"2023-02-29T00:00:00Z", "2023-01-01T24:00:00Z", "2023-01-01T00:00:00", "+023-01-01T00:00:00Z"})
        EXPECT_FALSE(ParseTimestamp(text)) << text;
}

} // namespace
} // namespace cloudsim::test
