// Times of activity and times of calm in turn.

#include "sim/Simulation.h"

#include "sim/Controller.h"
#include "sim/People.h"
#include "sim/Rules.h"
#include "sim/Scheduler.h"
#include "sim/SimulatedCloud.h"

#include <algorithm>

namespace sim
{

namespace
{

constexpr std::uint64_t kSecondMs = 1000;
constexpr std::uint64_t kHourMs = 3'600 * kSecondMs;
constexpr std::uint64_t kActiveMs = 5 * kHourMs;

// What was begun ends: a consent, an exchange of half a minute, a worker's pause after it.
constexpr std::uint64_t kSettleMs = 120 * kSecondMs;
// Two polls of the persons, which come with those of the locks, and the longest heartbeat of a lock; and some
// seconds for the exchanges.
constexpr std::uint64_t kCalmMs = (2 * 75 + 600 + 30) * kSecondMs;

// High, so that "more than the uptime" is not met by accident, and near the wrap of the driver's counter, so
// that each run of a day or more goes across it.
constexpr std::uint64_t kStartUptimeMs = (std::uint64_t{1} << 32) - 20 * kHourMs;

} // namespace

Result Run(const Settings& settings, const Listener& listener)
{
    support::ManualClock clock(kStartUptimeMs);
    Journal journal([] { return support::ManualClock::UptimeMs() - kStartUptimeMs; }, listener.event);
    Scheduler scheduler(clock, Random::For(settings.seed, "turns"));
    SimulatedCloud cloud(settings, scheduler, journal);
    Controller controller(scheduler, cloud, clock, journal);
    Rules rules(settings, scheduler, controller, cloud, journal);
    People people(settings, scheduler, controller, cloud, rules, journal);

    std::uint64_t nextSecond = 0;
    std::uint64_t nextHour = kHourMs;
    const auto liveUntil = [&](std::uint64_t end) {
        while (journal.NowMs() < end && !journal.Broken()) {
            const int wakes = controller.Round();
            const bool acted = people.Act();
            rules.AfterRound(wakes, acted);
            if (journal.NowMs() < nextSecond)
                continue;
            nextSecond = journal.NowMs() + kSecondMs;
            rules.EverySecond();
            if (listener.progress && journal.NowMs() >= nextHour) {
                listener.progress(journal.NowMs());
                nextHour += kHourMs;
            }
        }
    };
    const std::uint64_t end = settings.LengthMs();
    while (journal.NowMs() < end && !journal.Broken()) {
        liveUntil(std::min(end, journal.NowMs() + kActiveMs));
        people.Rest(true);
        cloud.Calm(true);
        while (people.Busy() && !journal.Broken())
            liveUntil(journal.NowMs() + kSecondMs);
        liveUntil(journal.NowMs() + kSettleMs + kCalmMs);
        if (!journal.Broken())
            rules.CheckConvergence();
        people.Rest(false);
        cloud.Calm(false);
    }
    journal.Count("steps", scheduler.Steps());
    Result result;
    result.breach = journal.Broken();
    result.events.assign(journal.Events().begin(), journal.Events().end());
    result.counts = journal.Counts();
    result.lengthMs = journal.NowMs();
    result.digest = journal.Digest();
    result.operations = people.Begun();
    return result;
}

} // namespace sim
