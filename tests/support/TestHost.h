#pragma once
// The development host's framework with a hand-moved clock, a scripted cloud and a journal in its seams, and
// the driver linked in.

#include "access/AccessPerson.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "devhost/framework/values/JsonParser.h"
#include "interface/LocationPair.h"
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

extern "C" {
void LoadDeviceInterfaces(void* pReserved, CQXObList* pList);
CDeviceInterface* CreateDeviceInterface(CDeviceInterfaceDef* pDefinition);
void LoadSystemComponentDefs(CStringBlock* pBlock, int iFamily, CQXObList* pList);
CSystemComponent* CreateSystemComponent(CSystemComponentDef* pDefinition);
}

/// Sets and reads a shared text as if it were a plain one.
class SharedTextProbe
{
public:
    explicit SharedTextProbe(CSharedText& Shared) : m_Text(Shared) {}
    void operator=(const char* pText) { m_Text.Set(pText); }
    operator CQXString() const { return m_Text.Get(); }

private:
    CSharedText& m_Text;
};

/// Opens the interface's fields to tests: what is set up or looked at here has no public operation.
class CVestaraInterfaceProbe
{
public:
    explicit CVestaraInterfaceProbe(CVestaraInterface& Interface) : m_Interface(Interface) {}

    CTSObList& Commands() { return m_Interface.m_Commands; }
    CQXObList& Locations() { return m_Interface.m_Locations.Live(); }
    CAccessPersonList& AccessPersons() { return m_Interface.m_AccessPersons; }
    CQXObList& ObfuscationList() { return *m_Interface.m_ObfuscationList.Entries(); }
    CQXTimer& HousekeepingTimer() { return m_Interface.m_tmrHousekeeping; }
    CQXTimer& RunTimer() { return m_Interface.m_tmrRun; }
    CQXTimer& StatusPollTimer() { return m_Interface.m_tmrStatusPoll; }
    CQXTimer& AccessPollTimer() { return m_Interface.m_tmrAccessPoll; }
    CQXTimer& TokenTimer() { return m_Interface.m_tmrToken; }
    std::atomic<std::uint32_t>& RunDelay() { return m_Interface.m_iRunDelay; }
    std::atomic<std::int32_t>& TokenLifetime() { return m_Interface.m_iTokenLifetime; }
    std::atomic<std::int32_t>& Master() { return m_Interface.m_bMaster; }
    std::atomic<CVestaraInterface*>& MasterPointer() { return m_Interface.m_pMaster; }
    std::atomic<std::int32_t>& LocationsRequested() { return m_Interface.m_bLocationsRequested; }
    std::atomic<std::int32_t>& Authorized() { return m_Interface.m_bAuthorized; }
    std::atomic<std::int32_t>& RemoveDevices() { return m_Interface.m_bRemoveDevices; }
    std::atomic<std::int32_t>& NotifyConfig() { return m_Interface.m_bNotifyConfig; }
    std::atomic<std::int32_t>& NotifyInterface() { return m_Interface.m_bNotifyInterface; }
    SharedTextProbe AccessToken() { return SharedTextProbe(m_Interface.m_sAccessToken); }
    SharedTextProbe RefreshToken() { return SharedTextProbe(m_Interface.m_sRefreshToken); }
    SharedTextProbe AuthCode() { return SharedTextProbe(m_Interface.m_sAuthCode); }
    SharedTextProbe LocationID() { return SharedTextProbe(m_Interface.m_sLocationID); }
    SharedTextProbe LocationName() { return SharedTextProbe(m_Interface.m_sLocationName); }
    std::atomic<OAUTH_REDIRECT_SCHEMA>& RedirectSchema() { return m_Interface.m_iRedirectSchema; }

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
    static CQXTimer& WorkingTimer(CPortivo& Lock) { return Lock.m_tmrWorking; }
    static int& WriteStatePending(CPortivo& Lock) { return Lock.m_bWriteStatePending; }
    static CQXTimer& WriteStateTimer(CPortivo& Lock) { return Lock.m_tmrWriteState; }
    static void LockState(CPortivo& Lock, int iState) { Lock.LockState(iState); }
};

namespace support
{

using Lines = std::vector<std::string>;

/// The driver's entry points as the linked-in objects offer them.
inline devhost::PluginEntryPoints DriverEntryPoints()
{
    return {LoadDeviceInterfaces, CreateDeviceInterface, LoadSystemComponentDefs, CreateSystemComponent};
}

/// A tree of the framework's own parser; fails the test when the text is no JSON.
inline std::unique_ptr<CJSONObject> ParseJson(const std::string& Text)
{
    auto pTree = devhost::ParseJson(Text);
    EXPECT_TRUE(pTree) << "the test's JSON does not parse: " << Text;
    return pTree;
}

inline Lines operator+(const Lines& First, const Lines& Second)
{
    Lines All = First;
    All.insert(All.end(), Second.begin(), Second.end());
    return All;
}

/// What a journal holds with tracing on or off: lines that are marked with "~" in front are written only
/// while it is on.
inline Lines WithTracing(bool Enabled, const Lines& Marked)
{
    Lines Found;
    for (const std::string& Line : Marked) {
        if (!Line.starts_with("~"))
            Found.push_back(Line);
        else if (Enabled)
            Found.push_back(Line.substr(1));
    }
    return Found;
}

/// The development host's system, which notes in the journal what the driver asks of it.
class JournalledSystem : public devhost::System
{
public:
    JournalledSystem(Options Parts, Journal& Effects) : System(std::move(Parts)), m_Journal(Effects) {}

    CSystemFamily* FamilyByFamily(int iFamily) override
    {
        return Family ? Family(iFamily) : System::FamilyByFamily(iFamily);
    }
    void NotifyWrite() override { m_Journal.Add("NotifyWrite"), System::NotifyWrite(); }
    void NotifyConfigChanged(const char* pSource, int iLine) override
    {
        m_Journal.Add(std::string("NotifyConfigChanged ") + pSource + " " + std::to_string(iLine));
        System::NotifyConfigChanged(pSource, iLine);
    }
    void NotifyInterfaceChanged() override
    {
        m_Journal.Add("NotifyInterfaceChanged"), System::NotifyInterfaceChanged();
    }
    CQXString GetOAuthState(unsigned uBridgeID) override
    {
        return OAuthState.empty() ? System::GetOAuthState(uBridgeID) : CQXString(OAuthState.c_str());
    }
    void OnSystemExit1(const char* pSource, int iLine, int iReserved) override
    {
        m_Journal.Add(std::string("OnSystemExit1 ") + pSource + " " + std::to_string(iLine) + " " +
                      std::to_string(iReserved));
        System::OnSystemExit1(pSource, iLine, iReserved);
    }
    void OnSystemInit() override { m_Journal.Add("OnSystemInit"), System::OnSystemInit(); }
    void OnPostSystemInit() override { m_Journal.Add("OnPostSystemInit"), System::OnPostSystemInit(); }

    std::string OAuthState; ///< when set, the state that the driver is given: addresses become predictable
    std::function<CSystemFamily*(int)> Family; ///< when set, what stands in for the system's families

private:
    Journal& m_Journal;
};

/// Base of the driver's tests: one system without threads. A report that the test did not take fails it.
class DriverTest : public ::testing::Test, private devhost::Sleeper
{
protected:
    DriverTest()
    {
        devhost::Framework& Parts = devhost::TheFramework();
        Parts.pTransport = &m_Cloud;
        Parts.pDiagnostics = &m_Journal;
        Parts.pSleeper = this;
        Parts.WakeMainLoop = [this] {
            m_Journal.Add("SetMainLoopTrigger");
            return 1;
        };
        Parts.RedirectURI = [](int Schema) {
            return "https://host.example/redirect/" + std::to_string(Schema);
        };

        StartSystem();
        m_Journal.Take();
    }
    ~DriverTest() override
    {
        m_pSystem.reset();
        devhost::TheFramework() = {};
    }
    void TearDown() override
    {
        for (const std::string& Report : m_Journal.TakeReports())
            ADD_FAILURE() << "nobody expected: " << Report;
    }

    /// Makes the system anew and starts it from the store, as a restart of the host's program does. Whatever
    /// belonged to the former system is gone.
    void StartSystem()
    {
        m_pSystem.reset();
        devhost::System::Options Options;
        Options.Plugins = {DriverEntryPoints()};
        Options.pStore = &m_Store;
        Options.Workers = false;
        m_pSystem = std::make_unique<JournalledSystem>(std::move(Options), m_Journal);
        m_pSystem->Start();
    }
    /// Adds an account through the host; it has no tokens. Effects of this are taken out of the journal.
    CVestaraInterface& AddAccount()
    {
        CNetworkBridge* pBridge = m_pSystem->AddInterface(kVestaraInterfaceType);
        auto& Account = dynamic_cast<CVestaraInterface&>(*pBridge->DeviceInterface());
        m_Journal.Take();
        return Account;
    }
    /// Adds an account with tokens "access-1"/"refresh-1" and the location "loc-1" ("Lake House").
    CVestaraInterface& AddReadyAccount()
    {
        CVestaraInterface& Account = AddAccount();
        CVestaraInterfaceProbe Fields = Probe(Account);
        Fields.AccessToken() = "access-1";
        Fields.RefreshToken() = "refresh-1";
        Fields.LocationID() = "loc-1";
        Fields.LocationName() = "Lake House";
        return Account;
    }
    /// Installs a lock under the account; effects are taken out of the journal.
    CPortivo& AddLock(CVestaraInterface& Account, const char* DeviceID, const char* Name)
    {
        EXPECT_EQ(Account.AddNewDoorLock(DeviceID, Name), 1);
        CPortivo* pLock = Account.FindDoorLock(DeviceID);
        Probe(Account).NotifyConfig() = 0;
        Probe(Account).NotifyInterface() = 0;
        m_Journal.Take();
        return *pLock;
    }

    /// Runs the worker's loop for a number of passes on this thread.
    void RunWorker(CVestaraInterface& Account, int Passes)
    {
        CNetworkBridge* pBridge = Account.NetworkBridge();
        m_OnPass = [&Passes, pBridge] {
            if (--Passes <= 0)
                pBridge->ShuttingDown(1);
        };
        EXPECT_EQ(Account.Run(), 0);
        m_OnPass = nullptr;
        pBridge->ShuttingDown(0);
    }
    /// Hands a reply to a command as the send cycle does and processes it. @return ProcessResponse's result.
    static int Process(CVestaraInterface& Account, CommandID Command, const std::string& Json,
                       const char* LocationID = "", const char* DeviceID = "", const char* UserID = "",
                       VestaraMethod Method = METHOD_READ)
    {
        auto pCommand = std::make_unique<CVestaraCommand>(Method, Command, LocationID, DeviceID, UserID, "");
        pCommand->Response(ParseJson(Json).release());
        return Account.ProcessResponse(std::move(pCommand));
    }

    /// "METHOD COMMAND location|device|user|access" of each queued command, which stay queued.
    static Lines Queued(CVestaraInterface& Account)
    {
        Lines Found;
        CTSObList& Commands = Probe(Account).Commands();
        for (int n = Commands.GetCount(); n > 0; --n) {
            auto* pCommand = static_cast<CVestaraCommand*>(Commands.RemoveHead());
            Found.push_back(std::to_string(pCommand->Method()) + " " +
                            std::to_string(pCommand->GetCommandID()) + " " +
                            std::string(pCommand->LocationID()) + "|" + std::string(pCommand->DeviceID()) +
                            "|" + std::string(pCommand->UserID()) + "|" + std::string(pCommand->AccessID()));
            Commands.AddTail(pCommand);
        }
        return Found;
    }
    static void DropQueued(CVestaraInterface& Account)
    {
        while (Account.NextCommand()) {
        }
    }

    /// The journal without the names of the traces' producers, which follow the location's name. Taken.
    Lines TakeEffects()
    {
        Lines Effects = m_Journal.Take();
        for (std::string& Effect : Effects)
            if (Effect.starts_with("trace "))
                Effect.erase(5, Effect.find(": ") - 5);
        return Effects;
    }
    /// The same without the lines about the worker's pace, which come with every queued command.
    Lines TakeEffectsButPace()
    {
        Lines Effects = TakeEffects();
        std::erase_if(Effects, [](const std::string& Effect) {
            return Effect.starts_with("trace: RunIdle delay") ||
                   Effect.find("] commands queued [") < Effect.size();
        });
        return Effects;
    }
    /// Puts a person into the registry, and a user into a slot of the controller; effects are taken.
    void AddPerson(CVestaraInterface& Account, int Index, const char* ID, const char* Name,
                   const char* Pin = "1111", const char* Email = "")
    {
        auto pPerson = std::make_unique<CAccessPerson>(Index, ID, Pin, Name, Email);
        EXPECT_EQ(Account.InsertAccessPerson(pPerson), 1) << Name;
        m_Journal.Take();
    }
    void SetUser(int Slot, const char* Name, const char* Pin = "1111", const char* Email = "")
    {
        EXPECT_EQ(m_pSystem->Security().SetUser(Slot, {Name, Email, Pin}), std::nullopt);
        m_Journal.Take();
    }
    /// "INDEX|ID|NAME|PIN|EMAIL" of each access person, in the registry's order.
    static Lines Persons(CVestaraInterface& Account)
    {
        Lines Found;
        for (const auto& pPerson : Probe(Account).AccessPersons().All()) {
            std::string Line = std::to_string(pPerson->Index());
            for (const CQXString& Field :
                 {pPerson->ID(), pPerson->Name(), pPerson->PinCode(), pPerson->Email()})
                Line.append("|").append(Field);
            Found.push_back(Line);
        }
        return Found;
    }
    /// The ids of the candidate locations.
    static Lines Candidates(CVestaraInterface& Account)
    {
        Lines Found;
        const CQXObList& List = Probe(Account).Locations();
        for (CQXPos* pPos = List.GetHeadPosition(); pPos;)
            Found.emplace_back(static_cast<const CLocationPair*>(List.GetNext(pPos))->ID());
        return Found;
    }
    static CVestaraInterfaceProbe Probe(CVestaraInterface& Account)
    {
        return CVestaraInterfaceProbe(Account);
    }

    ManualClock m_Clock;
    Journal m_Journal;
    ScriptedCloud m_Cloud;
    devhost::MemoryStore m_Store;
    std::unique_ptr<JournalledSystem> m_pSystem;
    std::function<void()> m_OnPass; ///< called after each pause of 100 ms, the length of a worker's pass

private:
    /// Moves the clock instead of sleeping.
    void Sleep(std::chrono::milliseconds Time) override
    {
        // The worker's pass is too frequent to be an effect; every other pause is one.
        constexpr std::chrono::milliseconds kPass{100};
        if (Time != kPass)
            m_Journal.Add("Sleep " + std::to_string(Time.count()));
        m_Clock.Advance(static_cast<std::uint64_t>(Time.count()));
        if (Time == kPass && m_OnPass)
            m_OnPass();
    }
};

} // namespace support
