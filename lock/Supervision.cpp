// The lock's idle call: while a command is pending, progress towards the next heartbeat and the end of the
// wait; the housekeeping that follows is the object's.

#include "lock/Heartbeat.h"
#include "lock/Portivo.h"

namespace
{

constexpr std::uint32_t kProgressMs = 900;

// How long after the heartbeat a status may take to arrive before the command counts as lost.
constexpr std::uint32_t kStatusMarginMs = 240000;

} // namespace

void CPortivo::OnComponentIdle()
{
    if (Working())
        SuperviseHeartbeat();
    DoHousekeeping();
}

void CPortivo::SuperviseHeartbeat()
{
    const std::uint32_t iElapsedMs = m_tmrWorking.QXTickCount();
    if (m_tmrProgress.QXTickCount() > kProgressMs) {
        if (TraceEnabled())
            Trace(FormatLine("Working, Heartbeat @ [%d/%d] Seconds", static_cast<int>(iElapsedMs / 1000u),
                             static_cast<int>(m_iHeartbeatInterval / 1000u)));
        RegisterProgress(HeartbeatProgress(iElapsedMs, m_iHeartbeatInterval));
        RegisterProgressTime(HeartbeatSecondsLeft(iElapsedMs, m_iHeartbeatInterval));
        m_tmrProgress.Restart();
    }
    if (iElapsedMs <= m_iHeartbeatInterval + kStatusMarginMs)
        return;
    if (TraceEnabled())
        Trace("Did not receive updated status in a timely manner");
    RegisterWorking(0);
    RegisterUnknownState();
}
