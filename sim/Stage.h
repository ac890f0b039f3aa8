#pragma once
// Everything that a run puts together: a clock, a controller with its cloud, and people around it.

#include "sim/Controller.h"
#include "sim/Journal.h"
#include "sim/People.h"
#include "sim/Rules.h"
#include "sim/Scheduler.h"
#include "sim/Settings.h"
#include "sim/SimulatedCloud.h"
#include "tests/support/Clock.h"

#include <cstdint>
#include <functional>
#include <string>

namespace sim
{

constexpr std::uint64_t kSecondMs = 1000;
constexpr std::uint64_t kMinuteMs = 60 * kSecondMs;
constexpr std::uint64_t kHourMs = 60 * kMinuteMs;

/// High, so that "more than the uptime" is not met by accident, and near the wrap of the driver's counter, so
/// that each run of a day or more goes across it.
constexpr std::uint64_t kStartUptimeMs = (std::uint64_t{1} << 32) - 20 * kHourMs;

/// One at a time in a process.
struct Stage {
    /// @param settings are borrowed. @param print gets each event as it comes; may be empty.
    explicit Stage(const Settings& settings, const std::function<void(const std::string&)>& print = {})
        : journal([] { return support::ManualClock::UptimeMs() - kStartUptimeMs; }, print),
          scheduler(clock, Random::For(settings.seed, "turns")), cloud(settings, scheduler, journal),
          controller(scheduler, cloud, clock, journal),
          rules(settings, scheduler, controller, cloud, journal),
          people(settings, scheduler, controller, cloud, rules, journal)
    {
    }

    /// One round of the host and of the people around it.
    void Round()
    {
        const int wakes = controller.Round();
        const bool acted = people.Act();
        rules.AfterRound(wakes, acted);
    }

    support::ManualClock clock{kStartUptimeMs};
    Journal journal;
    Scheduler scheduler;
    SimulatedCloud cloud;
    Controller controller;
    Rules rules;
    People people;
};

} // namespace sim
