// The host thread's loop. What a round does is the caller's.

#include "devhost/controller/MainLoop.h"

#include <algorithm>

namespace devhost
{

void MainLoop::Run(const std::function<void(int wakeCount)>& round)
{
    std::unique_lock lock(m_mutex);
    while (!m_exit) {
        m_changed.wait_for(lock, kRound, [this] { return m_wakeCount > 0 || m_exit || !m_tasks.empty(); });
        const int wakeCount = std::min(m_wakeCount, kMaxWakes);
        m_wakeCount -= wakeCount;
        std::deque<std::packaged_task<void()>> tasks;
        tasks.swap(m_tasks);
        lock.unlock();
        for (auto& task : tasks)
            task();
        round(wakeCount);
        lock.lock();
    }
}

int MainLoop::Wake()
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return 0;
    ++m_wakeCount;
    m_changed.notify_one();
    return 1;
}

void MainLoop::RequestExit()
{
    const std::lock_guard lock(m_mutex);
    m_exit = true;
    m_changed.notify_one();
}

void MainLoop::Post(std::packaged_task<void()> task)
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        throw LoopClosed();
    m_tasks.push_back(std::move(task));
    m_changed.notify_one();
}

void MainLoop::Close()
{
    std::deque<std::packaged_task<void()>> dropped;
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    dropped.swap(m_tasks);
}

} // namespace devhost
