#include "devhost/framework/WorkerStop.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace
{

using devhost::WorkerStop;
using namespace std::chrono_literals;

TEST(WorkerStop, EndsAPauseOfItsOwnThreadOnly)
{
    WorkerStop Stop;
    std::promise<void> Started;
    std::thread Worker([&] {
        const WorkerStop::Scope Scope(Stop);
        EXPECT_EQ(WorkerStop::Current(), &Stop);
        Started.set_value();
        devhost::WorkerSleeper().Sleep(24h);
        devhost::WorkerSleeper().Sleep(24h); // a raised flag stays raised
    });
    Started.get_future().wait();
    EXPECT_EQ(WorkerStop::Current(), nullptr);
    EXPECT_FALSE(Stop.StopRequested());
    Stop.RequestStop();
    Worker.join();
    EXPECT_TRUE(Stop.StopRequested());
}

TEST(WorkerStop, CallsEachWakeFunctionOnce)
{
    WorkerStop Stop;
    int nEarly = 0, nGone = 0, nLate = 0;
    const WorkerStop::Wake Early(&Stop, [&] { ++nEarly; });
    {
        const WorkerStop::Wake Gone(&Stop, [&] { ++nGone; });
    }
    const WorkerStop::Wake None(nullptr, [&] { ++nGone; });
    EXPECT_FALSE(Stop.WaitFor(0ms));
    Stop.RequestStop();
    Stop.RequestStop();
    const WorkerStop::Wake Late(&Stop, [&] { ++nLate; });
    EXPECT_EQ(nEarly, 1);
    EXPECT_EQ(nGone, 0);
    EXPECT_EQ(nLate, 1);
    EXPECT_TRUE(Stop.WaitFor(24h));
}

} // namespace
