#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cloudsim
{

// Compares a path with a pattern in which "*" stands for one part that is not empty. Gives the parts that the
// stars stand for, in order, or nothing when the path does not match.
std::optional<std::vector<std::string>> MatchPath(std::string_view pattern, std::string_view path);

} // namespace cloudsim
