// Stop flags of worker threads. Starting and joining the threads is left to whoever runs them.

#include "devhost/framework/system/WorkerStop.h"

#include <thread>
#include <utility>

namespace devhost
{

namespace
{
thread_local WorkerStop* g_pCurrent = nullptr;
}

void WorkerStop::RequestStop()
{
    const std::lock_guard Lock(m_Mutex);
    if (m_RequestedAt)
        return;
    m_RequestedAt = Clock::now();
    m_Changed.notify_all();
    for (const auto& Function : m_Wakes)
        Function();
}

bool WorkerStop::StopRequested() const
{
    const std::lock_guard Lock(m_Mutex);
    return m_RequestedAt.has_value();
}

WorkerStop::Clock::time_point WorkerStop::GraceEnd() const
{
    const std::lock_guard Lock(m_Mutex);
    return m_RequestedAt ? *m_RequestedAt + m_Grace : Clock::time_point::max();
}

bool WorkerStop::WaitFor(std::chrono::milliseconds Time)
{
    std::unique_lock Lock(m_Mutex);
    return m_Changed.wait_for(Lock, Time, [this] { return m_RequestedAt.has_value(); });
}

WorkerStop* WorkerStop::Current()
{
    return g_pCurrent;
}

WorkerStop::Scope::Scope(WorkerStop& Stop) : m_pPrevious(std::exchange(g_pCurrent, &Stop)) {}

WorkerStop::Scope::~Scope()
{
    g_pCurrent = m_pPrevious;
}

WorkerStop::Wake::Wake(WorkerStop* pStop, std::function<void()> Function) : m_pStop(pStop)
{
    if (!m_pStop)
        return;
    const std::lock_guard Lock(m_pStop->m_Mutex);
    m_Entry = m_pStop->m_Wakes.insert(m_pStop->m_Wakes.end(), std::move(Function));
    if (m_pStop->m_RequestedAt)
        (*m_Entry)();
}

WorkerStop::Wake::~Wake()
{
    if (!m_pStop)
        return;
    const std::lock_guard Lock(m_pStop->m_Mutex);
    m_pStop->m_Wakes.erase(m_Entry);
}

void WorkerSleeper::Sleep(std::chrono::milliseconds Time)
{
    if (WorkerStop* pStop = WorkerStop::Current())
        pStop->WaitFor(Time);
    else
        std::this_thread::sleep_for(Time);
}

} // namespace devhost
