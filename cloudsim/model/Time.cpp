// Writes and reads the cloud's UTC timestamps; what a time means is left to its users.
#include "cloudsim/model/Time.h"

#include <ctime>
#include <spdlog/fmt/chrono.h>

namespace cloudsim
{

std::string FormatTimestamp(TimePoint time)
{
    return fmt::format("{:%FT%TZ}", std::chrono::floor<std::chrono::seconds>(time));
}

std::optional<TimePoint> ParseTimestamp(std::string_view text)
{
    std::tm parts{};
    if (!strptime(std::string(text).c_str(), "%FT%TZ", &parts))
        return std::nullopt;
    // The C library takes other forms too, and dates that do not exist for later ones.
    const TimePoint time = std::chrono::sys_seconds(std::chrono::seconds(timegm(&parts)));
    return FormatTimestamp(time) == text ? std::optional(time) : std::nullopt;
}

} // namespace cloudsim
