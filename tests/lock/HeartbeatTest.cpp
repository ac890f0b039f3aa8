// Heartbeat times of the cloud, and the supervision of a pending command.

#include "lock/LockTest.h"

#include <cstdlib>

namespace support
{

using HeartbeatTest = LockTest;

std::string CloudTime(std::time_t tTime)
{
    char Buffer[32];
    std::strftime(Buffer, sizeof Buffer, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&tTime));
    return Buffer;
}

// A time zone far from UTC must change nothing, and neither must its daylight saving.
struct Zone {
    explicit Zone(const char* pRule) { setenv("TZ", pRule, 1), tzset(); }
    ~Zone() { setenv("TZ", "UTC0", 1), tzset(); }
};

TEST_F(HeartbeatTest, ConnectionTimesMoveTheTimerForwardsOnly)
{
    struct Row {
        std::time_t GapS;
        bool Working;
        std::uint32_t TimerMs, TimerAfterMs;
        Lines Effects;
    };
    const std::string kLate =
        "report portivo 472: HeartBeat appears to be late - unable to estimate next HeartBeat";
    const std::string kGap = "trace: Time Difference since Heartbeat: [";
    const std::string kOff = "trace: Heartbeat timer off by";
    const std::string kGap10 = kGap + "10]", kConnected10 = "trace: Connected@[11:59:55] - Local@[12:00:05]";
    const std::string kReport467 = "report portivo 467: Your Portivo appears to be from the future";
    const std::string kReport461 =
        "report portivo 461: Your Portivo appears to be from the future: [12:00:10 > 12:00:05]";
    // clang-format off
    const Row Rows[] = {
        {10, true, 9999, 10000, {kGap10, kConnected10, kOff + ": [1] Seconds - Adjusting..."}},
        {10, true, 10000, 10000, {kGap10, kConnected10}},
        {10, true, 200000, 200000, {kGap10, kConnected10}},
        {10, false, 4000, 4000, {}},
        {300, false, 0, 0, {}},
        {301, true, 0, 0, {kGap + "301]", kLate, "trace: HeartBeat late by [1] Seconds"}},
        {0, true, 5000, 5000, {kGap + "0]", kReport467, "trace: Connected@[12:00:05] - Local@[12:00:05]"}},
        {-5, true, 5000, 5000, {kReport461, kGap + "-5]", kReport467,
         "trace: Connected@[12:00:10] - Local@[12:00:05]"}},
        {4294968, false, 0, 0, {kLate, "trace: HeartBeat late by [4294667] Seconds"}}, // saturates
    };
    // clang-format on
    constexpr std::time_t kNow = 1710072005; // 2024-03-10T12:00:05Z
    m_Clock.SetCalendar(kNow);
    m_Lock.TraceEnabled(1);
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    // In the last zone daylight saving begins on the day of the test's clock.
    for (const std::string Rule : {"UTC0", "FAR-14", "EST5EDT,M3.2.0,M11.1.0"}) {
        const Zone Local(Rule.c_str());
        for (const Row& R : Rows) {
            SCOPED_TRACE(testing::Message() << Rule << ", gap " << R.GapS << " s, timer " << R.TimerMs);
            m_Lock.RegisterWorking(R.Working);
            CPortivoProbe::WorkingTimer(m_Lock).SetElapsed(R.TimerMs);
            m_Journal.Take();
            EXPECT_EQ(Tell(ATTR_CONNECTED_AT, CloudTime(kNow - R.GapS).c_str()), 1);
            EXPECT_EQ(CPortivoProbe::WorkingTimer(m_Lock).QXTickCount(), R.TimerAfterMs);
            const Lines Effects = TakeEffects();
            if (Rule == "UTC0")
                EXPECT_EQ(Effects, R.Effects);
            else
                EXPECT_EQ(Effects.size(), R.Effects.size()) << "only the hours shown may be the zone's";
        }
    }
}

TEST_F(HeartbeatTest, HostileTimesAreReportedAndHarmless)
{
    m_Lock.RegisterWorking(1);
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    for (const char* pText : {"%s%n", "-2147483648--2147483648--2147483648T-9:-9:-9Z",
                              "2147483647-2147483647-2147483647T2147483647:2147483647:2147483647Z",
                              "99999999999999999999-1-1T1:1:1Z"}) {
        SCOPED_TRACE(pText);
        EXPECT_EQ(Tell(ATTR_CONNECTED_AT, pText), 1);
        EXPECT_FALSE(m_Journal.TakeReports().empty());
        EXPECT_LE(CPortivoProbe::WorkingTimer(m_Lock).QXTickCount(), 300000u);
    }
}

TEST_F(HeartbeatTest, PendingCommandShowsProgressAndTimesOut)
{
    struct Row {
        std::uint32_t IntervalMs, ElapsedMs;
        int Progress;
        unsigned LeftS;
        bool TimedOut;
    };
    m_Lock.TraceEnabled(1);
    for (const Row& R : {Row{300000, 150000, 50, 150, false}, Row{300000, 300001, 100, 0, false},
                         Row{300000, 540000, 180, 0, false}, Row{300000, 540001, 180, 0, true},
                         Row{0, 240001, 0, 0, true}, Row{43200000, 42949672, 99, 250, false},
                         Row{43200000, 42949673, 0, 250, false}, // the product wraps
                         Row{4294967000u, 239705, 0, 0, true}}) {
        SCOPED_TRACE(testing::Message() << R.ElapsedMs << " of " << R.IntervalMs);
        CPortivoProbe::HeartbeatInterval(m_Lock) = R.IntervalMs;
        m_Lock.RegisterWorking(1);
        CPortivoProbe::WorkingTimer(m_Lock).SetElapsed(R.ElapsedMs);
        CPortivoProbe::ProgressTimer(m_Lock).SetElapsed(901);
        m_Journal.Take();
        m_Lock.OnComponentIdle();
        Lines Expected{"trace: Working, Heartbeat @ [" + std::to_string(R.ElapsedMs / 1000) + "/" +
                           std::to_string(R.IntervalMs / 1000) + "] Seconds",
                       "dev-1 Progress " + std::to_string(R.Progress),
                       "dev-1 ProgressTime " + std::to_string(R.LeftS)};
        if (R.TimedOut)
            Expected = Expected + Lines{"trace: Did not receive updated status in a timely manner",
                                        "dev-1 Working 0", "dev-1 Unknown"};
        EXPECT_EQ(TakeEffects(), Expected);

        CPortivoProbe::ProgressTimer(m_Lock).SetElapsed(900);
        m_Lock.OnComponentIdle();
        EXPECT_EQ(TakeEffects(), Lines{}) << "no progress before more than 900 ms, none when not working";
    }
}

} // namespace support
