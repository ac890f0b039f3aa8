#pragma once
// The host thread's loop, and the way of other threads to it.

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>

namespace devhost
{

/// The loop takes no calls any more.
class LoopClosed : public std::runtime_error
{
public:
    LoopClosed() : std::runtime_error("the host is shutting down") {}
};

/// Runs rounds on the thread that calls Run, and in between the calls that other threads ask for.
class MainLoop
{
public:
    static constexpr std::chrono::milliseconds kRound{50};

    /// Many, because what every round does besides, a save among it, should not come with every few replies;
    /// not all, because calls from other threads wait for the end of a round.
    static constexpr int kMaxWakes = 1000;

    /// Rounds until RequestExit: one when the loop is woken, and otherwise one every kRound.
    /// @param round gets how often the loop has been woken since the last round, at most kMaxWakes; the rest
    /// is for the next round, which follows at once.
    void Run(const std::function<void(int wakeCount)>& round);

    /// Makes a round follow soon, and counts in it. Any thread. @return 1, or 0 when the loop is closed.
    int Wake();

    /// Ends Run after the round under way. Any thread.
    void RequestExit();

    /// Runs a function on the host thread and waits for its result. Any thread but the host's.
    /// @throws LoopClosed, and whatever the function throws.
    template <class Function>
    auto Call(Function work) -> decltype(work())
    {
        std::packaged_task<decltype(work())()> task(std::move(work));
        auto result = task.get_future();
        Post(std::packaged_task<void()>(std::move(task)));
        return Wait(std::move(result));
    }

    /// Takes no more calls; those that wait fail with LoopClosed. Host thread, after Run.
    void Close();

private:
    void Post(std::packaged_task<void()> task);
    template <class Result>
    static Result Wait(std::future<Result> future)
    {
        try {
            return future.get();
        } catch (const std::future_error&) {
            throw LoopClosed(); // dropped without having run
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::packaged_task<void()>> m_tasks;
    int m_wakeCount = 0; // that no round has been given yet
    bool m_exit = false;
    bool m_closed = false;
};

} // namespace devhost
