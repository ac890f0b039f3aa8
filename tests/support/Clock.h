#pragma once
// A clock that tests move by hand. It stands behind the C library's clock_gettime (monotonic) and time, which
// the linker redirects in every test that links this library.

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace support
{

/// Replaces both clocks while it lives; there may be one at a time. Any thread may read, one moves.
class ManualClock
{
public:
    /// Uptime in milliseconds (starts high, so that "more than the uptime" is not met by accident) and
    /// calendar seconds since 1970-01-01 UTC.
    explicit ManualClock(std::uint64_t uptimeMs = 1'000'000'000, std::int64_t calendarS = 1'700'000'000)
    {
        if (s_installed.exchange(true))
            std::abort();
        SetUptime(uptimeMs);
        SetCalendar(calendarS);
    }
    ~ManualClock() { s_installed = false; }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void Advance(std::uint64_t ms) { s_uptimeMs += ms, s_calendarMs += static_cast<std::int64_t>(ms); }
    void SetUptime(std::uint64_t ms) { s_uptimeMs = ms; }
    /// The part of a second that has passed is dropped.
    void SetCalendar(std::int64_t seconds) { s_calendarMs = seconds * 1000; }
    static bool Installed() { return s_installed; }
    static std::uint64_t UptimeMs() { return s_uptimeMs; }
    static std::int64_t CalendarS() { return s_calendarMs / 1000; }

private:
    static inline std::atomic<bool> s_installed{false};
    static inline std::atomic<std::uint64_t> s_uptimeMs{0};
    static inline std::atomic<std::int64_t> s_calendarMs{0};
};

} // namespace support
