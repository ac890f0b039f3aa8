// The two loops of the account interface: the worker's turns and their pace, the host's idle call with its
// timers; what a turn sends and what an answer does is left to the send cycle and to the processing of
// replies.

#include "host/Platform.h"
#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

namespace
{

constexpr unsigned kPassPauseMs = 100;
constexpr std::uint32_t kIdleRunDelayMs = 3000;
constexpr std::uint32_t kUnauthorisedRunDelayMs = 10000;

constexpr std::uint32_t kHousekeepingMs = 3000;
constexpr std::uint32_t kStatusPollMs = 15000;
constexpr std::uint32_t kAccessPollMs = 60000;

// Token ages that make a refresh due with the default lifetime: at the threshold, and at the expiry.
constexpr std::uint32_t kDelayedTokenAgeMs = 6600000;
constexpr std::uint32_t kExpiredTokenAgeMs = 7200000;

} // namespace

int CVestaraInterface::Run()
{
    for (;;) {
        const CNetworkBridge* pBridge = NetworkBridge();
        if (pBridge && pBridge->ShuttingDown()) {
            if (TraceEnabled())
                Trace("-- ShutDownFlag --");
            // A worker that is started again polls soon.
            InitTimers();
            return 0;
        }
        if (m_tmrRun.QXTickCount() > m_iRunDelay)
            TakeTurn();
        Sleep(kPassPauseMs);
    }
}

void CVestaraInterface::TakeTurn()
{
    if (RefreshToken()) {
        ResetUpdateTimers();
    } else if (m_sAccessToken.IsEmpty()) {
        ClientBroadcast(0);
        m_iRunDelay = kUnauthorisedRunDelayMs;
        // The doubled percent sign is on purpose: the line shows the token's length and a literal %s, never
        // the token.
        if (TraceEnabled())
            Trace(FormatLine("Missing/bad AccessToken [%d:%%s] - delaying RunIdle",
                             m_sAccessToken.GetLength()));
        ResetUpdateTimers();
        // After the broadcast, which may have set the age to the bare threshold.
        m_tmrToken.SetElapsed(kExpiredTokenAgeMs);
    }

    // The host thread drains the queue too, so the head is asked for once and may be missing.
    if (std::unique_ptr<CVestaraCommand> pCommand = NextCommand())
        SendCommand(std::move(pCommand));

    AdjustTickRate();
    // Restarted last, so that the time of an exchange does not count towards the wait for the next turn.
    m_tmrRun.Restart();
}

int CVestaraInterface::AdjustTickRate()
{
    const int nCommands = NCommands();
    const int nResponses = NResponses();
    const int nQueued = nCommands + nResponses;
    // An idle pace stays as it is: this keeps the slow turns of an account without a token.
    if (nQueued < 1 && m_iRunDelay >= kIdleRunDelayMs)
        return 0;
    if (nQueued > 0 && TraceEnabled())
        Trace(FormatLine("[%d] commands queued [S:%d][R:%d]", nQueued, nCommands, nResponses));

    // The cube lets a backlog drain quickly, while an idle interface takes one turn in 3 s. It outgrows 32
    // bits from 1626 items on.
    const auto n = static_cast<std::uint64_t>(nQueued);
    const auto iDelayMs = static_cast<std::uint32_t>(kIdleRunDelayMs / (n * n * n + 1));
    m_iRunDelay = iDelayMs;
    if (TraceEnabled())
        Trace(FormatLine("RunIdle delay [%d]", static_cast<int>(iDelayMs)));
    return nQueued;
}

void CVestaraInterface::OnInterfaceIdle()
{
    m_Locations.FreeDropped();
    m_AccessPersons.FreeDropped();
    if (!m_Responses.IsEmpty()) {
        // The worker drains the queue after a refusal, so the head may be gone by now.
        if (std::unique_ptr<CVestaraCommand> pCommand = NextResponse())
            ProcessResponse(std::move(pCommand));
    }
    if (m_tmrHousekeeping.QXTickCount() > kHousekeepingMs)
        DoHousekeeping();
    if (m_tmrStatusPoll.QXTickCount() > kStatusPollMs)
        PollCloud();
}

void CVestaraInterface::DoHousekeeping()
{
    // Not any more once it was removed: whoever elects himself then leaves the others a pointer to a deleted
    // master.
    if (!m_bMaster && !m_pMaster && !m_bUnInstalled)
        MasterInterface();
    if (m_bRemoveDevices) {
        RemoveAllDevices(1);
        m_bRemoveDevices = 0;
        CSystem::Instance()->NotifyWrite();
        m_bNotifyConfig = 1;
    }
    // The two notices are traced whether or not tracing is on. Each flag is cleared after the act, so one
    // that is set in between is lost.
    if (m_bNotifyConfig) {
        Trace("NotifyConfigChanged");
        CSystem::Instance()->NotifyConfigChanged(kInterfaceSource, 406);
        m_bNotifyConfig = 0;
    }
    if (m_bNotifyInterface) {
        Trace("NotifyInterfaceChanged");
        CSystem::Instance()->NotifyInterfaceChanged();
        m_bNotifyInterface = 0;
    }
    m_tmrHousekeeping.Restart();
}

void CVestaraInterface::PollCloud()
{
    if (m_sAccessToken.IsEmpty()) {
        if (TraceEnabled())
            Trace("Access Token missing");
        ResetUpdateTimers();
        return;
    }
    if (m_sLocationID.IsEmpty()) {
        // No timer is restarted, on purpose: the line repeats with every idle call until a location is
        // chosen, and the first poll follows that choice at once.
        if (TraceEnabled())
            Trace("Location ID missing");
        return;
    }
    QueueRead(CMD_DEVICES_STATUS, LocationID());
    m_tmrStatusPoll.Restart();

    // Looked at only here, so the access persons are polled only together with the locks.
    if (m_tmrAccessPoll.QXTickCount() <= kAccessPollMs)
        return;
    QueueRead(CMD_ACCESS_PERSONS_LIST, "");
    m_tmrAccessPoll.Restart();
}

int CVestaraInterface::QueueRead(CommandID eCommand, CQXString sLocationID)
{
    return AddCommand(METHOD_READ, eCommand, std::move(sLocationID), "", "", "");
}

void CVestaraInterface::ResetUpdateTimers()
{
    m_tmrStatusPoll.Restart();
    m_tmrAccessPoll.Restart();
}

void CVestaraInterface::DelayTokenRefresh()
{
    m_tmrToken.SetElapsed(kDelayedTokenAgeMs);
}
