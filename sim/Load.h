#pragma once
// What the cloud gets of a controller, hour by hour and after an outage.

#include "sim/Settings.h"

#include <ostream>

namespace sim
{

/// Prints tables: the requests of one controller in each state of its accounts; and, for outages of three
/// kinds and lengths, how controllers come back, each with a seed and an age of its tokens of its own.
/// @param settings of the first controller; days, faults and operations are not looked at.
/// @param controllers how many come through each outage.
/// @throws std::runtime_error when a controller does not get ready.
void PrintLoad(Settings settings, int controllers, std::ostream& out);

/// Prints what the controller's host has to do for so many locks, accounts and users: the longest round, the
/// time from a poll's reply until the last lock has its state, and the share of one core.
/// @throws std::runtime_error when the controller does not get ready.
void PrintBearing(const Settings& settings, std::ostream& out);

} // namespace sim
