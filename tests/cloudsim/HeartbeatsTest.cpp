// Checks what a lock does at its heartbeats and what the cloud knows of it in between.
#include "cloudsim/model/Heartbeats.h"

#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

using namespace std::chrono_literals;

class HeartbeatsTest : public CloudTest
{
protected:
    HeartbeatsTest() { Authorize(); }

    Json Device() { return Json::parse(Get("/devices/front").body).at("attributes"); }
};

TEST_F(HeartbeatsTest, CommandWaitsForTheNextHeartbeat)
{
    const Json answer = Json::parse(Write("PUT", "/devices/front/unlock", "").body);
    EXPECT_EQ(answer.at("type"), "lock");
    EXPECT_EQ(answer.at("id"), "front");
    EXPECT_EQ(answer.at("attributes").at("state"), "locked");
    now += 20s - 1ms;
    EXPECT_EQ(Device().at("state"), "locked");
    now += 1ms;
    const Json after = Device();
    EXPECT_EQ(after.at("state"), "unlocked");
    EXPECT_EQ(after.at("connected_at"), "2026-03-01T12:00:20Z");
    EXPECT_EQ(after.at("updated_at"), "2026-03-01T12:00:20Z");
    EXPECT_EQ(Json::parse(Get("/devices/back").body).at("attributes").at("state"), "locked");
}

TEST_F(HeartbeatsTest, LastCommandBeforeTheHeartbeatHolds)
{
    Write("PUT", "/devices/front/unlock", "");
    Write("PUT", "/devices/front/lock", "");
    now += 20s;
    EXPECT_EQ(Device().at("state"), "locked");
}

TEST_F(HeartbeatsTest, HeartbeatWithoutNewsMovesOnlyConnectedAt)
{
    now += 45s;
    const Json device = Device();
    EXPECT_EQ(device.at("connected_at"), "2026-03-01T12:00:40Z");
    EXPECT_EQ(device.at("updated_at"), "2026-03-01T12:00:00Z");
}

TEST_F(HeartbeatsTest, KnobWakesTheLockAndShiftsItsHeartbeat)
{
    now += 5s;
    EXPECT_EQ(Admin("POST", "/admin/locks/front/turn", R"({"state":"unlocked"})").status, 200);
    const Json device = Device();
    EXPECT_EQ(device.at("state"), "unlocked");
    EXPECT_EQ(device.at("connected_at"), "2026-03-01T12:00:05Z");
    now += 15s;
    EXPECT_EQ(Device().at("connected_at"), "2026-03-01T12:00:05Z");
    now += 5s;
    EXPECT_EQ(Device().at("connected_at"), "2026-03-01T12:00:25Z");
}

TEST_F(HeartbeatsTest, PendingCommandHasTheLastWordWhenTheKnobWakesTheLock)
{
    Write("PUT", "/devices/front/lock", "");
    Admin("POST", "/admin/locks/front/turn", R"({"state":"unlocked"})");
    EXPECT_EQ(Device().at("state"), "locked");
    EXPECT_FALSE(FirstLock().pending);
}

TEST_F(HeartbeatsTest, BatteryAndWifiShowAtTheNextHeartbeat)
{
    Admin("POST", "/admin/locks/front/battery", R"({"level":15})");
    Admin("POST", "/admin/locks/front/wifi", R"({"level":7})");
    EXPECT_EQ(Device().at("power_level"), 80);
    now += 20s;
    EXPECT_EQ(Device().at("power_level"), 15);
    EXPECT_EQ(Device().at("wifi_level"), 7);
}

TEST_F(HeartbeatsTest, OfflineLockDiesAtItsThirdMissedHeartbeatAndComesBack)
{
    Admin("POST", "/admin/locks/front/online", R"({"online":false})");
    Admin("POST", "/admin/locks/front/turn", R"({"state":"unlocked"})");
    Write("PUT", "/devices/front/lock", "");
    now += 60s - 1ms;
    EXPECT_EQ(Device().at("alive"), true);
    now += 1ms;
    const Json dead = Device();
    EXPECT_EQ(dead.at("alive"), false);
    EXPECT_EQ(dead.at("state"), "locked");
    EXPECT_EQ(dead.at("connected_at"), "2026-03-01T12:00:00Z");
    EXPECT_EQ(FirstLock().physical.state, LockState::Unlocked);

    Admin("POST", "/admin/locks/front/online", R"({"online":true})");
    EXPECT_EQ(Device().at("alive"), false);
    now += 20s;
    const Json back = Device();
    EXPECT_EQ(back.at("alive"), true);
    EXPECT_EQ(back.at("connected_at"), "2026-03-01T12:01:20Z");
    EXPECT_EQ(FirstLock().physical.state, LockState::Locked);
}

TEST_F(HeartbeatsTest, LongStandstillEndsInPhase)
{
    Lock lock = SmallWorld().locks.at(0);
    AdvanceLock(lock, StartTime() + std::chrono::years(50) + 7s);
    const auto age = StartTime() + std::chrono::years(50) + 7s - lock.connectedAt;
    EXPECT_GE(age, 0s);
    EXPECT_LT(age, 20s);
    EXPECT_EQ((lock.connectedAt - StartTime()) % 20s, 0s);
}

TEST_F(HeartbeatsTest, TimestampsKeepToTheirForm)
{
    for (const char* text : {"2024-02-29T23:59:59Z", "1999-12-31T00:00:00Z"})
        EXPECT_EQ(FormatTimestamp(ParseTimestamp(text).value()), text);
    for (const char* text : {"2023-02-29T00:00:00Z", "2023-13-01T00:00:00Z", "2023-01-01T24:00:00Z",
                             "2023-01-01 00:00:00Z", "2023-01-01T00:00:00", "+023-01-01T00:00:00Z"})
        EXPECT_FALSE(ParseTimestamp(text)) << text;
}

} // namespace
} // namespace cloudsim::test
