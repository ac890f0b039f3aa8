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
    /// @param Round gets how often the loop has been woken since the last round, at most kMaxWakes; the rest
    /// is for the next round, which follows at once.
    void Run(const std::function<void(int nWakes)>& Round);

    /// Makes a round follow soon, and counts in it. Any thread. @return 1, or 0 when the loop is closed.
    int Wake();

    /// Ends Run after the round under way. Any thread.
    void RequestExit();

    /// Runs a function on the host thread and waits for its result. Any thread but the host's.
    /// @throws LoopClosed, and whatever the function throws.
    template <class Function>
    auto Call(Function Work) -> decltype(Work())
    {
        std::packaged_task<decltype(Work())()> Task(std::move(Work));
        auto Result = Task.get_future();
        Post(std::packaged_task<void()>(std::move(Task)));
        return Wait(std::move(Result));
    }

    /// Takes no more calls; those that wait fail with LoopClosed. Host thread, after Run.
    void Close();

private:
    void Post(std::packaged_task<void()> Task);
    template <class Result>
    static Result Wait(std::future<Result> Future)
    {
        try {
            return Future.get();
        } catch (const std::future_error&) {
            throw LoopClosed(); // dropped without having run
        }
    }

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::deque<std::packaged_task<void()>> m_Tasks;
    int m_nWakes = 0; // that no round has been given yet
    bool m_Exit = false;
    bool m_Closed = false;
};

} // namespace devhost
