#pragma once
// Several threads of the simulated controller, run in turns on one real thread and on a virtual clock.

#include "devhost/framework/seams/Framework.h"
#include "sim/Random.h"
#include "tests/support/Clock.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace devhost
{
class AccountHealth;
class WorkerStop;
} // namespace devhost

namespace sim
{

/// Steps the host thread and the workers. The host's is the thread that made the scheduler; each worker is a
/// fiber. Exactly one runs at a time, until it waits; then whoever is due first goes on, and chance decides
/// between those that are due at the same moment. Time moves only here.
///
/// A worker gives way in its pauses, around its exchanges and inside host services (see GiveWay). The host
/// thread gives way only between its rounds and while it waits for a worker's end, as the driver's loops are
/// cut at the same places in a controller.
class Scheduler : public devhost::WorkerRunner, public devhost::Sleeper
{
public:
    /// Both are borrowed.
    Scheduler(support::ManualClock& clock, Random chance);
    ~Scheduler() override;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    std::uint64_t NowMs() const { return support::ManualClock::UptimeMs(); }
    bool OnHostThread() const { return m_current == nullptr; }
    /// How often somebody was given the turn.
    std::uint64_t Steps() const { return m_steps; }

    /// Lets the time pass for whoever runs now; the others go on meanwhile. A worker that is joined returns
    /// at once.
    void Wait(std::uint64_t ms);
    /// On a worker: lets the others go on in the middle of its turn, one time in a few, for up to some
    /// milliseconds. Nothing on the host thread.
    void GiveWay();
    /// Ends the host thread's wait, at this moment.
    void WakeHost();
    /// Whether the worker that runs now is to end.
    bool Stopping() const;

    std::unique_ptr<devhost::RunningWorker> Start(const std::string& name,
                                                  std::function<void()> work) override;
    /// The driver's pauses. On the host thread it is a fault, which onHostSleep is told of.
    void Sleep(std::chrono::milliseconds time) override;

    std::function<void()> onHostSleep;

private:
    class Fiber;
    class Handle;

    void RunOthersUntil(std::uint64_t& hostWakeAt);
    void Resume(Fiber& fiber);
    void Join(Fiber& fiber);

    support::ManualClock& m_clock;
    Random m_chance;
    std::vector<Fiber*> m_fibers; // not ended
    Fiber* m_current = nullptr;   // null: the host thread
    std::uint64_t m_hostWakeAt = 0;
    std::uint64_t m_steps = 0;
};

} // namespace sim
