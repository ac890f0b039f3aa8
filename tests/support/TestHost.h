#pragma once
// The development host's framework with a hand-moved clock, a scripted cloud and a journal in its seams, and
// the driver linked in.

#include "devhost/framework/Store.h"
#include "devhost/framework/System.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"
#include "support/Clock.h"
#include "support/Journal.h"
#include "support/ScriptedCloud.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

/// Opens the interface's fields to tests: what is set up or looked at here has no public operation.
class CVestaraInterfaceProbe
{
public:
    explicit CVestaraInterfaceProbe(CVestaraInterface& Interface) : m_Interface(Interface) {}

    CTSObList& Commands() { return m_Interface.m_Commands; }
    CTSObList& Responses() { return m_Interface.m_Responses; }
    CQXObList& Locations() { return m_Interface.m_Locations; }
    CQXObList& AccessPersons() { return m_Interface.m_AccessPersons; }
    CQXObList& ObfuscationList() { return m_Interface.m_ObfuscationList; }
    CQXTimer& HousekeepingTimer() { return m_Interface.m_tmrHousekeeping; }
    CQXTimer& RunTimer() { return m_Interface.m_tmrRun; }
    CQXTimer& StatusPollTimer() { return m_Interface.m_tmrStatusPoll; }
    CQXTimer& AccessPollTimer() { return m_Interface.m_tmrAccessPoll; }
    CQXTimer& TokenTimer() { return m_Interface.m_tmrToken; }
    std::uint32_t& RunDelay() { return m_Interface.m_iRunDelay; }
    std::int32_t& TokenLifetime() { return m_Interface.m_iTokenLifetime; }
    std::int32_t& Master() { return m_Interface.m_bMaster; }
    CVestaraInterface*& MasterPointer() { return m_Interface.m_pMaster; }
    std::int32_t& LocationsRequested() { return m_Interface.m_bLocationsRequested; }
    std::int32_t& Authorized() { return m_Interface.m_bAuthorized; }
    std::int32_t& RemoveDevices() { return m_Interface.m_bRemoveDevices; }
    std::int32_t& NotifyConfig() { return m_Interface.m_bNotifyConfig; }
    std::int32_t& NotifyInterface() { return m_Interface.m_bNotifyInterface; }
    CQXString& AccessToken() { return m_Interface.m_sAccessToken; }
    CQXString& RefreshToken() { return m_Interface.m_sRefreshToken; }
    CQXString& AuthCode() { return m_Interface.m_sAuthCode; }
    CQXString& LocationID() { return m_Interface.m_sLocationID; }
    CQXString& LocationName() { return m_Interface.m_sLocationName; }
    OAUTH_REDIRECT_SCHEMA& RedirectSchema() { return m_Interface.m_iRedirectSchema; }

private:
    CVestaraInterface& m_Interface;
};

/// Opens the lock's fields to tests.
class CPortivoProbe
{
public:
    static CVestaraInterface* CachedInterface(CPortivo& Lock) { return Lock.m_pInterface; }
    static CQXTimer& ProgressTimer(CPortivo& Lock) { return Lock.m_tmrProgress; }
    static CQXTimer& BatteryTimer(CPortivo& Lock) { return Lock.m_tmrBatteryCheck; }
    static CQXTimer& UnlockTimer(CPortivo& Lock) { return Lock.m_tmrUnlock; }
    static std::int32_t& LastCommand(CPortivo& Lock) { return Lock.m_iLastCommand; }
    static std::int32_t& UnlockUser(CPortivo& Lock) { return Lock.m_iUnlockUser; }
    static std::int32_t& LowBattery(CPortivo& Lock) { return Lock.m_iLowBattery; }
    static std::uint32_t& HeartbeatInterval(CPortivo& Lock) { return Lock.m_iHeartbeatInterval; }
    static CQXString& SerialNumber(CPortivo& Lock) { return Lock.m_sSerialNumber; }
    static CQXTimer& WorkingTimer(CPortivo& Lock) { return Lock.m_tmrWorking; }
    static int& WriteStatePending(CPortivo& Lock) { return Lock.m_bWriteStatePending; }
    static CQXTimer& WriteStateTimer(CPortivo& Lock) { return Lock.m_tmrWriteState; }
    static void LockState(CPortivo& Lock, int iState) { Lock.LockState(iState); }
};

namespace support
{

using Lines = std::vector<std::string>;

/// Forwards to the development host's system and notes in the journal what the driver asks of it.
class JournalledSystem : public CSystem
{
public:
    JournalledSystem(devhost::System& System, Journal& Effects) : m_System(System), m_Journal(Effects) {}

    int NBridges() override { return m_System.NBridges(); }
    CBridge* Bridge(int i) override { return m_System.Bridge(i); }
    int NDoorLock(COMPONENT_FILTER_TYPE eFilter) override { return m_System.NDoorLock(eFilter); }
    CDoorLock* DoorLock(int i) override { return m_System.DoorLock(i); }
    CSystemFamily* FamilyByFamily(int iFamily) override
    {
        return Family ? Family(iFamily) : m_System.FamilyByFamily(iFamily);
    }
    void NotifyWrite() override { m_Journal.Add("NotifyWrite"), m_System.NotifyWrite(); }
    void NotifyConfigChanged(const char* pSource, int iLine) override
    {
        m_Journal.Add(std::string("NotifyConfigChanged ") + pSource + " " + std::to_string(iLine));
        m_System.NotifyConfigChanged(pSource, iLine);
    }
    void NotifyInterfaceChanged() override
    {
        m_Journal.Add("NotifyInterfaceChanged"), m_System.NotifyInterfaceChanged();
    }
    CQXString GetOAuthState(unsigned uBridgeID) override
    {
        return OAuthState.empty() ? m_System.GetOAuthState(uBridgeID) : CQXString(OAuthState.c_str());
    }
    void OnSystemExit1(const char* pSource, int iLine, int iReserved) override
    {
        m_Journal.Add(std::string("OnSystemExit1 ") + pSource + " " + std::to_string(iLine) + " " +
                      std::to_string(iReserved));
        m_System.OnSystemExit1(pSource, iLine, iReserved);
    }
    void OnSystemInit() override { m_Journal.Add("OnSystemInit"), m_System.OnSystemInit(); }
    void OnPostSystemInit() override { m_Journal.Add("OnPostSystemInit"), m_System.OnPostSystemInit(); }

    std::string OAuthState; ///< when set, the state that the driver is given: addresses become predictable
    std::function<CSystemFamily*(int)> Family; ///< when set, what stands in for the system's families

private:
    devhost::System& m_System;
    Journal& m_Journal;
};

/// Moves the clock instead of sleeping.
class ClockSleeper : public devhost::Sleeper
{
public:
    ClockSleeper(ManualClock& Clock, Journal& Effects) : m_Clock(Clock), m_Journal(Effects) {}
    void Sleep(std::chrono::milliseconds Time) override;

    std::function<void()> OnPass; ///< called after each pause of 100 ms, the length of a worker's pass

private:
    ManualClock& m_Clock;
    Journal& m_Journal;
};

/// Base of the driver's tests: one system without threads. A report that the test did not take fails it.
class DriverTest : public ::testing::Test
{
protected:
    /// @param StoredConfiguration what to start from; empty: nothing is stored
    explicit DriverTest(std::string StoredConfiguration = {});
    ~DriverTest() override;
    void TearDown() override;

    /// Makes the system anew and starts it from the store, as a restart of the host's program does. Whatever
    /// belonged to the former system is gone.
    void StartSystem();
    /// Adds an account through the host; it has no tokens. Effects of this are taken out of the journal.
    CVestaraInterface& AddAccount();
    /// Adds an account with tokens "access-1"/"refresh-1" and the location "loc-1" ("Lake House").
    CVestaraInterface& AddReadyAccount();
    /// Installs a lock under the account; effects are taken out of the journal.
    CPortivo& AddLock(CVestaraInterface& Account, const char* DeviceID, const char* Name);

    /// Runs the worker's loop for a number of passes on this thread.
    void RunWorker(CVestaraInterface& Account, int Passes);
    /// Sends the next queued command as the worker's turn would. @return SendCommand's result, -1 for none.
    int SendNext(CVestaraInterface& Account);
    /// Hands a reply to a command as the send cycle does and processes it. @return ProcessResponse's result.
    int Process(CVestaraInterface& Account, CommandID Command, const std::string& Json,
                const char* LocationID = "", const char* DeviceID = "", const char* UserID = "",
                VestaraMethod Method = METHOD_READ);

    /// "METHOD COMMAND location|device|user|access" of each queued command, which stay queued.
    Lines Queued(CVestaraInterface& Account);
    std::size_t DropQueued(CVestaraInterface& Account);

    /// The journal without the names of the traces' producers, which follow the location's name. Taken.
    Lines TakeEffects();
    /// The same without the lines about the worker's pace, which come with every queued command.
    Lines TakeEffectsButPace();
    /// Puts a person into the registry, and a user into a slot of the controller; effects are taken.
    void AddPerson(CVestaraInterface& Account, int Index, const char* ID, const char* Name,
                   const char* Pin = "1111", const char* Email = "");
    void SetUser(int Slot, const char* Name, const char* Pin = "1111", const char* Email = "");
    /// "INDEX|ID|NAME|PIN|EMAIL" of each access person, in the registry's order.
    Lines Persons(CVestaraInterface& Account);
    /// The ids of the candidate locations.
    Lines Candidates(CVestaraInterface& Account);
    static CVestaraInterfaceProbe Probe(CVestaraInterface& Account)
    {
        return CVestaraInterfaceProbe(Account);
    }

    ManualClock m_Clock;
    Journal m_Journal;
    ScriptedCloud m_Cloud;
    ClockSleeper m_Sleeper{m_Clock, m_Journal};
    devhost::MemoryStore m_Store;
    std::unique_ptr<devhost::System> m_pSystem;
    std::unique_ptr<JournalledSystem> m_pJournalled;
};

/// The driver's entry points as the linked-in objects offer them.
devhost::PluginEntryPoints DriverEntryPoints();

/// A tree of the framework's own parser; fails the test when the text is no JSON.
std::unique_ptr<CJSONObject> ParseJson(const std::string& Text);

Lines operator+(const Lines& First, const Lines& Second);

/// What a journal holds with tracing on or off: lines that are marked with "~" in front are written only
/// while it is on.
Lines WithTracing(bool Enabled, const Lines& Marked);

} // namespace support
