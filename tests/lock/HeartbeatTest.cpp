// Heartbeat times of the cloud, and the supervision of a pending command.

#include "lock/LockTest.h"

#include <cstdlib>

namespace support
{

using HeartbeatTest = LockTest;

std::string CloudTime(std::time_t tTime)
{
    std::tm Time{};
    gmtime_r(&tTime, &Time);
    char Buffer[32];
    std::strftime(Buffer, sizeof Buffer, "%Y-%m-%dT%H:%M:%SZ", &Time);
    return Buffer;
}

// A time zone far from UTC must change nothing, and neither must its daylight saving.
struct Zone {
    explicit Zone(const char* pRule) { setenv("TZ", pRule, 1), tzset(); }
    ~Zone() { setenv("TZ", "UTC0", 1), tzset(); }
};

struct Beat {
    std::time_t GapS;
    std::uint32_t IntervalMs;
    bool Working;
    std::uint32_t TimerMs, TimerAfterMs;
    std::vector<std::string> Reports, Traces; // a trace "Connected" stands for the line of both times
};

const char *const kLate = "HeartBeat appears to be late - unable to estimate next HeartBeat",
                  *const kFuture = "Your Portivo appears to be from the future",
                  *const kGap10 = "Time Difference since Heartbeat: [10]";

// clang-format off
const Beat kBeats[] = {
    {10, 300000, true, 9999, 10000, {}, {kGap10, "Connected", "Heartbeat timer off by: [1] Seconds - Adjusting..."}},
    {10, 300000, true, 4000, 10000, {}, {kGap10, "Connected", "Heartbeat timer off by: [6] Seconds - Adjusting..."}},
    {10, 300000, true, 10000, 10000, {}, {kGap10, "Connected"}},
    {10, 300000, true, 200000, 200000, {}, {kGap10, "Connected"}},
    {10, 300000, false, 4000, 4000, {}, {}},
    {300, 300000, false, 0, 0, {}, {}},
    {301, 300000, false, 0, 0, {kLate}, {"HeartBeat late by [1] Seconds"}},
    {400, 300000, true, 0, 0, {kLate}, {"Time Difference since Heartbeat: [400]", "HeartBeat late by [100] Seconds"}},
    {86400, 300000, false, 0, 0, {kLate}, {"HeartBeat late by [86100] Seconds"}},
    {0, 300000, true, 5000, 5000, {kFuture}, {"Time Difference since Heartbeat: [0]", "Connected"}},
    {-5, 300000, true, 5000, 5000, {"", kFuture}, {"Time Difference since Heartbeat: [-5]", "Connected"}},
    {4294968, 300000, false, 0, 0, {kLate}, {"HeartBeat late by [4294667] Seconds"}}, // saturates
};
// clang-format on

TEST_F(HeartbeatTest, ConnectionTimesMoveTheTimerForwardsOnly)
{
    m_Lock.TraceEnabled(1);
    // In the last zone daylight saving begins on the day of the test's clock.
    for (const char* pZone : {"UTC0", "FAR-14", "EST5EDT,M3.2.0,M11.1.0"}) {
        const Zone Local(pZone);
        for (const Beat& B : kBeats) {
            SCOPED_TRACE(testing::Message() << pZone << ", gap " << B.GapS << " s, timer " << B.TimerMs);
            constexpr std::time_t kNow = 1710072005; // 2024-03-10T12:00:05Z
            m_Clock.SetCalendar(kNow);
            CPortivoProbe::HeartbeatInterval(m_Lock) = B.IntervalMs;
            m_Lock.RegisterWorking(B.Working);
            CPortivoProbe::WorkingTimer(m_Lock).SetElapsed(B.TimerMs);
            m_Journal.Take();
            EXPECT_EQ(Tell(ATTR_CONNECTED_AT, CloudTime(kNow - B.GapS).c_str()), 1);
            EXPECT_EQ(CPortivoProbe::WorkingTimer(m_Lock).QXTickCount(), B.TimerAfterMs);

            Lines Found = Reports();
            ASSERT_EQ(Found.size(), B.Reports.size());
            for (std::size_t i = 0; i < Found.size(); ++i) {
                // The empty one is the line with the two local times, whose hours are the zone's.
                const std::string Start = B.Reports[i].empty() ? kFuture + std::string(": [") : B.Reports[i];
                EXPECT_EQ(B.Reports[i].empty() ? Found[i].substr(0, Start.size()) : Found[i], Start);
            }
            Found = m_Journal.TakeTraces();
            for (std::string& Line : Found)
                if (Line.rfind("Connected@[", 0) == 0)
                    Line = Line.size() == 39 ? "Connected" : Line;
            EXPECT_EQ(Found, B.Traces);
        }
    }
}

TEST_F(HeartbeatTest, HostileTimesAreReportedAndHarmless)
{
    m_Lock.RegisterWorking(1);
    m_Lock.TraceEnabled(1);
    CPortivoProbe::HeartbeatInterval(m_Lock) = 300000;
    for (const char* pText : {"x", "%s%n", "2024-05-01", "-2147483648--2147483648--2147483648T-9:-9:-9Z",
                              "2147483647-2147483647-2147483647T2147483647:2147483647:2147483647Z",
                              "99999999999999999999-1-1T1:1:1Z", "9999-12-31T23:59:59Z"}) {
        SCOPED_TRACE(pText);
        EXPECT_EQ(Tell(ATTR_CONNECTED_AT, pText), 1);
        EXPECT_FALSE(Reports().empty());
        EXPECT_LE(CPortivoProbe::WorkingTimer(m_Lock).QXTickCount(), 300000u);
    }
    m_Journal.Take();
    Tell(ATTR_CONNECTED_AT, "x"); // the year 0 lies further back than the gap can say
    EXPECT_EQ(m_Journal.TakeTraces().back(), "HeartBeat late by [4294667] Seconds");
    m_Journal.Take();
}

TEST_F(HeartbeatTest, PendingCommandShowsProgressAndTimesOut)
{
    struct Row {
        std::uint32_t IntervalMs, ElapsedMs;
        int Progress;
        unsigned LeftS;
        bool TimedOut;
    };
    for (const Row& R : {Row{300000, 150000, 50, 150, false}, Row{300000, 299999, 99, 0, false},
                         Row{300000, 300001, 100, 0, false}, Row{300000, 540000, 180, 0, false},
                         Row{300000, 540001, 180, 0, true}, Row{0, 240000, 0, 0, false},
                         Row{0, 240001, 0, 0, true}, Row{43200000, 42949672, 99, 250, false},
                         Row{43200000, 42949673, 0, 250, false}, // the product wraps
                         Row{4294967000u, 239704, 0, 0, false}, Row{4294967000u, 239705, 0, 0, true}}) {
        SCOPED_TRACE(testing::Message() << R.ElapsedMs << " of " << R.IntervalMs);
        CPortivoProbe::HeartbeatInterval(m_Lock) = R.IntervalMs;
        m_Lock.RegisterWorking(1);
        CPortivoProbe::WorkingTimer(m_Lock).SetElapsed(R.ElapsedMs);
        CPortivoProbe::ProgressTimer(m_Lock).SetElapsed(901);
        m_Lock.TraceEnabled(1);
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
        EXPECT_EQ(m_Lock.Working(), !R.TimedOut);

        CPortivoProbe::ProgressTimer(m_Lock).SetElapsed(900);
        m_Lock.OnComponentIdle();
        EXPECT_EQ(TakeEffects(), Lines{}) << "no progress before more than 900 ms, none when not working";
    }
}

} // namespace support
