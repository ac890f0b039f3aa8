// Times of activity and times of calm in turn.

#include "sim/Simulation.h"

#include "sim/Stage.h"

#include <algorithm>

namespace sim
{

namespace
{

constexpr std::uint64_t kActiveMs = 5 * kHourMs;

// What was begun ends: a consent, an exchange of half a minute, a worker's pause after it.
constexpr std::uint64_t kSettleMs = 120 * kSecondMs;
// Two polls of the persons, which come with those of the locks, and the longest heartbeat of a lock; and some
// seconds for the exchanges.
constexpr std::uint64_t kCalmMs = (2 * 75 + 600 + 30) * kSecondMs;

} // namespace

Result Run(const Settings& settings, const Listener& listener)
{
    Stage stage(settings, listener.event);
    Journal& journal = stage.journal;
    std::uint64_t nextSecond = 0;
    std::uint64_t nextHour = kHourMs;
    const auto liveUntil = [&](std::uint64_t end) {
        while (journal.NowMs() < end && !journal.Broken()) {
            stage.Round();
            if (journal.NowMs() < nextSecond)
                continue;
            nextSecond = journal.NowMs() + kSecondMs;
            stage.rules.EverySecond();
            if (listener.progress && journal.NowMs() >= nextHour) {
                listener.progress(journal.NowMs());
                nextHour += kHourMs;
            }
        }
    };
    const std::uint64_t end = settings.LengthMs();
    while (journal.NowMs() < end && !journal.Broken()) {
        liveUntil(std::min(end, journal.NowMs() + kActiveMs));
        stage.people.Rest(true);
        stage.cloud.Calm(true);
        while (stage.people.Busy() && !journal.Broken())
            liveUntil(journal.NowMs() + kSecondMs);
        liveUntil(journal.NowMs() + kSettleMs + kCalmMs);
        if (!journal.Broken())
            stage.rules.CheckConvergence();
        stage.people.Rest(false);
        stage.cloud.Calm(false);
    }
    journal.Count("steps", stage.scheduler.Steps());
    Result result;
    result.breach = journal.Broken();
    result.events.assign(journal.Events().begin(), journal.Events().end());
    result.counts = journal.Counts();
    result.lengthMs = journal.NowMs();
    result.digest = journal.Digest();
    result.operations = stage.people.Begun();
    return result;
}

} // namespace sim
