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
    explicit FakeInterface(CDeviceInterfaceDef* pDefinition) : CDeviceNetwork(pDefinition, 0, 0) {}
    int ReadClientData(CQXFile* pFile, int iVersion) override
    {
        return CDeviceNetwork::ReadClientData(pFile, iVersion) && pFile->ReadString(&Token);
    }
    int WriteClientData(CQXFile* pFile, int iVersion) override
    {
        return CDeviceNetwork::WriteClientData(pFile, iVersion) && pFile->WriteString(Token) && Writable;
    }
    void IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx) override
    {
        if (eDdx == PROPERTYSET_DDX_BUILD) {
            pSet->AddTextProperty("Status", "fine", 2000, 9);
            CSystemProperty* pHouse = pSet->AddMultiProperty("House", -1, 2001, 0);
            pHouse->UpdateDelegate(this);
            UpdateProperty(pHouse, PROPERTY_UPDATE_BUILD, pSet, 0, 0);
            OnBuild();
        } else if (eDdx == PROPERTYSET_DDX_STORE) {
            OnStore(pSet->Property(2001)->SelectedIndex());
        }
        CDeviceInterface::IFaceDoPropertyExchange(pSet, eDdx);
    }
    int UpdateProperty(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX, CPropertySet*, int, int) override
    {
        for (int i = 0; const char* pHouse : Houses)
            pProperty->AddChoice(pHouse, i++);
        return 1;
    }
    void OnInterfaceInit() override { ++Inits; }
    void OnInterfaceIdle() override
    {
        ++Idles;
        const auto Hook = OnIdle; // a copy, because the hook may replace itself
        Hook();
    }
    int Run() override
    {
        ++Runs;
        ++Running;
        OnRun();
        while (!NetworkBridge()->ShuttingDown())
            Sleep(3'600'000); // ends early, or the test hangs
        --Running;
        return 0;
    }
    int UnInstall() override { return CEventServer::Instance()->DeleteAllByOwner(BridgeID()); }
    CQXString GetAuthURL() override { return CSystem::Instance()->GetOAuthState(BridgeID()); }
    void ProcessAuthCode(CQXString sCode) override { Codes.emplace_back(static_cast<char*>(sCode)); }
    CQXString GetActionURL(int iAction) override
    {
        return iAction == 20002 ? "https://oauth.example/authorize?state=1" : "";
    }
    int ExecuteAction(int iAction, CPropertySet*) override { return iAction == 20003 ? 1 : 0; }
    void GetExtBridgeConfig(CQXMSG* pMessage) override
    {
        pMessage->PutInt(0x2020000);
        pMessage->PutInt(0);
        pMessage->PutString("Location");
        pMessage->PutInt(-1);
        pMessage->PutInt(static_cast<int>(Houses.size()));
        for (const char* pHouse : Houses)
            pMessage->PutString(pHouse);
        pMessage->PutInt(0x2000000);
    }
    void SetExtBridgeConfig(CQXMSG* pMessage) override { ExtendedChoice = pMessage->GetInt(); }
    std::string NewState() { return static_cast<char*>(GetAuthURL()); }

    std::function<void()> OnIdle = [] {};
    std::function<void()> OnRun = [] {};
    std::function<void()> OnBuild = [] {};
    std::function<void(int)> OnStore = [](int) {}; // with the selected house
    std::vector<std::string> Codes;
    std::vector<const char*> Houses{"Lake House", "Cabin"}; // on both pages
    CQXString Token = "token";
    int Idles = 0, Inits = 0, ExtendedChoice = -100, Writable = 1;
    std::atomic<int> Runs{0}, Running{0};
};

class FakeLock : public CDoorLock, public CBridgeClient
{
public:
    explicit FakeLock(CSystemComponentDef* pDef) : CDoorLock(pDef), CBridgeClient(kFakeInterfaceType, 0) {}
    int ReadData(CQXFile* pFile, int iVersion) override
    {
        return CDoorLock::ReadData(pFile, iVersion) && ReadClientData(pFile, iVersion);
    }
    int WriteData(CQXFile* pFile, int iVersion) override
    {
        return CDoorLock::WriteData(pFile, iVersion) && WriteClientData(pFile, iVersion);
    }
    void OnComponentIdle() override
    {
        ++Idles;
        const auto Hook = OnIdle; // a copy, because the hook may delete this lock
        Hook();
    }
    int ExecuteCommand(int iCommand, int iArgument) override
    {
        if (State() == (iCommand == 1270 ? STATE_SECURED : STATE_UNSECURED))
            return 0;
        Commands.push_back(std::to_string(iCommand) + "/" + std::to_string(iArgument));
        return 1;
    }
    int SendHardwareSlotConfig(int iSlot, QXT_SLOT_CONFIG*) override
    {
        Slots.push_back(iSlot);
        return 1;
    }
    void GetExtendedConfig(CQXMSG* pMessage) override
    {
        pMessage->PutInt(0x804);
        for (const char* pText : {"Programming Code", "778899", "WiFi", "", "Serial", ""})
            pMessage->PutString(pText);
        for (const char* pChooser : {"User Codes", "Warning"}) {
            pMessage->PutString(pChooser);
            pMessage->PutInt(0);
            pMessage->PutInt(2);
            pMessage->PutString("Yes");
            pMessage->PutString("No");
        }
    }
    void SetExtendedConfig(CQXMSG*) override { Commands.push_back("page"); }
    using CDoorLock::LockState;

    std::function<void()> OnIdle = [] {};
    std::vector<std::string> Commands;
    std::vector<int> Slots;
    int Idles = 0;
};

inline devhost::PluginEntryPoints FakePlugin()
{
    devhost::PluginEntryPoints Plugin;
    Plugin.LoadDeviceInterfaces = [](void*, CQXObList* pList) {
        pList->AddTail(new CDeviceInterfaceDef(kFakeInterfaceType, "Fake", 0, 0));
    };
    Plugin.CreateDeviceInterface = [](CDeviceInterfaceDef* pDefinition) -> CDeviceInterface* {
        return new FakeInterface(pDefinition);
    };
    Plugin.LoadSystemComponentDefs = [](CStringBlock* pBlock, int Family, CQXObList* pList) {
        if (Family == kFakeFamily)
            pList->AddTail(new CSystemComponentDef(pBlock, kFakeLockType, "Fake Lock", "", 0, 0));
    };
    Plugin.CreateSystemComponent = [](CSystemComponentDef* pDefinition) -> CSystemComponent* {
        return new FakeLock(pDefinition);
    };
    return Plugin;
}

/// A system with the fake plug-in, over a store in memory.
class SystemTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        m_pSystem.reset();
        devhost::TheFramework() = {};
    }
    /// Takes the system apart and starts another one from what is stored.
    void Restart(bool bWorkers = false)
    {
        m_pSystem.reset();
        devhost::TheFramework().pDiagnostics = &m_Journal;
        m_pSystem = std::make_unique<devhost::System>(
            devhost::System::Options{{FakePlugin()}, &m_Store, nullptr, bWorkers});
        m_pSystem->Start();
    }
    /// The same, with two new accounts.
    std::pair<FakeInterface&, FakeInterface&> RestartWithTwo(bool bWorkers = false)
    {
        Restart(bWorkers);
        FakeInterface& First = AddInterface();
        return {First, AddInterface()};
    }

    FakeInterface& AddInterface()
    {
        m_pSystem->AddInterface(kFakeInterfaceType);
        return Interface(m_pSystem->NBridges() - 1);
    }
    FakeLock& AddLock(FakeInterface& Owner, const char* pName)
    {
        auto& Added = dynamic_cast<FakeLock&>(
            *Family()->AddNewComponent(kFakeLockType, pName, FACTORY_MODE_NEW, nullptr, nullptr));
        Added.ID(CIDServer::Instance()->NewID());
        Added.BridgeID(Owner.BridgeID());
        Added.SetBridge(Owner.NetworkBridge());
        Owner.AddClient(&Added);
        Added.RegisterEventServer();
        return Added;
    }
    CSystemFamily* Family() { return m_pSystem->FamilyByFamily(kFakeFamily); }
    FakeInterface& Interface(int i)
    {
        return dynamic_cast<FakeInterface&>(*m_pSystem->Bridge(i)->DeviceInterface());
    }
    FakeLock& Lock(int i) { return dynamic_cast<FakeLock&>(*m_pSystem->DoorLock(i)); }

    support::Journal m_Journal;
    devhost::MemoryStore m_Store;
    std::unique_ptr<devhost::System> m_pSystem;
};
