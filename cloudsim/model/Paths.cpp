// Matches paths against patterns; the routes are left to their tables.
#include "cloudsim/model/Paths.h"

namespace cloudsim
{

std::optional<std::vector<std::string>> MatchPath(std::string_view pattern, std::string_view path)
{
    std::vector<std::string> parts;
    while (!pattern.empty() && !path.empty()) {
        if (pattern.front() != '*') {
            if (pattern.front() != path.front())
                return std::nullopt;
            pattern.remove_prefix(1);
            path.remove_prefix(1);
            continue;
        }
        const std::string_view part = path.substr(0, path.find('/'));
        if (part.empty())
            return std::nullopt;
        parts.emplace_back(part);
        pattern.remove_prefix(1);
        path.remove_prefix(part.size());
    }
    if (!pattern.empty() || !path.empty())
        return std::nullopt;
    return parts;
}

} // namespace cloudsim
