// A week of polls across the wrap of the millisecond counter: nothing piles up.

#include "simulation/Simulation.h"

#include <cstddef>
#include <gmock/gmock.h>
#include <malloc.h>

// The sanitizer's allocator keeps its own count; without it the symbol is null.
extern "C" std::size_t __attribute__((weak)) __sanitizer_get_current_allocated_bytes();

namespace
{

using namespace std::chrono_literals;

std::size_t HeapBytes()
{
    return &__sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes()
                                                    : mallinfo2().uordblks;
}

class Endurance : public support::SimulationTest
{
protected:
    Endurance() : SimulationTest(support::kLakeHouse) {}
};

TEST_F(Endurance, AWeekAcrossTheCountersWrapLeavesQueuesEmptyAndMemoryFlat)
{
    constexpr std::uint64_t kWrapMs = std::uint64_t{1} << 32;
    m_Clock.SetUptime(kWrapMs - 4 * 86'400'000ull);
    CVestaraInterface& Account = AddReadyAccount();
    AddLock(Account, "front", "Front");
    SetUser(0, "Dan", "4444");

    const auto LiveADay = [&] {
        std::size_t Polls = 0, Refreshes = 0;
        for (int Hour = 0; Hour < 24; ++Hour) {
            Live(1h, 400ms);
            for (const auto& Exchange : m_Simulated.Take()) {
                Polls += Exchange.Line == "GET /devices" ? 1 : 0;
                Refreshes += Exchange.Line == "POST /oauth/token" ? 1 : 0;
            }
            for (const std::string& Report : Reports())
                EXPECT_THAT(Report, testing::HasSubstr("appears to be")) << "of heartbeats only";
        }
        EXPECT_GT(Polls, 5000u);
        EXPECT_TRUE(Refreshes == 13 || Refreshes == 14) << Refreshes;
    };
    LiveADay();
    const std::size_t Before = HeapBytes();
    for (int Day = 1; Day < 8; ++Day) {
        SCOPED_TRACE(testing::Message() << "day " << Day);
        LiveADay();
        m_Simulated.Admin("POST", "/admin/locks/front/turn",
                          Day % 2 ? R"({"state":"unlocked"})" : R"({"state":"locked"})");
        Live(60s);
        EXPECT_EQ(Lock("front").State(), Day % 2 ? CDoorLock::STATE_UNSECURED : CDoorLock::STATE_SECURED);
    }
    EXPECT_GT(m_Clock.UptimeMs(), kWrapMs + 3 * 86'400'000ull);
    Live(10s);
    EXPECT_EQ(Probe(Account).Commands().GetCount() + Probe(Account).Responses().GetCount(), 0);
    m_Simulated.Take();
    Reports();
    const std::size_t After = HeapBytes();
    EXPECT_LT(After, Before + 64 * 1024) << "a leak of one byte a poll would show";
}

} // namespace
