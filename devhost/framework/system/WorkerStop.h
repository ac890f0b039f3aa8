#pragma once
// Cooperative stopping of worker threads: a pause ends as soon as its worker is asked to stop, an exchange
// may still finish within a short grace.

#include "devhost/framework/seams/Framework.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>

namespace devhost
{

/// The stop flag of one worker thread. Whoever runs the worker owns it, keeps it alive until the thread was
/// joined, and makes a new one for the next thread. All members may be called from any thread.
class WorkerStop
{
public:
    using Clock = std::chrono::steady_clock;

    /// Long enough for a reply that is on its way, short enough for whoever waits for the thread's end. A
    /// driver cannot tell an exchange that was cut from one that was lost, and takes the loss of some for the
    /// loss of its authorisation.
    static constexpr std::chrono::milliseconds kGrace{2000};

    explicit WorkerStop(std::chrono::milliseconds grace = kGrace) : m_grace(grace) {}
    WorkerStop(const WorkerStop&) = delete;
    WorkerStop& operator=(const WorkerStop&) = delete;

    /// Raises the flag for good, ends every wait and calls every wake function, once.
    void RequestStop();
    bool StopRequested() const;
    /// When look-ups and exchanges must have ended: one grace, counted from the request, for all that are
    /// under way or begin after it. The end of time as long as no stop is requested.
    Clock::time_point GraceEnd() const;
    /// Waits for the given time, or until the stop is requested. True when it was.
    bool WaitFor(std::chrono::milliseconds time);

    /// The flag of the calling thread; null on a thread that is no worker.
    static WorkerStop* Current();
    /// Makes another flag, or none, that of the calling thread. For whoever runs several workers on one
    /// thread.
    /// @return the one before.
    static WorkerStop* Exchange(WorkerStop* other);

    /// Makes a flag that of the calling thread, as long as the object lives.
    class Scope
    {
    public:
        explicit Scope(WorkerStop& stop);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        WorkerStop* m_previous;
    };

    /// Calls a function when the stop is requested, at once if it has been already; never again after the
    /// object is destroyed. The function runs on the thread that asks for the stop and under the flag's lock:
    /// it must be brief and must not use the flag. A null flag is borne and never calls.
    class Wake
    {
    public:
        Wake(WorkerStop* stop, std::function<void()> function);
        ~Wake();
        Wake(const Wake&) = delete;
        Wake& operator=(const Wake&) = delete;

    private:
        WorkerStop* m_stop;
        std::list<std::function<void()>>::iterator m_entry;
    };

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::chrono::milliseconds m_grace;
    std::optional<Clock::time_point> m_requestedAt;
    std::list<std::function<void()>> m_wakes;
};

/// The sleeper of real programs: a worker's pause ends early when it is asked to stop.
class WorkerSleeper : public Sleeper
{
public:
    void Sleep(std::chrono::milliseconds time) override;
};

} // namespace devhost
