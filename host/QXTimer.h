#pragma once
// Millisecond ticks and timers, inline because they are built with the driver.

#include <atomic>
#include <cstdint>
#include <ctime>

// Milliseconds of the monotonic clock in 32 bits: wraps about every 49.7 days.
inline std::uint32_t GetTickCount()
{
    timespec tNow{};
    clock_gettime(CLOCK_MONOTONIC, &tNow);
    return static_cast<std::uint32_t>(tNow.tv_sec) * 1000u +
           static_cast<std::uint32_t>(tNow.tv_nsec / 1000000);
}

// Elapsed time since a start tick. Both threads may use a timer: one of them is at worst read one setting
// late. The start tick is loaded before the clock is read, so a timer restarted in between cannot look as if
// the counter had wrapped; loads acquire and stores release to keep that order.
class CQXTimer
{
public:
    CQXTimer() : m_uStartTick(GetTickCount()) {}
    CQXTimer(const CQXTimer& Other) : m_uStartTick(Other.StartTick()) {}
    CQXTimer& operator=(const CQXTimer& Other)
    {
        StartTick(Other.StartTick());
        return *this;
    }

    void Restart() { StartTick(GetTickCount()); }

    // Makes the timer read as if uMs milliseconds had already passed. More than the clock's own reading puts
    // the start before the counter's zero, which reads as a wrap: one millisecond less.
    void SetElapsed(std::uint32_t uMs) { StartTick(GetTickCount() - uMs); }

    // Milliseconds since the start; one less across a wrap of the counter.
    std::uint32_t QXTickCount() const
    {
        const std::uint32_t uStart = StartTick();
        const std::uint32_t uNow = GetTickCount();
        return uStart > uNow ? uNow - uStart - 1u : uNow - uStart;
    }

private:
    std::uint32_t StartTick() const { return m_uStartTick.load(std::memory_order_acquire); }
    void StartTick(std::uint32_t uTick) { m_uStartTick.store(uTick, std::memory_order_release); }

    std::atomic<std::uint32_t> m_uStartTick;
};
