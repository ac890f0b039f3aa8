// Redirects the C library's clocks to the hand-moved one; what reads them is left unchanged.

#include "tests/support/Clock.h"

#include <ctime>

using support::ManualClock;

extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* time);
time_t __real_time(time_t* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time);
time_t __wrap_time(time_t* time);

int __wrap_clock_gettime(clockid_t clock, timespec* time)
{
    if (!ManualClock::Installed() || clock != CLOCK_MONOTONIC)
        return __real_clock_gettime(clock, time);
    const std::uint64_t ms = ManualClock::UptimeMs();
    time->tv_sec = static_cast<time_t>(ms / 1000);
    time->tv_nsec = static_cast<long>(ms % 1000) * 1'000'000;
    return 0;
}

time_t __wrap_time(time_t* time)
{
    if (!ManualClock::Installed())
        return __real_time(time);
    const auto now = static_cast<time_t>(ManualClock::CalendarS());
    if (time)
        *time = now;
    return now;
}
}
