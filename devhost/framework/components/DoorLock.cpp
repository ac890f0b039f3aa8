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

void Announce(const CDoorLock& lock)
{
    if (auto* system = dynamic_cast<devhost::System*>(CSystem::Instance()))
        system->MarkLockChanged(lock.ID());
}

// A command that was under way when the host stopped has no working timer any more, so its state is unknown.
int RestoredState(int state)
{
    return state == CDoorLock::STATE_SECURED || state == CDoorLock::STATE_UNSECURED
               ? state
               : CDoorLock::STATE_UNKNOWN;
}

} // namespace

CDoorLock::CDoorLock(CSystemComponentDef* definition) : CSystemComponent(definition) {}

CQXString CDoorLock::SignalStrengthText() const
{
    if (m_iSignalStrength < 0)
        return "Unknown";
    CQXString text = CQXString::IntegerToString(m_iSignalStrength);
    text += " %";
    return text;
}

CQXString CDoorLock::ErrorText() const
{
    const std::lock_guard guard(m_ErrorMutex);
    return m_sError;
}

void CDoorLock::EnableUser(int userId, int enabled)
{
    if (enabled)
        m_EnabledUsers.insert(userId);
    else
        m_EnabledUsers.erase(userId);
}

int CDoorLock::ReadData(CQXFile* file, int version)
{
    int userCodes = 0;
    if (!CSystemComponent::ReadData(file, version) || !file->ReadInt(&userCodes))
        return 0;
    EnableUserCodes(userCodes);
    int userCount = 0;
    if (!file->ReadInt(&userCount) || userCount < 0 || userCount > kMaxEnabledUsers)
        return 0;
    for (int i = 0; i < userCount; ++i) {
        int userId = 0;
        if (!file->ReadInt(&userId))
            return 0;
        m_EnabledUsers.insert(userId);
    }
    int state = STATE_UNKNOWN;
    if (!file->ReadInt(&state) || !file->ReadInt(&m_iBatteryLevel) || !file->ReadInt(&m_iSignalStrength))
        return 0;
    LockState(RestoredState(state));
    return 1;
}

int CDoorLock::WriteData(CQXFile* file, int version)
{
    if (!CSystemComponent::WriteData(file, version) || !file->WriteInt(m_bUserCodesEnabled) ||
        !file->WriteInt(static_cast<int>(m_EnabledUsers.size())))
        return 0;
    for (int userId : m_EnabledUsers) {
        if (!file->WriteInt(userId))
            return 0;
    }
    return file->WriteInt(State()) && file->WriteInt(m_iBatteryLevel) && file->WriteInt(m_iSignalStrength)
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
    const auto* client = dynamic_cast<const CBridgeClient*>(this);
    auto* server = dynamic_cast<devhost::EventServer*>(CEventServer::Instance());
    if (server && client && client->BridgeID() != 0)
        server->Register(client->BridgeID(), ID());
}

void CDoorLock::WriteState()
{
    if (CSystem* system = CSystem::Instance())
        system->NotifyWrite();
}

void CDoorLock::RegisterBatteryLevel(int percent)
{
    if (m_iBatteryLevel == percent)
        return;
    m_iBatteryLevel = percent;
    Announce(*this);
}

void CDoorLock::RegisterSignalStrength(int level)
{
    if (m_iSignalStrength == level)
        return;
    m_iSignalStrength = level;
    Announce(*this);
}

void CDoorLock::RegisterProgress(int percent)
{
    m_iProgress = percent;
    Announce(*this);
}

void CDoorLock::RegisterProgressTime(unsigned seconds)
{
    m_uProgressTime = seconds;
    Announce(*this);
}

void CDoorLock::RegisterLockSecured(int user)
{
    ReportedState(STATE_SECURED, user);
}

void CDoorLock::RegisterLockUnsecured(int user)
{
    ReportedState(STATE_UNSECURED, user);
}

void CDoorLock::ReportedState(int state, int user)
{
    const bool wasWorking = m_bWorking.exchange(0) != 0;
    const bool changed = m_iLockState.exchange(state) != state;
    // The driver repeats the report with every poll, as from nobody in particular, while the user of the
    // change itself comes only once: a repetition must not wipe that user out.
    if (state == STATE_UNSECURED && (changed || user != 1))
        m_iLastUser = user;
    if (changed) {
        const std::lock_guard guard(m_ErrorMutex);
        m_sError.Empty();
    }
    if (changed && !m_bWriteStatePending) {
        m_bWriteStatePending = 1;
        m_tmrWriteState.Restart();
    }
    if (changed || wasWorking)
        Announce(*this);
}

void CDoorLock::RegisterWorking(int working)
{
    // Progress is set on the host thread only: giving up comes from the worker too and leaves it alone.
    if (working) {
        m_tmrWorking.Restart();
        m_iProgress = 0;
        m_uProgressTime = 0;
        const std::lock_guard guard(m_ErrorMutex);
        m_sError.Empty();
    }
    m_bWorking.store(working ? 1 : 0);
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

void CDoorLock::RegisterErrorState(CQXString error)
{
    {
        const std::lock_guard guard(m_ErrorMutex);
        m_sError = std::move(error);
    }
    Announce(*this);
}

void CDoorLock::RegisterUnlockCommand(int user)
{
    m_iCommandUser = user;
    Announce(*this);
}
