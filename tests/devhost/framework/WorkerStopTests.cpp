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
    std::string Calls;
    const WorkerStop::Wake Early(&Stop, [&] { Calls += "early "; });
    {
        const WorkerStop::Wake Gone(&Stop, [&] { Calls += "gone "; });
    }
    const WorkerStop::Wake None(nullptr, [&] { Calls += "none "; });
    EXPECT_FALSE(Stop.WaitFor(0ms));
    Stop.RequestStop();
    Stop.RequestStop();
    const WorkerStop::Wake Late(&Stop, [&] { Calls += "late "; });
    EXPECT_EQ(Calls, "early late ");
    EXPECT_TRUE(Stop.WaitFor(24h));
}

} // namespace
