// The host thread's loop. What a round does is the caller's.

#include "devhost/controller/MainLoop.h"

#include <algorithm>

namespace devhost
{

void MainLoop::Run(const std::function<void(int nWakes)>& Round)
{
    std::unique_lock Lock(m_Mutex);
    while (!m_Exit) {
        m_Changed.wait_for(Lock, kRound, [this] { return m_nWakes > 0 || m_Exit || !m_Tasks.empty(); });
        const int nWakes = std::min(m_nWakes, kMaxWakes);
        m_nWakes -= nWakes;
        std::deque<std::packaged_task<void()>> Tasks;
        Tasks.swap(m_Tasks);
        Lock.unlock();
        for (auto& Task : Tasks)
            Task();
        Round(nWakes);
        Lock.lock();
    }
}

int MainLoop::Wake()
{
    const std::lock_guard Lock(m_Mutex);
    if (m_Closed)
        return 0;
    ++m_nWakes;
    m_Changed.notify_one();
    return 1;
}

void MainLoop::RequestExit()
{
    const std::lock_guard Lock(m_Mutex);
    m_Exit = true;
    m_Changed.notify_one();
}

void MainLoop::Post(std::packaged_task<void()> Task)
{
    const std::lock_guard Lock(m_Mutex);
    if (m_Closed)
        throw LoopClosed();
    m_Tasks.push_back(std::move(Task));
    m_Changed.notify_one();
}

void MainLoop::Close()
{
    std::deque<std::packaged_task<void()>> Dropped;
    const std::lock_guard Lock(m_Mutex);
    m_Closed = true;
    Dropped.swap(m_Tasks);
}

} // namespace devhost
