#pragma once
// Millisecond ticks and timers, inline because they are built with the driver.

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

// Elapsed time since a start tick. A plain field: a timer that two threads use is at worst read one setting
// late, so the start tick is loaded before the clock is read, and a timer restarted in between cannot look
// as if the counter had wrapped.
class CQXTimer
{
public:
    CQXTimer() : m_uStartTick(GetTickCount()) {}

    void Restart() { m_uStartTick = GetTickCount(); }

    // Makes the timer read as if uMs milliseconds had already passed. More than the clock's own reading puts
    // the start before the counter's zero, which reads as a wrap: one millisecond less.
    void SetElapsed(std::uint32_t uMs) { m_uStartTick = GetTickCount() - uMs; }

    // Milliseconds since the start. One is taken off across a wrap of the counter; users of the timers
    // compare with that value, so it is kept.
    std::uint32_t QXTickCount() const
    {
        const std::uint32_t uStart = m_uStartTick;
        const std::uint32_t uNow = GetTickCount();
        return uStart > uNow ? uNow - uStart - 1u : uNow - uStart;
    }

private:
    std::uint32_t m_uStartTick;
};
