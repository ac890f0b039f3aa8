// A week of polls across the wrap of the millisecond counter: nothing piles up. And what an hour costs.

#include "simulation/Simulation.h"

#include <gmock/gmock.h>
#include <malloc.h>

// The sanitizer's allocator keeps its own count; without it the symbol is null.
extern "C" std::size_t __attribute__((weak)) __sanitizer_get_current_allocated_bytes();

namespace support
{

using Endurance = SimulationTest;

std::size_t HeapBytes()
{
    return &__sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes()
                                                    : mallinfo2().uordblks;
}

int Count(const Lines& Sent, const char* pWanted)
{
    return static_cast<int>(std::ranges::count(Sent, pWanted));
}

TEST_F(Endurance, AWeekAcrossTheCountersWrapLeavesQueuesEmptyAndMemoryFlat)
{
    constexpr std::uint64_t kWrapMs = std::uint64_t{1} << 32;
    m_Clock.SetUptime(kWrapMs - 4 * 86'400'000ull);
    Restart(); // every timer starts at the new uptime
    SetUser(0, "Dan", "4444");
    std::size_t Before = 0;
    for (int Day = 0; Day < 8; ++Day) {
        SCOPED_TRACE(testing::Message() << "day " << Day);
        int Polls = 0, Refreshes = 0;
        for (int Hour = 0; Hour < 24; ++Hour) {
            Live(1h, 400ms);
            const Lines Sent = Exchanges();
            Polls += Count(Sent, "GET /devices 200");
            Refreshes += Count(Sent, "POST /oauth/token 200");
            EXPECT_THAT(Reports(), testing::Each(testing::HasSubstr("appears to be"))) << "heartbeats only";
        }
        EXPECT_GT(Polls, 5000);
        EXPECT_TRUE(Refreshes == 13 || Refreshes == 14) << Refreshes;
        const std::string State = Day % 2 ? "unlocked" : "locked";
        Admin("locks/front/turn", R"({"state":")" + State + R"("})");
        Live(60s);
        EXPECT_EQ(Lock("front").State(), Day % 2 ? CDoorLock::STATE_UNSECURED : CDoorLock::STATE_SECURED);
        Exchanges();
        Reports();
        if (Day == 0)
            Before = HeapBytes();
    }
    EXPECT_GT(m_Clock.UptimeMs(), kWrapMs + 3 * 86'400'000ull);
    Live(10s);
    EXPECT_EQ(Account().NCommands() + Account().NResponses(), 0);
    EXPECT_LT(HeapBytes(), Before + 64 * 1024) << "a leak of one byte a poll would show";
}

TEST_F(Endurance, AnEmptyRegistryCostsNineTimesTheRequestsOfAnIdleAccount)
{
    const auto ExpectRequestsOfAnHour = [this](int Devices, int Persons) {
        Live(60s);
        Exchanges();
        Live(1h);
        const Lines Sent = Exchanges();
        EXPECT_NEAR(Count(Sent, "GET /devices 200"), Devices, 2);
        EXPECT_NEAR(Count(Sent, "GET /access_persons 200"), Persons, 2);
    };
    SetUser(0, "Dan", "4444", "dan@x.example");
    ExpectRequestsOfAnHour(239, 60);
    // A registry that stays empty brings both polls forward with each look-up, and every list reply looks
    // each user of a slot up: on purpose, and dear.
    Admin("faults", R"([{"kind":"body","body":"{\"data\":[],\"meta\":{}}","count":0,)"
                    R"("match":{"path":"/access_persons"}}])");
    Restart();
    ExpectRequestsOfAnHour(1384, 1384);
    Reports();
}

} // namespace support
