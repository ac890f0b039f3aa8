// The door-lock base: states, registrations, the lock's record. What is shown to people is announced through
// the system; what a state means to the cloud is the driver's.

#include "host/DoorLock.h"

#include "devhost/framework/system/Servers.h"
#include "devhost/framework/system/System.h"
#include "host/Bridge.h"

namespace
{

// More enabled users than any controller has: a count above it is a damaged record.
constexpr int kMaxEnabledUsers = 1000;

void Announce(const CDoorLock& Lock)
{
    if (auto* pSystem = dynamic_cast<devhost::System*>(CSystem::Instance()))
        pSystem->MarkLockChanged(Lock.ID());
}

// A command that was under way when the host stopped has no working timer any more, so its state is unknown.
int RestoredState(int iState)
{
    return iState == CDoorLock::STATE_SECURED || iState == CDoorLock::STATE_UNSECURED
               ? iState
               : CDoorLock::STATE_UNKNOWN;
}

} // namespace

CDoorLock::CDoorLock(CSystemComponentDef* pDefinition) : CSystemComponent(pDefinition) {}

CQXString CDoorLock::SignalStrengthText() const
{
    if (m_iSignalStrength < 0)
        return "Unknown";
    CQXString sText = CQXString::IntegerToString(m_iSignalStrength);
    sText += " %";
    return sText;
}

CQXString CDoorLock::ErrorText() const
{
    const std::lock_guard Guard(m_ErrorMutex);
    return m_sError;
}

void CDoorLock::EnableUser(int iUserID, int bEnabled)
{
    if (bEnabled)
        m_EnabledUsers.insert(iUserID);
    else
        m_EnabledUsers.erase(iUserID);
}

int CDoorLock::ReadData(CQXFile* pFile, int iVersion)
{
    int bUserCodes = 0;
    if (!CSystemComponent::ReadData(pFile, iVersion) || !pFile->ReadInt(&bUserCodes))
        return 0;
    EnableUserCodes(bUserCodes);
    int nUsers = 0;
    if (!pFile->ReadInt(&nUsers) || nUsers < 0 || nUsers > kMaxEnabledUsers)
        return 0;
    for (int i = 0; i < nUsers; ++i) {
        int iUserID = 0;
        if (!pFile->ReadInt(&iUserID))
            return 0;
        m_EnabledUsers.insert(iUserID);
    }
    int iState = STATE_UNKNOWN;
    if (!pFile->ReadInt(&iState) || !pFile->ReadInt(&m_iBatteryLevel) || !pFile->ReadInt(&m_iSignalStrength))
        return 0;
    LockState(RestoredState(iState));
    return 1;
}

int CDoorLock::WriteData(CQXFile* pFile, int iVersion)
{
    if (!CSystemComponent::WriteData(pFile, iVersion) || !pFile->WriteInt(m_bUserCodesEnabled) ||
        !pFile->WriteInt(static_cast<int>(m_EnabledUsers.size())))
        return 0;
    for (int iUserID : m_EnabledUsers) {
        if (!pFile->WriteInt(iUserID))
            return 0;
    }
    return pFile->WriteInt(State()) && pFile->WriteInt(m_iBatteryLevel) && pFile->WriteInt(m_iSignalStrength)
               ? 1
               : 0;
}

void CDoorLock::Install()
{
    CSystemComponent::Install();
}

int CDoorLock::UnInstall()
{
    return CSystemComponent::UnInstall();
}

void CDoorLock::OnPostSystemInit()
{
    CSystemComponent::OnPostSystemInit();
}

void CDoorLock::RegisterEventServer()
{
    // A new lock registers before it has a bridge, and again afterwards: only then is there an owner.
    const auto* pClient = dynamic_cast<const CBridgeClient*>(this);
    auto* pServer = dynamic_cast<devhost::EventServer*>(CEventServer::Instance());
    if (pServer && pClient && pClient->BridgeID() != 0)
        pServer->Register(pClient->BridgeID(), ID());
}

void CDoorLock::WriteState()
{
    if (CSystem* pSystem = CSystem::Instance())
        pSystem->NotifyWrite();
}

void CDoorLock::RegisterBatteryLevel(int iPercent)
{
    if (m_iBatteryLevel == iPercent)
        return;
    m_iBatteryLevel = iPercent;
    Announce(*this);
}

void CDoorLock::RegisterSignalStrength(int iLevel)
{
    if (m_iSignalStrength == iLevel)
        return;
    m_iSignalStrength = iLevel;
    Announce(*this);
}

void CDoorLock::RegisterProgress(int iPercent)
{
    m_iProgress = iPercent;
    Announce(*this);
}

void CDoorLock::RegisterProgressTime(unsigned uSeconds)
{
    m_uProgressTime = uSeconds;
    Announce(*this);
}

void CDoorLock::RegisterLockSecured(int iUser)
{
    ReportedState(STATE_SECURED, iUser);
}

void CDoorLock::RegisterLockUnsecured(int iUser)
{
    ReportedState(STATE_UNSECURED, iUser);
}

void CDoorLock::ReportedState(int iState, int iUser)
{
    const bool bWasWorking = m_bWorking.exchange(0) != 0;
    const bool bChanged = m_iLockState.exchange(iState) != iState;
    // The driver repeats the report with every poll, as from nobody in particular, while the user of the
    // change itself comes only once: a repetition must not wipe that user out.
    if (iState == STATE_UNSECURED && (bChanged || iUser != 1))
        m_iLastUser = iUser;
    if (bChanged) {
        const std::lock_guard Guard(m_ErrorMutex);
        m_sError.Empty();
    }
    if (bChanged && !m_bWriteStatePending) {
        m_bWriteStatePending = 1;
        m_tmrWriteState.Restart();
    }
    if (bChanged || bWasWorking)
        Announce(*this);
}

void CDoorLock::RegisterWorking(int bWorking)
{
    // Progress is set on the host thread only: giving up comes from the worker too and leaves it alone.
    if (bWorking) {
        m_tmrWorking.Restart();
        m_iProgress = 0;
        m_uProgressTime = 0;
        const std::lock_guard Guard(m_ErrorMutex);
        m_sError.Empty();
    }
    m_bWorking.store(bWorking ? 1 : 0);
    Announce(*this);
}

void CDoorLock::RegisterUnknownState()
{
    if (m_iLockState.exchange(STATE_UNKNOWN) == STATE_UNKNOWN)
        return;
    // Comes from the worker too when an account loses its authorisation, so it goes round the deferred flag,
    // which belongs to the host thread. The error stays: it says why the state is unknown.
    WriteState();
    Announce(*this);
}

void CDoorLock::RegisterErrorState(CQXString sError)
{
    {
        const std::lock_guard Guard(m_ErrorMutex);
        m_sError = std::move(sError);
    }
    Announce(*this);
}

void CDoorLock::RegisterUnlockCommand(int iUser)
{
    m_iCommandUser = iUser;
    Announce(*this);
}
