#pragma once
// Timers by the host's clock.

#include <atomic>

class CQXTimer
{
public:
    CQXTimer();
    void Restart();
    void SetElapsed(unsigned milliseconds);
    unsigned QXTickCount() const;

private:
    std::atomic<long long> m_startMs;
};
