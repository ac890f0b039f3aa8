// Stop flags of worker threads. Starting and joining the threads is left to whoever runs them.

#include "devhost/framework/system/WorkerStop.h"

#include <thread>
#include <utility>

namespace devhost
{

namespace
{
thread_local WorkerStop* g_current = nullptr;
}

void WorkerStop::RequestStop()
{
    const std::lock_guard lock(m_mutex);
    if (m_requestedAt)
        return;
    m_requestedAt = Clock::now();
    m_changed.notify_all();
    for (const auto& function : m_wakes)
        function();
}

bool WorkerStop::StopRequested() const
{
    const std::lock_guard lock(m_mutex);
    return m_requestedAt.has_value();
}

WorkerStop::Clock::time_point WorkerStop::GraceEnd() const
{
    const std::lock_guard lock(m_mutex);
    return m_requestedAt ? *m_requestedAt + m_grace : Clock::time_point::max();
}

bool WorkerStop::WaitFor(std::chrono::milliseconds time)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, time, [this] { return m_requestedAt.has_value(); });
}

WorkerStop* WorkerStop::Current()
{
    return g_current;
}

WorkerStop* WorkerStop::Exchange(WorkerStop* other)
{
    return std::exchange(g_current, other);
}

WorkerStop::Scope::Scope(WorkerStop& stop) : m_previous(std::exchange(g_current, &stop)) {}

WorkerStop::Scope::~Scope()
{
    g_current = m_previous;
}

WorkerStop::Wake::Wake(WorkerStop* stop, std::function<void()> function) : m_stop(stop)
{
    if (!m_stop)
        return;
    const std::lock_guard lock(m_stop->m_mutex);
    m_entry = m_stop->m_wakes.insert(m_stop->m_wakes.end(), std::move(function));
    if (m_stop->m_requestedAt)
        (*m_entry)();
}

WorkerStop::Wake::~Wake()
{
    if (!m_stop)
        return;
    const std::lock_guard lock(m_stop->m_mutex);
    m_stop->m_wakes.erase(m_entry);
}

void WorkerSleeper::Sleep(std::chrono::milliseconds time)
{
    if (WorkerStop* stop = WorkerStop::Current())
        stop->WaitFor(time);
    else
        std::this_thread::sleep_for(time);
}

} // namespace devhost
