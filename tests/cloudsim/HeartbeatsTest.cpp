// Checks what a lock does at its heartbeats and what the cloud knows of it in between.
#include "cloudsim/model/Heartbeats.h"

#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

class HeartbeatsTest : public CloudTest
{
protected:
    // "STATE POWER WIFI" and the times of day of the last contact and the last change.
    std::string Device(const std::string& id = "front")
    {
        const Json shown = Json::parse(Get("/devices/" + id).body).at("attributes");
        return (shown.at("alive").get<bool>() ? "" : "dead ") + shown.at("state").get<std::string>() + " " +
               shown.at("power_level").dump() + " " + shown.at("wifi_level").dump() + " " +
               shown.at("connected_at").get<std::string>().substr(11, 8) + " " +
               shown.at("updated_at").get<std::string>().substr(11, 8);
    }
};

TEST_F(HeartbeatsTest, LastCommandAndNewLevelsShowAtTheNextHeartbeat)
{
    Admin("POST /admin/locks/front/battery", R"({"level":15})");
    Admin("POST /admin/locks/front/wifi", R"({"level":7})");
    Write("PUT /devices/front/lock");
    const std::string answer = Write("PUT /devices/front/unlock").body;
    EXPECT_EQ(answer, Get("/devices/front").body);
    m_now += 20s - 1ms;
    EXPECT_EQ(Device(), "locked 80 60 12:00:00 12:00:00");
    m_now += 1ms;
    EXPECT_EQ(Device(), "unlocked 15 7 12:00:20 12:00:20");
    m_now += 25s;
    EXPECT_EQ(Device(), "unlocked 15 7 12:00:40 12:00:20") << "no news at this one";
    EXPECT_EQ(Device("back"), "locked 70 50 12:00:40 12:00:00");
}

TEST_F(HeartbeatsTest, KnobWakesTheLockAndShiftsItsHeartbeatButAPendingCommandHasTheLastWord)
{
    m_now += 5s;
    Admin("POST /admin/locks/front/turn", R"({"state":"unlocked"})");
    EXPECT_EQ(Device(), "unlocked 80 60 12:00:05 12:00:05");
    m_now += 15s;
    EXPECT_EQ(Device(), "unlocked 80 60 12:00:05 12:00:05");
    m_now += 5s;
    EXPECT_EQ(Device(), "unlocked 80 60 12:00:25 12:00:05");
    Write("PUT /devices/front/unlock");
    Admin("POST /admin/locks/front/turn", R"({"state":"locked"})");
    EXPECT_EQ(Device(), "unlocked 80 60 12:00:25 12:00:05");
    EXPECT_FALSE(FirstLock().pending);
}

TEST_F(HeartbeatsTest, OfflineLockDiesAtItsThirdMissedHeartbeatAndComesBack)
{
    Admin("POST /admin/locks/front/online", R"({"online":false})");
    Admin("POST /admin/locks/front/turn", R"({"state":"unlocked"})");
    Write("PUT /devices/front/lock");
    m_now += 60s - 1ms;
    EXPECT_EQ(Device(), "locked 80 60 12:00:00 12:00:00");
    m_now += 1ms;
    EXPECT_EQ(Device(), "dead locked 80 60 12:00:00 12:01:00");
    EXPECT_EQ(FirstLock().physical.state, LockState::Unlocked);
    Admin("POST /admin/locks/front/online", R"({"online":true})");
    EXPECT_EQ(Device(), "dead locked 80 60 12:00:00 12:01:00");
    m_now += 20s;
    EXPECT_EQ(Device(), "locked 80 60 12:01:20 12:01:20");
    EXPECT_EQ(FirstLock().physical.state, LockState::Locked);
}

TEST(HeartbeatTimesTest, LongStandstillEndsInPhaseAndTimestampsKeepToTheirForm)
{
    Lock lock = SmallWorld().locks.at(0);
    AdvanceLock(lock, kStart + 24h * 365 * 50 + 7s);
    EXPECT_EQ(lock.connectedAt, kStart + 24h * 365 * 50);

    EXPECT_EQ(FormatTimestamp(ParseTimestamp("2024-02-29T23:59:59Z").value()), "2024-02-29T23:59:59Z");
    EXPECT_FALSE(ParseTimestamp("2023-02-29T00:00:00Z"));
    EXPECT_FALSE(ParseTimestamp("+023-01-01T00:00:00Z"));
}

} // namespace cloudsim::test
