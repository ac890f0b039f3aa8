// Writes and reads the cloud's UTC timestamps; what a time means is left to its users.
#include "cloudsim/model/Time.h"

#include <cstdio>

namespace cloudsim
{
namespace
{

// Reads a fixed number of decimal digits at a position, or nothing.
std::optional<int> Digits(std::string_view text, std::size_t position, std::size_t count)
{
    int value = 0;
    for (char digit : text.substr(position, count)) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
        value = value * 10 + (digit - '0');
    }
    return value;
}

} // namespace

std::string FormatTimestamp(TimePoint time)
{
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{std::chrono::floor<std::chrono::seconds>(time - day)};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<TimePoint> ParseTimestamp(std::string_view text)
{
    if (text.size() != 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
        text[16] != ':' || text[19] != 'Z')
        return std::nullopt;
    const auto year = Digits(text, 0, 4), month = Digits(text, 5, 2), day = Digits(text, 8, 2);
    const auto hour = Digits(text, 11, 2), minute = Digits(text, 14, 2), second = Digits(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second)
        return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year{*year},
                                           std::chrono::month{static_cast<unsigned>(*month)},
                                           std::chrono::day{static_cast<unsigned>(*day)}};
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;
    return TimePoint{std::chrono::sys_days{date}} + std::chrono::hours{*hour} +
           std::chrono::minutes{*minute} + std::chrono::seconds{*second};
}

} // namespace cloudsim
