#pragma once
// The driver linked in: its entry points, and a look at what has no public operation.

#include "devhost/framework/system/Plugin.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

extern "C" {
void LoadDeviceInterfaces(void* reserved, CQXObList* list);
CDeviceInterface* CreateDeviceInterface(CDeviceInterfaceDef* definition);
void LoadSystemComponentDefs(CStringBlock* block, int family, CQXObList* list);
CSystemComponent* CreateSystemComponent(CSystemComponentDef* definition);
}

/// Sets and reads a shared text as if it were a plain one.
class SharedTextProbe
{
public:
    explicit SharedTextProbe(CSharedText& shared) : m_text(shared) {}
    SharedTextProbe& operator=(const char* text)
    {
        m_text.Set(text);
        return *this;
    }
    operator CQXString() const { return m_text.Get(); }

private:
    CSharedText& m_text;
};

/// Opens the interface's fields to tests: what is set up or looked at here has no public operation.
class CVestaraInterfaceProbe
{
public:
    explicit CVestaraInterfaceProbe(CVestaraInterface& interface) : m_interface(interface) {}

    CTSObList& Commands() { return m_interface.m_Commands; }
    CQXObList& Locations() { return m_interface.m_Locations.Live(); }
    CAccessPersonList& AccessPersons() { return m_interface.m_AccessPersons; }
    CQXObList& ObfuscationList() { return *m_interface.m_ObfuscationList.Entries(); }
    CQXTimer& HousekeepingTimer() { return m_interface.m_tmrHousekeeping; }
    CQXTimer& RunTimer() { return m_interface.m_tmrRun; }
    CQXTimer& StatusPollTimer() { return m_interface.m_tmrStatusPoll; }
    CQXTimer& AccessPollTimer() { return m_interface.m_tmrAccessPoll; }
    CQXTimer& TokenTimer() { return m_interface.m_tmrToken; }
    std::atomic<std::uint32_t>& RunDelay() { return m_interface.m_iRunDelay; }
    std::atomic<std::int32_t>& TokenLifetime() { return m_interface.m_iTokenLifetime; }
    std::atomic<std::int32_t>& Master() { return m_interface.m_bMaster; }
    std::atomic<CVestaraInterface*>& MasterPointer() { return m_interface.m_pMaster; }
    std::atomic<std::int32_t>& LocationsRequested() { return m_interface.m_bLocationsRequested; }
    std::atomic<std::int32_t>& Authorized() { return m_interface.m_bAuthorized; }
    std::atomic<std::int32_t>& RemoveDevices() { return m_interface.m_bRemoveDevices; }
    std::atomic<std::int32_t>& NotifyConfig() { return m_interface.m_bNotifyConfig; }
    std::atomic<std::int32_t>& NotifyInterface() { return m_interface.m_bNotifyInterface; }
    SharedTextProbe AccessToken() { return SharedTextProbe(m_interface.m_sAccessToken); }
    SharedTextProbe RefreshToken() { return SharedTextProbe(m_interface.m_sRefreshToken); }
    SharedTextProbe AuthCode() { return SharedTextProbe(m_interface.m_sAuthCode); }
    SharedTextProbe LocationID() { return SharedTextProbe(m_interface.m_sLocationID); }
    SharedTextProbe LocationName() { return SharedTextProbe(m_interface.m_sLocationName); }
    std::atomic<OAUTH_REDIRECT_SCHEMA>& RedirectSchema() { return m_interface.m_iRedirectSchema; }

private:
    CVestaraInterface& m_interface;
};

/// Opens the lock's fields to tests.
class CPortivoProbe
{
public:
    static CVestaraInterface* CachedInterface(CPortivo& lock) { return lock.m_pInterface; }
    static CQXTimer& ProgressTimer(CPortivo& lock) { return lock.m_tmrProgress; }
    static CQXTimer& BatteryTimer(CPortivo& lock) { return lock.m_tmrBatteryCheck; }
    static CQXTimer& UnlockTimer(CPortivo& lock) { return lock.m_tmrUnlock; }
    static std::int32_t& LastCommand(CPortivo& lock) { return lock.m_iLastCommand; }
    static std::int32_t& UnlockUser(CPortivo& lock) { return lock.m_iUnlockUser; }
    static std::int32_t& LowBattery(CPortivo& lock) { return lock.m_iLowBattery; }
    static std::uint32_t& HeartbeatInterval(CPortivo& lock) { return lock.m_iHeartbeatInterval; }
    static CQXTimer& WorkingTimer(CPortivo& lock) { return lock.m_tmrWorking; }
    static int& WriteStatePending(CPortivo& lock) { return lock.m_bWriteStatePending; }
    static CQXTimer& WriteStateTimer(CPortivo& lock) { return lock.m_tmrWriteState; }
    static void LockState(CPortivo& lock, int state) { lock.LockState(state); }
};

namespace support
{

/// The driver's entry points as the linked-in objects offer them.
inline devhost::PluginEntryPoints DriverEntryPoints()
{
    return {LoadDeviceInterfaces, CreateDeviceInterface, LoadSystemComponentDefs, CreateSystemComponent};
}

} // namespace support
