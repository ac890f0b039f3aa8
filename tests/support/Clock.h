#pragma once
// A clock that tests move by hand. It stands behind the C library's clock_gettime (monotonic) and time, which
// the linker redirects in every test that links this library.

#include <cstdint>

namespace support
{

/// Replaces both clocks while it lives; there may be one at a time. Any thread may read, one moves.
class ManualClock
{
public:
    /// Uptime in milliseconds (starts high, so that "more than the uptime" is not met by accident) and
    /// calendar seconds since 1970-01-01 UTC.
    explicit ManualClock(std::uint64_t UptimeMs = 1'000'000'000, std::int64_t CalendarS = 1'700'000'000);
    ~ManualClock();
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void Advance(std::uint64_t Ms);
    void SetUptime(std::uint64_t Ms);
    void SetCalendar(std::int64_t Seconds); // the part of a second that has passed is dropped
    std::uint64_t UptimeMs() const;
    std::int64_t CalendarS() const;
};

} // namespace support
