#pragma once
// A plug-in in process, an interface and a lock whose behaviour a test sets, and the fixture around it.

#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/system/System.h"
#include "host/Platform.h"
#include "tests/support/Journal.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

constexpr int kFakeInterfaceType = 7;
constexpr int kFakeLockType = 8;
constexpr int kFakeFamily = 3;

class FakeInterface : public CDeviceNetwork, public CPropertyUpdateDelegate
{
public:
    explicit FakeInterface(CDeviceInterfaceDef* definition) : CDeviceNetwork(definition, 0, 0) {}
    int ReadClientData(CQXFile* file, int version) override
    {
        return CDeviceNetwork::ReadClientData(file, version) && file->ReadString(&token);
    }
    int WriteClientData(CQXFile* file, int version) override
    {
        return CDeviceNetwork::WriteClientData(file, version) && file->WriteString(token) && writable;
    }
    void IFaceDoPropertyExchange(CPropertySet* set, PROPERTYSET_DDX ddx) override
    {
        if (ddx == PROPERTYSET_DDX_BUILD) {
            set->AddTextProperty("Status", "fine", 2000, 9);
            CSystemProperty* house = set->AddMultiProperty("House", -1, 2001, 0);
            house->UpdateDelegate(this);
            UpdateProperty(house, PROPERTY_UPDATE_BUILD, set, 0, 0);
            onBuild();
        } else if (ddx == PROPERTYSET_DDX_STORE) {
            onStore(set->Property(2001)->SelectedIndex());
        }
        CDeviceInterface::IFaceDoPropertyExchange(set, ddx);
    }
    int UpdateProperty(CSystemProperty* property, PROPERTY_UPDATE_CTX, CPropertySet*, int, int) override
    {
        for (int i = 0; const char* house : houses)
            property->AddChoice(house, i++);
        return 1;
    }
    void OnInterfaceInit() override { ++inits; }
    void OnInterfaceIdle() override
    {
        ++idles;
        const auto hook = onIdle; // a copy, because the hook may replace itself
        hook();
    }
    int Run() override
    {
        ++runs;
        ++running;
        onRun();
        while (!NetworkBridge()->ShuttingDown())
            Sleep(3'600'000); // ends early, or the test hangs
        --running;
        return 0;
    }
    int UnInstall() override { return CEventServer::Instance()->DeleteAllByOwner(BridgeID()); }
    CQXString GetAuthURL() override { return CSystem::Instance()->GetOAuthState(BridgeID()); }
    void ProcessAuthCode(CQXString code) override { codes.emplace_back(static_cast<char*>(code)); }
    CQXString GetActionURL(int action) override
    {
        return action == 20002 ? "https://oauth.example/authorize?state=1" : "";
    }
    int ExecuteAction(int action, CPropertySet*) override { return action == 20003 ? 1 : 0; }
    void GetExtBridgeConfig(CQXMSG* message) override
    {
        message->PutInt(0x2020000);
        message->PutInt(0);
        message->PutString("Location");
        message->PutInt(-1);
        message->PutInt(static_cast<int>(houses.size()));
        for (const char* house : houses)
            message->PutString(house);
        message->PutInt(0x2000000);
    }
    void SetExtBridgeConfig(CQXMSG* message) override { extendedChoice = message->GetInt(); }
    std::string NewState() { return static_cast<char*>(GetAuthURL()); }

    std::function<void()> onIdle = [] {};
    std::function<void()> onRun = [] {};
    std::function<void()> onBuild = [] {};
    std::function<void(int)> onStore = [](int) {}; // with the selected house
    std::vector<std::string> codes;
    std::vector<const char*> houses{"Lake House", "Cabin"}; // on both pages
    CQXString token = "token";
    int idles = 0, inits = 0, extendedChoice = -100, writable = 1;
    std::atomic<int> runs{0}, running{0};
};

class FakeLock : public CDoorLock, public CBridgeClient
{
public:
    explicit FakeLock(CSystemComponentDef* def) : CDoorLock(def), CBridgeClient(kFakeInterfaceType, 0) {}
    int ReadData(CQXFile* file, int version) override
    {
        return CDoorLock::ReadData(file, version) && ReadClientData(file, version);
    }
    int WriteData(CQXFile* file, int version) override
    {
        return CDoorLock::WriteData(file, version) && WriteClientData(file, version);
    }
    void OnComponentIdle() override
    {
        ++idles;
        const auto hook = onIdle; // a copy, because the hook may delete this lock
        hook();
    }
    int ExecuteCommand(int command, int argument) override
    {
        if (State() == (command == 1270 ? STATE_SECURED : STATE_UNSECURED))
            return 0;
        commands.push_back(std::to_string(command) + "/" + std::to_string(argument));
        return 1;
    }
    int SendHardwareSlotConfig(int slot, QXT_SLOT_CONFIG*) override
    {
        slots.push_back(slot);
        return 1;
    }
    void GetExtendedConfig(CQXMSG* message) override
    {
        message->PutInt(0x804);
        for (const char* text : {"Programming Code", "778899", "WiFi", "", "Serial", ""})
            message->PutString(text);
        for (const char* chooser : {"User Codes", "Low Battery Warning"}) {
            message->PutString(chooser);
            message->PutInt(0);
            message->PutInt(2);
            message->PutString("Yes");
            message->PutString("No");
        }
    }
    void SetExtendedConfig(CQXMSG* message) override
    {
        for (int i = 0; i < 3; ++i)
            message->GetString();
        const int codes = message->GetInt();
        commands.push_back("page " + std::to_string(codes) + std::to_string(message->GetInt()));
    }
    using CDoorLock::LockState;

    std::function<void()> onIdle = [] {};
    std::vector<std::string> commands;
    std::vector<int> slots;
    int idles = 0;
};

inline devhost::PluginEntryPoints FakePlugin()
{
    devhost::PluginEntryPoints plugin;
    plugin.loadDeviceInterfaces = [](void*, CQXObList* list) {
        list->AddTail(new CDeviceInterfaceDef(kFakeInterfaceType, "Fake", 0, 0));
    };
    plugin.createDeviceInterface = [](CDeviceInterfaceDef* definition) -> CDeviceInterface* {
        return new FakeInterface(definition);
    };
    plugin.loadSystemComponentDefs = [](CStringBlock* block, int family, CQXObList* list) {
        if (family == kFakeFamily)
            list->AddTail(new CSystemComponentDef(block, kFakeLockType, "Fake Lock", "", 0, 0));
    };
    plugin.createSystemComponent = [](CSystemComponentDef* definition) -> CSystemComponent* {
        return new FakeLock(definition);
    };
    return plugin;
}

/// A system with the fake plug-in, over a store in memory.
class SystemTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        m_system.reset();
        devhost::TheFramework() = {};
    }
    /// Takes the system apart and starts another one from what is stored.
    void Restart(bool workers = false)
    {
        m_system.reset();
        devhost::TheFramework().diagnostics = &m_journal;
        m_system = std::make_unique<devhost::System>(
            devhost::System::Options{{FakePlugin()}, &m_store, nullptr, workers});
        m_system->Start();
    }
    /// The same, with two new accounts.
    std::pair<FakeInterface&, FakeInterface&> RestartWithTwo(bool workers = false)
    {
        Restart(workers);
        FakeInterface& first = AddInterface();
        return {first, AddInterface()};
    }

    FakeInterface& AddInterface()
    {
        m_system->AddInterface(kFakeInterfaceType);
        return Interface(m_system->NBridges() - 1);
    }
    FakeLock& AddLock(FakeInterface& owner, const char* name)
    {
        auto& added = dynamic_cast<FakeLock&>(
            *Family()->AddNewComponent(kFakeLockType, name, FACTORY_MODE_NEW, nullptr, nullptr));
        added.ID(CIDServer::Instance()->NewID());
        added.BridgeID(owner.BridgeID());
        added.SetBridge(owner.NetworkBridge());
        owner.AddClient(&added);
        added.RegisterEventServer();
        return added;
    }
    CSystemFamily* Family() { return m_system->FamilyByFamily(kFakeFamily); }
    FakeInterface& Interface(int i)
    {
        return dynamic_cast<FakeInterface&>(*m_system->Bridge(i)->DeviceInterface());
    }
    FakeLock& Lock(int i) { return dynamic_cast<FakeLock&>(*m_system->DoorLock(i)); }

    support::Journal m_journal;
    devhost::MemoryStore m_store;
    std::unique_ptr<devhost::System> m_system;
};
