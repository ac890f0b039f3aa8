#pragma once
// One run from a seed, and the shortening of one that failed.

#include "sim/Journal.h"
#include "sim/Settings.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim
{

/// What came of a run.
struct Result {
    std::optional<Breach> breach;
    std::vector<std::string> events; ///< the newest up to the breach, or to the end
    std::map<std::string, std::uint64_t> counts;
    std::uint64_t lengthMs = 0;  ///< that was simulated
    std::uint64_t digest = 0;    ///< the same for the same run on any machine
    std::vector<int> operations; ///< that were begun
};

/// What a run may tell of meanwhile; either may be empty.
struct Listener {
    std::function<void(const std::string&)> event;
    std::function<void(std::uint64_t simulatedMs)> progress; ///< about once an hour of the run
};

/// Runs the driver, the host and the cloud through the settings' time, or to the first broken rule. One run
/// at a time in a process.
Result Run(const Settings& settings, const Listener& listener = {});

/// Makes a failing run shorter: fewer hours, accounts, locks, users and operations, as long as the same rule
/// breaks.
/// @param fails runs the settings and gives the breach. @return the shortest that was found.
Settings Shorten(const Settings& settings, const Result& failed,
                 const std::function<std::optional<Breach>(const Settings&)>& fails);

} // namespace sim
