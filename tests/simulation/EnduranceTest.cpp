// A week of polls across the wrap of the millisecond counter: tokens are refreshed, and nothing piles up.

#include "tests/simulation/Simulation.h"

#include <gmock/gmock.h>
#include <malloc.h>

// The sanitizer's allocator keeps its own count; without it the symbol is null.
extern "C" std::size_t __attribute__((weak)) __sanitizer_get_current_allocated_bytes();

namespace support
{

using EnduranceTest = SimulationTest;

std::size_t HeapBytes()
{
    return &__sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes()
                                                    : mallinfo2().uordblks;
}

TEST_F(EnduranceTest, AWeekAcrossTheCountersWrapLeavesQueuesEmptyAndMemoryFlat)
{
    constexpr std::uint64_t kWrapMs = std::uint64_t{1} << 32;
    m_clock.SetUptime(kWrapMs - 4 * 86'400'000ull);
    Restart(); // every timer starts at the new uptime
    SetUser(0, "Dan", "4444");
    std::size_t before = 0;
    for (int day = 0; day < 8; ++day) {
        SCOPED_TRACE(testing::Message() << "day " << day);
        std::ptrdiff_t polls = 0, refreshes = 0;
        for (int hour = 0; hour < 24; ++hour) {
            Live(1h, 400ms);
            const Lines sent = Exchanges();
            polls += std::ranges::count(sent, "GET /devices 200");
            refreshes += std::ranges::count(sent, "POST /oauth/token 200");
            EXPECT_THAT(Reports(), testing::Each(testing::HasSubstr("appears to be"))) << "heartbeats only";
        }
        EXPECT_GT(polls, 5000);
        EXPECT_TRUE(refreshes == 13 || refreshes == 14) << refreshes;
        const std::string state = day % 2 ? "unlocked" : "locked";
        Admin("locks/front/turn", R"({"state":")" + state + R"("})");
        Live(60s);
        EXPECT_EQ(Lock("front").State(), day % 2 ? CDoorLock::STATE_UNSECURED : CDoorLock::STATE_SECURED);
        Exchanges();
        Reports();
        if (day == 0)
            before = HeapBytes();
    }
    EXPECT_GT(m_clock.UptimeMs(), kWrapMs + 3 * 86'400'000ull);
    Live(10s);
    EXPECT_EQ(Account().NCommands() + Account().NResponses(), 0);
    EXPECT_LT(HeapBytes(), before + std::size_t{64} * 1024) << "a leak of one byte a poll would show";
}

} // namespace support
