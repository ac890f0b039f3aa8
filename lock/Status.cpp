// What each attribute that the cloud reports does to the lock; the registrations' effect on the controller is
// the door-lock base's.

#include "cloud/Number.h"
#include "cloud/Text.h"
#include "lock/Heartbeat.h"
#include "lock/Portivo.h"

#include <utility>

namespace
{

constexpr std::uint32_t kBatteryCheckMs = 300000;

// A lock picks a command up at its next heartbeat; a report after that and this margin is credited to nobody.
constexpr std::uint32_t kUnlockMarginMs = 60000;

// What the registrations take for nobody in particular, and what they add to a user's number.
constexpr int kNobody = 1;
constexpr unsigned kUserOffset = 100;

} // namespace

int CPortivo::ProcessCommand(Attributes eAttribute, CQXString* pValue)
{
    const CQXString& sValue = *pValue;
    if (sValue.IsEmpty())
        return Report(318, FormatLine("DataString empty - aborting ProcessCommand"));
    switch (eAttribute) {
    case ATTR_POWER_LEVEL:
        TakeBatteryLevel(sValue);
        return 1;
    case ATTR_HEARTBEAT_INTERVAL:
        // Unsigned, so that an absurd number of seconds wraps and does no harm.
        m_iHeartbeatInterval = static_cast<std::uint32_t>(IntegerOf(sValue)) * 1000u;
        return 1;
    case ATTR_SERIAL_NUMBER:
        if (sValue.Compare(m_sSerialNumber) != 0)
            m_sSerialNumber = sValue;
        return 1;
    case ATTR_PROGRAMMING_CODE:
        if (sValue.Compare(m_sProgrammingCode) != 0)
            m_sProgrammingCode = sValue;
        return 1;
    case ATTR_STATE:
        TakeState(sValue);
        return 1;
    case ATTR_WIFI_LEVEL:
        RegisterSignalStrength(IntegerOf(sValue));
        return 1;
    case ATTR_CONNECTED_AT:
        return TakeConnectedAt(sValue);
    case ATTR_UPDATED_AT:
        if (Working() && TraceEnabled())
            Trace(FormatLine("updated_at: [%s]", Text(sValue)));
        return 1;
    case ATTR_ALIVE:
        TakeAlive(sValue);
        return 1;
    default:
        return Report(377, FormatLine("Received unhandled message"));
    }
}

void CPortivo::TakeBatteryLevel(const CQXString& sValue)
{
    const int iOldLevel = BatteryLevel();
    RegisterBatteryLevel(IntegerOf(sValue));
    if (m_tmrBatteryCheck.QXTickCount() <= kBatteryCheckMs)
        return;
    // The warning needs a changed level in the very update that finds the time passed. On purpose: a level
    // that stays low is not told again, and one that fell within the five minutes is not told at all.
    if (BatteryLevel() != iOldLevel && BatteryLevel() < m_iLowBattery) {
        CQXString sError;
        sError.Format("Battery Low [%d%%]", BatteryLevel());
        RegisterErrorState(std::move(sError));
    }
    m_tmrBatteryCheck.Restart();
}

void CPortivo::TakeState(const CQXString& sValue)
{
    // The last command is never forgotten, on purpose: until the controller sends the opposite command,
    // reports that contradict the last one are taken for stale ones and do not undo the user's action in the
    // display.
    if (sValue.Compare("locked") == 0) {
        if (m_iLastCommand != kLastCommandUnlock)
            RegisterLockSecured(kNobody);
        return;
    }
    if (sValue.Compare("unlocked") != 0 || m_iLastCommand == kLastCommandLock)
        return;
    const bool bByUser =
        m_iUnlockUser != kNoUnlockUser && m_tmrUnlock.QXTickCount() <= m_iHeartbeatInterval + kUnlockMarginMs;
    if (!bByUser) {
        // A report that comes too late leaves the user armed: only a credited one takes him out.
        RegisterLockUnsecured(kNobody);
        return;
    }
    // Unsigned, because the host's number may be any: the field holds it less one, the registration takes it
    // plus 100.
    RegisterLockUnsecured(static_cast<int>(static_cast<unsigned>(m_iUnlockUser) + 1u + kUserOffset));
    m_iUnlockUser = kNoUnlockUser;
}

void CPortivo::TakeAlive(const CQXString& sValue)
{
    if (sValue.Compare("true") == 0) {
        // The error stays: the host clears it when the state changes, or with the next command; being
        // reachable does not.
        m_bOnline = 1;
    } else if (m_bOnline && sValue.Compare("false") == 0) {
        m_bOnline = 0;
        RegisterErrorState("Offline");
    }
}

int CPortivo::TakeConnectedAt(const CQXString& sValue)
{
    if (!m_bOnline)
        return Report(446, FormatLine("Portivo is Offline"));
    const CHeartbeat Heartbeat(sValue, std::time(nullptr));
    m_tLastHeartbeat = Heartbeat.Connected();
    if (Heartbeat.Connected() > Heartbeat.Now())
        Report(461, FormatLine("Your Portivo appears to be from the future: [%s > %s]",
                               Heartbeat.ConnectedText().m_Text, Heartbeat.NowText().m_Text));
    if (Working() && TraceEnabled())
        Trace(FormatLine("Time Difference since Heartbeat: [%.0f]", Heartbeat.GapSeconds()));
    // Zero included: a poll in the very second of the heartbeat is reported like this.
    if (Heartbeat.GapSeconds() <= 0)
        Report(467, FormatLine("Your Portivo appears to be from the future"));

    const std::uint32_t iGapMs = Heartbeat.GapMs();
    if (iGapMs > m_iHeartbeatInterval) {
        Report(472, FormatLine("HeartBeat appears to be late - unable to estimate next HeartBeat"));
        if (TraceEnabled())
            Trace(FormatLine("HeartBeat late by [%d] Seconds",
                             static_cast<int>((iGapMs - m_iHeartbeatInterval) / 1000u)));
        return 1;
    }
    if (Working())
        CorrectHeartbeatTimer(Heartbeat);
    return 1;
}

void CPortivo::CorrectHeartbeatTimer(const CHeartbeat& Heartbeat)
{
    if (TraceEnabled())
        Trace(FormatLine("Connected@[%s] - Local@[%s]", Heartbeat.ConnectedText().m_Text,
                         Heartbeat.NowText().m_Text));
    // The timer shall read what has passed since the heartbeat. One that is ahead of the cloud is left alone:
    // a correction only ever moves it forward.
    const std::uint32_t iExpectedMs = Heartbeat.GapMs();
    const CTimerLag Lag = TimerLag(iExpectedMs, m_tmrWorking.QXTickCount());
    if (!Lag.m_bBehind)
        return;
    if (TraceEnabled())
        Trace(FormatLine("Heartbeat timer off by: [%d] Seconds - Adjusting...", Lag.m_iSeconds));
    m_tmrWorking.SetElapsed(iExpectedMs);
}
