// Times of a lock's last connection: a line with the calendar's second, and the time as the cloud writes it.

#include "lock/Heartbeat.h"
#include "tests/fuzz/Fuzz.h"

#include <cstring>

using fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view rest = fuzz::Text(data, size);
    const auto now =
        static_cast<std::time_t>(std::strtoll(std::string(fuzz::TakeUntil(rest, '\n')).c_str(), nullptr, 10));
    const std::string connected(rest);
    const CHeartbeat heartbeat(connected.c_str(), now);
    for (const CClockText& text : {heartbeat.ConnectedText(), heartbeat.NowText()})
        Require(std::memchr(text.m_Text, '\0', sizeof text.m_Text) != nullptr, "times are texts that end");
    const std::uint32_t gap = heartbeat.GapMs();
    Require(heartbeat.GapSeconds() > 0 || gap == 0, "a time ahead is no gap");
    for (const std::uint32_t interval : {0u, 1'000u, 60'000u, 4'294'967'295u}) {
        Require(HeartbeatProgress(gap, interval) >= 0, "progress is not negative");
        Require(HeartbeatSecondsLeft(gap, interval) <= 2'147'483u, "what is left is a timer's time");
        Require(!TimerLag(gap, gap).m_bBehind, "a timer is not behind itself");
    }
    return 0;
}
