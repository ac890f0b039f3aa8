// Turns and time of host and workers.

#include "sim/Scheduler.h"

#include <gmock/gmock.h>

namespace sim
{

using Lines = std::vector<std::string>;

// Who had the turn when, of three workers that pause at the same moments and of the host's rounds.
Lines Turns(std::uint64_t seed)
{
    support::ManualClock clock(0);
    Scheduler scheduler(clock, Random(seed));
    Lines turns;
    const auto note = [&](const std::string& who) {
        turns.push_back(who + " " + std::to_string(scheduler.NowMs()));
    };
    std::vector<std::unique_ptr<devhost::RunningWorker>> workers;
    for (const char* name : {"a", "b", "c"}) {
        workers.push_back(scheduler.Start(name, [&scheduler, note, name] {
            for (int pass = 0; pass < 20; ++pass) {
                scheduler.Sleep(std::chrono::milliseconds(50));
                scheduler.GiveWay();
                note(name);
            }
        }));
    }
    for (int round = 0; round < 10; ++round) {
        scheduler.Wait(50);
        scheduler.GiveWay(); // nothing on the host thread
        note("host");
    }
    for (const auto& worker : workers)
        worker->Join();
    return turns;
}

TEST(SchedulerTest, ChanceComesFromTheSeedAndEverybodyComesToTheEnd)
{
    const Lines first = Turns(1);
    EXPECT_EQ(first, Turns(1));
    EXPECT_NE(first, Turns(2));
    EXPECT_EQ(first.size(), 3u * 20 + 10);
    EXPECT_THAT(first, testing::Contains("host 50"));
    EXPECT_THAT(first, testing::Contains("host 500")) << "a round keeps its time whatever the workers do";
}

TEST(SchedulerTest, TheHostIsWokenAndTheEndOfAWorkerIsWaitedForWithoutItsPauses)
{
    support::ManualClock clock(0);
    Scheduler scheduler(clock, Random(1));
    int hostSleeps = 0;
    scheduler.onHostSleep = [&] { ++hostSleeps; };
    bool ended = false;
    const auto worker = scheduler.Start("w", [&] {
        scheduler.Wait(10);
        scheduler.WakeHost();
        scheduler.Wait(100'000);
        ended = true;
    });
    scheduler.Wait(1'000);
    EXPECT_EQ(scheduler.NowMs(), 10u);
    worker->Join();
    EXPECT_TRUE(ended);
    EXPECT_LT(scheduler.NowMs(), 100u);
    scheduler.Sleep(std::chrono::seconds(1));
    EXPECT_EQ(hostSleeps, 1);
}

} // namespace sim
