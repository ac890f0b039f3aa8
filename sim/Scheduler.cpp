// Turns and time. What is run is left to the simulation.

#include "sim/Scheduler.h"

#include "devhost/framework/network/AccountHealth.h"
#include "devhost/framework/system/WorkerStop.h"

#include <algorithm>
#include <boost/context/fiber.hpp>
#include <boost/context/preallocated.hpp>
#include <boost/context/protected_fixedsize_stack.hpp>

#if defined(__SANITIZE_ADDRESS__)
#include <pthread.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace sim
{

namespace
{

constexpr std::size_t kStackBytes = std::size_t{1} << 20;

// How often a worker gives way in a host service, and for how long at most: long enough for a round of the
// host's loop.
constexpr std::uint64_t kGivesWayPerMillion = 250'000;
constexpr std::uint64_t kLongestGapMs = 120;

#if defined(__SANITIZE_ADDRESS__)
// The checker must be told of each change of the stack.
class Switch
{
public:
    Switch(const void* bottom, std::size_t size, bool last = false)
    {
        __sanitizer_start_switch_fiber(last ? nullptr : &m_fake, bottom, size);
    }
    void Done() { __sanitizer_finish_switch_fiber(m_fake, nullptr, nullptr); }
    /// The first words on a new stack.
    static void Arrived() { __sanitizer_finish_switch_fiber(nullptr, nullptr, nullptr); }

private:
    void* m_fake = nullptr;
};

struct HostStack {
    const void* bottom = nullptr;
    std::size_t size = 0;
    HostStack()
    {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        void* address = nullptr;
        pthread_attr_getstack(&attributes, &address, &size);
        pthread_attr_destroy(&attributes);
        bottom = address;
    }
};
#else
class Switch
{
public:
    Switch(const void* /*Bottom*/, std::size_t /*Size*/, bool /*Last*/ = false) {}
    void Done() {}
    static void Arrived() {}
};
struct HostStack {
    const void* bottom = nullptr;
    std::size_t size = 0;
};
#endif

const HostStack& TheHostStack()
{
    static const HostStack stack;
    return stack;
}

} // namespace

class Scheduler::Fiber
{
public:
    explicit Fiber(std::function<void()> work)
    {
        boost::context::protected_fixedsize_stack stacks(kStackBytes);
        boost::context::stack_context stack = stacks.allocate();
        m_bottom = static_cast<char*>(stack.sp) - stack.size;
        m_size = stack.size;
        m_self = boost::context::fiber(std::allocator_arg,
                                       boost::context::preallocated(stack.sp, stack.size, stack), stacks,
                                       [this, work = std::move(work)](boost::context::fiber&& host) {
                                           m_host = std::move(host);
                                           Switch::Arrived();
                                           work();
                                           m_ended = true;
                                           Switch last(TheHostStack().bottom, TheHostStack().size, true);
                                           return std::move(m_host);
                                       });
    }

    // Runs it until it gives way. From the host's stack.
    void Resume()
    {
        Switch change(m_bottom, m_size);
        m_self = std::move(m_self).resume();
        change.Done();
    }
    // Back to the host's stack. From the fiber's own.
    void GiveWay()
    {
        Switch change(TheHostStack().bottom, TheHostStack().size);
        m_host = std::move(m_host).resume();
        change.Done();
    }
    bool Ended() const { return m_ended; }

    std::uint64_t wakeAt = 0;
    bool joined = false; // somebody waits for its end
    // What belongs to a thread is changed with the fiber.
    devhost::WorkerStop* stop = nullptr;
    devhost::AccountHealth* health = nullptr;

private:
    const void* m_bottom = nullptr;
    std::size_t m_size = 0;
    bool m_ended = false;
    boost::context::fiber m_host;
    boost::context::fiber m_self;
};

class Scheduler::Handle : public devhost::RunningWorker
{
public:
    Handle(Scheduler& owner, std::function<void()> work) : m_owner(owner), m_fiber(std::move(work))
    {
        m_fiber.wakeAt = m_owner.NowMs();
        m_owner.m_fibers.push_back(&m_fiber);
    }
    void Join() override { m_owner.Join(m_fiber); }

private:
    Scheduler& m_owner;
    Fiber m_fiber;
};

Scheduler::Scheduler(support::ManualClock& clock, Random chance) : m_clock(clock), m_chance(chance)
{
    TheHostStack();
}

Scheduler::~Scheduler() = default;

std::unique_ptr<devhost::RunningWorker> Scheduler::Start(const std::string& /*Name*/,
                                                         std::function<void()> work)
{
    return std::make_unique<Handle>(*this, std::move(work));
}

void Scheduler::Wait(std::uint64_t ms)
{
    if (m_current) {
        Fiber& self = *m_current;
        self.wakeAt = self.joined ? NowMs() : NowMs() + ms;
        self.GiveWay();
        return;
    }
    m_hostWakeAt = NowMs() + ms;
    RunOthersUntil(m_hostWakeAt);
}

void Scheduler::GiveWay()
{
    if (m_current && m_chance.Happens(kGivesWayPerMillion))
        Wait(m_chance.Below(kLongestGapMs));
}

void Scheduler::WakeHost()
{
    m_hostWakeAt = std::min(m_hostWakeAt, NowMs());
}

bool Scheduler::Stopping() const
{
    return m_current && m_current->stop && m_current->stop->StopRequested();
}

void Scheduler::Sleep(std::chrono::milliseconds time)
{
    if (!m_current) {
        if (onHostSleep)
            onHostSleep();
        return;
    }
    Wait(Stopping() ? 0 : static_cast<std::uint64_t>(time.count()));
}

// Whoever is due first, until that is the host thread.
void Scheduler::RunOthersUntil(std::uint64_t& hostWakeAt)
{
    for (;;) {
        Fiber* next = nullptr;
        std::uint64_t due = hostWakeAt;
        std::uint64_t rivals = 1;
        for (Fiber* fiber : m_fibers) {
            if (fiber->wakeAt > due)
                continue;
            rivals = fiber->wakeAt < due ? 1 : rivals + 1;
            due = fiber->wakeAt;
            if (rivals == 1 || m_chance.Below(rivals) == 0)
                next = fiber;
        }
        if (due > NowMs())
            m_clock.Advance(due - NowMs());
        ++m_steps;
        if (!next)
            return;
        Resume(*next);
    }
}

void Scheduler::Resume(Fiber& fiber)
{
    devhost::WorkerStop* const hostStop = devhost::WorkerStop::Exchange(fiber.stop);
    devhost::AccountHealth* const hostHealth = devhost::AccountHealth::Exchange(fiber.health);
    m_current = &fiber;
    fiber.Resume();
    m_current = nullptr;
    fiber.stop = devhost::WorkerStop::Exchange(hostStop);
    fiber.health = devhost::AccountHealth::Exchange(hostHealth);
    if (fiber.Ended())
        std::erase(m_fibers, &fiber);
}

void Scheduler::Join(Fiber& fiber)
{
    fiber.joined = true;
    fiber.wakeAt = std::min(fiber.wakeAt, NowMs());
    while (!fiber.Ended()) {
        // The host thread waits meanwhile, whatever wakes its loop.
        std::uint64_t never = fiber.wakeAt + 1;
        RunOthersUntil(never);
    }
}

} // namespace sim
