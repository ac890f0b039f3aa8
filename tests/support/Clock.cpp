// Redirects the C library's clocks to the hand-moved one; what reads them is left unchanged.

#include "support/Clock.h"

#include <atomic>
#include <cstdlib>
#include <ctime>

namespace
{
std::atomic<bool> g_bInstalled{false};
std::atomic<std::uint64_t> g_UptimeMs{0};
std::atomic<std::int64_t> g_CalendarMs{0};
} // namespace

extern "C" {
int __real_clock_gettime(clockid_t eClock, timespec* pTime);
time_t __real_time(time_t* pTime);
int __wrap_clock_gettime(clockid_t eClock, timespec* pTime);
time_t __wrap_time(time_t* pTime);

int __wrap_clock_gettime(clockid_t eClock, timespec* pTime)
{
    if (!g_bInstalled || eClock != CLOCK_MONOTONIC)
        return __real_clock_gettime(eClock, pTime);
    const std::uint64_t Ms = g_UptimeMs;
    pTime->tv_sec = static_cast<time_t>(Ms / 1000);
    pTime->tv_nsec = static_cast<long>(Ms % 1000) * 1'000'000;
    return 0;
}

time_t __wrap_time(time_t* pTime)
{
    if (!g_bInstalled)
        return __real_time(pTime);
    const auto Now = static_cast<time_t>(g_CalendarMs / 1000);
    if (pTime)
        *pTime = Now;
    return Now;
}
}

namespace support
{

ManualClock::ManualClock(std::uint64_t UptimeMs, std::int64_t CalendarS)
{
    if (g_bInstalled.exchange(true))
        std::abort();
    SetUptime(UptimeMs);
    SetCalendar(CalendarS);
}

ManualClock::~ManualClock()
{
    g_bInstalled = false;
}

void ManualClock::Advance(std::uint64_t Ms)
{
    g_UptimeMs += Ms;
    g_CalendarMs += static_cast<std::int64_t>(Ms);
}

void ManualClock::SetUptime(std::uint64_t Ms)
{
    g_UptimeMs = Ms;
}
void ManualClock::SetCalendar(std::int64_t Seconds)
{
    g_CalendarMs = Seconds * 1000;
}
std::uint64_t ManualClock::UptimeMs() const
{
    return g_UptimeMs;
}
std::int64_t ManualClock::CalendarS() const
{
    return g_CalendarMs / 1000;
}

} // namespace support
