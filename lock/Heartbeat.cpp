// The arithmetic of heartbeats; what a lock does with the results is decided where they are asked for.

#include "lock/Heartbeat.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace
{

// From the number that people write to the one that the C library counts with, without leaving its range.
int Shifted(int iValue, int iBy)
{
    constexpr long long kLowest = std::numeric_limits<int>::min();
    return static_cast<int>(std::max(kLowest, static_cast<long long>(iValue) - iBy));
}

std::tm ParsedUTC(const char* pText)
{
    // Zeroed, daylight saving included: both times of a comparison are read by the same rule. The numbers are
    // read as sscanf reads "%d-%d-%dT%d:%d:%dZ", which is undefined for those that do not fit: the first
    // number or mark that is not there ends it.
    std::tm Time{};
    int* const Fields[] = {&Time.tm_year, &Time.tm_mon, &Time.tm_mday,
                           &Time.tm_hour, &Time.tm_min, &Time.tm_sec};
    const char* pMark = "--T::";
    for (int* pField : Fields) {
        char* pEnd = nullptr;
        const long long iValue = std::strtoll(pText, &pEnd, 10);
        if (pEnd == pText)
            break;
        *pField = static_cast<int>(iValue);
        if (*pMark == '\0' || *pEnd != *pMark)
            break;
        ++pMark;
        pText = pEnd + 1;
    }
    Time.tm_year = Shifted(Time.tm_year, 1900);
    Time.tm_mon = Shifted(Time.tm_mon, 1);
    return Time;
}

std::tm BrokenDownUTC(std::time_t tTime)
{
    std::tm Time{};
    gmtime_r(&tTime, &Time);
    Time.tm_isdst = 0;
    return Time;
}

CClockText ClockText(const std::tm& Time)
{
    CClockText Result{};
    // A text that does not fit leaves the buffer undefined.
    if (std::strftime(Result.m_Text, sizeof Result.m_Text, "%T", &Time) == 0)
        Result.m_Text[0] = '\0';
    return Result;
}

} // namespace

// Both UTC times are read as local ones, by the same rule and without daylight saving, so their difference is
// right in any time zone.
CHeartbeat::CHeartbeat(const char* pConnectedAt, std::time_t tNow)
    : m_Connected(ParsedUTC(pConnectedAt)), m_Now(BrokenDownUTC(tNow)),
      m_tConnected(std::mktime(&m_Connected)), m_tNow(std::mktime(&m_Now)),
      m_fGapSeconds(std::difftime(static_cast<std::time_t>(m_tNow), static_cast<std::time_t>(m_tConnected)))
{
}

std::uint32_t CHeartbeat::GapMs() const
{
    constexpr double kHighest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp(m_fGapSeconds * 1000.0, 0.0, kHighest));
}

CClockText CHeartbeat::ConnectedText() const
{
    return ClockText(m_Connected);
}

CClockText CHeartbeat::NowText() const
{
    return ClockText(m_Now);
}

int HeartbeatProgress(std::uint32_t iElapsedMs, std::uint32_t iIntervalMs)
{
    if (iIntervalMs == 0)
        return 0;
    // 32 bits: the product wraps after 42949 s (11.9 hours) of waiting, where the progress begins anew. Only
    // a heartbeat interval near that or above keeps a command pending so long.
    return static_cast<int>(iElapsedMs * 100u / iIntervalMs);
}

unsigned HeartbeatSecondsLeft(std::uint32_t iElapsedMs, std::uint32_t iIntervalMs)
{
    const auto iLeftMs = static_cast<std::int32_t>(iIntervalMs - iElapsedMs);
    return iLeftMs >= 0 ? static_cast<unsigned>(iLeftMs) / 1000u : 0u;
}

CTimerLag TimerLag(std::uint32_t iExpectedMs, std::uint32_t iElapsedMs)
{
    const bool bBehind = static_cast<std::int32_t>(iExpectedMs - iElapsedMs) > 0;
    // Each term is divided first, on purpose.
    return {bBehind, static_cast<int>(iExpectedMs / 1000u) - static_cast<int>(iElapsedMs / 1000u)};
}
