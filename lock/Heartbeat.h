#pragma once
// Heartbeat arithmetic: how long ago a lock was connected, and how far the wait for its next heartbeat has
// come. Needs no host and no lock. All times of 32 bits are milliseconds and wrap as the host's timers do.

#include <cstdint>
#include <ctime>

// Hour, minute and second as "hh:mm:ss"; empty for a time that has no such form.
struct CClockText {
    char m_Text[10];
};

// One `connected_at` time of the cloud against the calendar. A value.
class CHeartbeat
{
public:
    // pConnectedAt: UTC as the cloud writes it, "2024-05-01T10:20:30Z"; what cannot be read counts as 0, and
    // the results then tell of an odd time. tNow: calendar seconds.
    CHeartbeat(const char* pConnectedAt, std::time_t tNow);

    // Both are UTC wall-clock times that were read as local ones: they are good for their difference only.
    std::int64_t Connected() const { return m_tConnected; }
    std::int64_t Now() const { return m_tNow; }

    double GapSeconds() const { return m_fGapSeconds; } // negative for a time that lies ahead of tNow
    std::uint32_t GapMs() const;                        // saturates at both ends of its range

    CClockText ConnectedText() const;
    CClockText NowText() const;

private:
    std::tm m_Connected;
    std::tm m_Now;
    std::int64_t m_tConnected;
    std::int64_t m_tNow;
    double m_fGapSeconds;
};

// Percent of the wait for the next heartbeat, 0 without an interval. Above 100 when the heartbeat is late.
int HeartbeatProgress(std::uint32_t iElapsedMs, std::uint32_t iIntervalMs);

// Seconds left of that wait; 0 once it is over.
unsigned HeartbeatSecondsLeft(std::uint32_t iElapsedMs, std::uint32_t iIntervalMs);

// How far a timer lies behind the reading that it should have. The seconds are for people only: they may read
// 0 for a timer that is behind by less than one, and 1 for one that just missed a full second.
struct CTimerLag {
    bool m_bBehind;
    int m_iSeconds;
};
CTimerLag TimerLag(std::uint32_t iExpectedMs, std::uint32_t iElapsedMs);
