#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace cloudsim
{

// Calendar time in milliseconds since 1970-01-01T00:00:00Z. The model never reads a clock: every call that
// depends on time gets it as an argument, so the same model runs on the wall clock and on a virtual one.
using TimePoint = std::chrono::sys_time<std::chrono::milliseconds>;

// Writes a time as "2026-01-31T09:05:00Z", dropping the fraction of the second.
std::string FormatTimestamp(TimePoint time);

// Reads exactly the form that FormatTimestamp writes. Nothing for any other text and for dates that do not
// exist.
std::optional<TimePoint> ParseTimestamp(std::string_view text);

} // namespace cloudsim
