// Redirects the C library's clocks to the hand-moved one; what reads them is left unchanged.

#include "support/Clock.h"

#include <ctime>

using support::ManualClock;

extern "C" {
int __real_clock_gettime(clockid_t eClock, timespec* pTime);
time_t __real_time(time_t* pTime);
int __wrap_clock_gettime(clockid_t eClock, timespec* pTime);
time_t __wrap_time(time_t* pTime);

int __wrap_clock_gettime(clockid_t eClock, timespec* pTime)
{
    if (!ManualClock::Installed() || eClock != CLOCK_MONOTONIC)
        return __real_clock_gettime(eClock, pTime);
    const std::uint64_t Ms = ManualClock::UptimeMs();
    pTime->tv_sec = static_cast<time_t>(Ms / 1000);
    pTime->tv_nsec = static_cast<long>(Ms % 1000) * 1'000'000;
    return 0;
}

time_t __wrap_time(time_t* pTime)
{
    if (!ManualClock::Installed())
        return __real_time(pTime);
    const auto Now = static_cast<time_t>(ManualClock::CalendarS());
    if (pTime)
        *pTime = Now;
    return Now;
}
}
