// Heartbeat times of the cloud, and the supervision of a pending command.

#include "tests/lock/LockTest.h"

#include <cstdlib>

namespace support
{

using HeartbeatTest = LockTest;

std::string CloudTime(std::time_t time)
{
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&time));
    return buffer;
}

// A time zone far from UTC must change nothing, and neither must its daylight saving.
struct Zone {
    explicit Zone(const char* rule) { setenv("TZ", rule, 1), tzset(); }
    ~Zone() { setenv("TZ", "UTC0", 1), tzset(); }
};

TEST_F(HeartbeatTest, ConnectionTimesMoveTheTimerForwardsOnly)
{
    struct Row {
        std::time_t gapS;
        bool working;
        std::uint32_t timerMs, timerAfterMs;
        Lines effects;
    };
    const std::string kLate =
        "report portivo 472: HeartBeat appears to be late - unable to estimate next HeartBeat";
    const std::string kGap = "~trace: Time Difference since Heartbeat: [";
    const std::string kOff = "~trace: Heartbeat timer off by";
    const std::string kGap10 = kGap + "10]", kConnected10 = "~trace: Connected@[11:59:55] - Local@[12:00:05]";
    const std::string kReport467 = "report portivo 467: Your Portivo appears to be from the future";
    const std::string kReport461 =
        "report portivo 461: Your Portivo appears to be from the future: [12:00:10 > 12:00:05]";
    // clang-format off
    const Row rows[] = {
        {10, true, 9999, 10000, {kGap10, kConnected10, kOff + ": [1] Seconds - Adjusting..."}},
        {10, true, 10000, 10000, {kGap10, kConnected10}},
        {10, true, 200000, 200000, {kGap10, kConnected10}},
        {10, false, 4000, 4000, {}},
        {300, false, 0, 0, {}},
        {301, true, 0, 0, {kGap + "301]", kLate, "~trace: HeartBeat late by [1] Seconds"}},
        {0, true, 5000, 5000, {kGap + "0]", kReport467, "~trace: Connected@[12:00:05] - Local@[12:00:05]"}},
        {-5, true, 5000, 5000, {kReport461, kGap + "-5]", kReport467,
         "~trace: Connected@[12:00:10] - Local@[12:00:05]"}},
        {4294968, false, 0, 0, {kLate, "~trace: HeartBeat late by [4294667] Seconds"}}, // saturates
    };
    // clang-format on
    constexpr std::time_t kNow = 1710072005; // 2024-03-10T12:00:05Z
    m_clock.SetCalendar(kNow);
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    // In the last zone daylight saving begins on the day of the test's clock.
    for (const std::string rule : {"UTC0", "FAR-14", "EST5EDT,M3.2.0,M11.1.0"}) {
        const Zone local(rule.c_str());
        const bool tracing = rule != "FAR-14";
        m_lock.TraceEnabled(tracing);
        for (const Row& r : rows) {
            SCOPED_TRACE(testing::Message() << rule << ", gap " << r.gapS << " s, timer " << r.timerMs);
            m_lock.RegisterWorking(r.working);
            CPortivoProbe::WorkingTimer(m_lock).SetElapsed(r.timerMs);
            m_journal.Take();
            EXPECT_EQ(Tell(ATTR_CONNECTED_AT, CloudTime(kNow - r.gapS).c_str()), 1);
            EXPECT_EQ(CPortivoProbe::WorkingTimer(m_lock).QXTickCount(), r.timerAfterMs);
            const Lines effects = TakeEffects();
            if (rule == "UTC0")
                EXPECT_EQ(effects, WithTracing(true, r.effects));
            else
                EXPECT_EQ(effects.size(), WithTracing(tracing, r.effects).size())
                    << "only the hours shown may be the zone's";
        }
    }
}

TEST_F(HeartbeatTest, HostileTimesAreReportedAndHarmless)
{
    m_lock.RegisterWorking(1);
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    for (const char* text : {"%s%n", "-2147483648--2147483648--2147483648T-9:-9:-9Z",
                             "2147483647-2147483647-2147483647T2147483647:2147483647:2147483647Z",
                             "99999999999999999999-1-1T1:1:1Z"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Tell(ATTR_CONNECTED_AT, text), 1);
        EXPECT_FALSE(m_journal.TakeReports().empty());
        EXPECT_LE(CPortivoProbe::WorkingTimer(m_lock).QXTickCount(), 300000u);
    }
    // Near the epoch a time that is none counts as recent; its clock does not fit and is left out.
    m_clock.SetCalendar(100);
    m_lock.TraceEnabled(1);
    Tell(ATTR_CONNECTED_AT, "2147483647-2147483647-2147483647T2147483647:2147483647:2147483647Z");
    EXPECT_EQ(TakeEffects().at(2), "trace: Connected@[] - Local@[00:01:40]");
}

TEST_F(HeartbeatTest, PendingCommandShowsProgressAndTimesOut)
{
    struct Row {
        std::uint32_t intervalMs, elapsedMs;
        int progress;
        unsigned leftS;
        bool timedOut;
    };
    for (const Row& r : {Row{300000, 150000, 50, 150, false}, Row{300000, 300001, 100, 0, false},
                         Row{300000, 540000, 180, 0, false}, Row{300000, 540001, 180, 0, true},
                         Row{0, 240001, 0, 0, true}, Row{43200000, 42949672, 99, 250, false},
                         Row{43200000, 42949673, 0, 250, false}, // the product wraps
                         Row{4294967000u, 239705, 0, 0, true}}) {
        SCOPED_TRACE(testing::Message() << r.elapsedMs << " of " << r.intervalMs);
        const bool tracing = r.intervalMs != 0;
        m_lock.TraceEnabled(tracing);
        CPortivoProbe::HeartbeatInterval(m_lock) = r.intervalMs;
        m_lock.RegisterWorking(1);
        CPortivoProbe::WorkingTimer(m_lock).SetElapsed(r.elapsedMs);
        CPortivoProbe::ProgressTimer(m_lock).SetElapsed(901);
        m_journal.Take();
        m_lock.OnComponentIdle();
        Lines expected{"~trace: Working, Heartbeat @ [" + std::to_string(r.elapsedMs / 1000) + "/" +
                           std::to_string(r.intervalMs / 1000) + "] Seconds",
                       "dev-1 Progress " + std::to_string(r.progress),
                       "dev-1 ProgressTime " + std::to_string(r.leftS)};
        if (r.timedOut)
            expected = expected + Lines{"~trace: Did not receive updated status in a timely manner",
                                        "dev-1 Working 0", "dev-1 Unknown"};
        EXPECT_EQ(TakeEffects(), WithTracing(tracing, expected));

        CPortivoProbe::ProgressTimer(m_lock).SetElapsed(900);
        m_lock.OnComponentIdle();
        EXPECT_EQ(TakeEffects(), Lines{}) << "no progress before more than 900 ms, none when not working";
    }
}

} // namespace support
