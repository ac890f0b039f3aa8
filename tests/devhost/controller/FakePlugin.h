#pragma once
// A plug-in in process: an interface and a lock whose behaviour a test sets.

#include "devhost/framework/Framework.h"
#include "devhost/framework/System.h"
#include "tests/devhost/framework/FrameworkParts.h"

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
    explicit FakeInterface(CDeviceInterfaceDef* pDefinition);
    int ReadClientData(CQXFile* pFile, int iVersion) override;
    int WriteClientData(CQXFile* pFile, int iVersion) override;
    void IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx) override;
    int UpdateProperty(CSystemProperty*, PROPERTY_UPDATE_CTX, CPropertySet*, int, int) override;
    void OnInterfaceInit() override { ++Inits; }
    void OnInterfaceIdle() override;
    int Run() override;
    int UnInstall() override { return CEventServer::Instance()->DeleteAllByOwner(BridgeID()); }
    CQXString GetAuthURL() override { return CSystem::Instance()->GetOAuthState(BridgeID()); }
    void ProcessAuthCode(CQXString sCode) override { Codes.emplace_back(static_cast<char*>(sCode)); }
    CQXString GetActionURL(int iAction) override;
    int ExecuteAction(int iAction, CPropertySet*) override { return iAction == 20003 ? 1 : 0; }
    void GetExtBridgeConfig(CQXMSG* pMessage) override;
    void SetExtBridgeConfig(CQXMSG* pMessage) override { ExtendedChoice = pMessage->GetInt(); }

    std::function<void()> OnIdle;
    std::function<void(int SelectedHouse)> OnStore;
    std::function<void()> OnBuild;
    std::vector<std::string> Codes;
    std::string Token = "token";
    std::string StateAtConstruction = "none";
    int Idles = 0, Inits = 0, ExtendedChoice = -100, Writable = 1;
    std::atomic<int> Runs{0}, Running{0};
};

class FakeLock : public CDoorLock, public CBridgeClient
{
public:
    explicit FakeLock(CSystemComponentDef* pDef) : CDoorLock(pDef), CBridgeClient(kFakeInterfaceType, 0) {}
    int ReadData(CQXFile* pFile, int iVersion) override
    {
        return CDoorLock::ReadData(pFile, iVersion) && ReadClientData(pFile, iVersion) ? 1 : 0;
    }
    int WriteData(CQXFile* pFile, int iVersion) override
    {
        return CDoorLock::WriteData(pFile, iVersion) && WriteClientData(pFile, iVersion) ? 1 : 0;
    }
    void OnComponentIdle() override
    {
        ++Idles;
        if (const auto Hook = OnIdle) // a copy, because the hook may delete this lock
            Hook();
    }
    int ExecuteCommand(int iCommand, int iArgument) override
    {
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
        pMessage->PutString("Programming Code");
        pMessage->PutString("778899");
    }
    void SetExtendedConfig(CQXMSG*) override { ++PagesStored; }

    std::function<void()> OnIdle;
    std::vector<std::string> Commands;
    std::vector<int> Slots;
    int Idles = 0, PagesStored = 0;
};

devhost::PluginEntryPoints FakePlugin();

/// A system with the fake plug-in, over a store in memory.
class SystemTest : public ::testing::Test
{
protected:
    /// Takes the system apart and starts another one from what is stored.
    void Restart(bool bWorkers = false);
    void TearDown() override { m_pSystem.reset(); }
    /// The same, with two new accounts.
    std::pair<FakeInterface&, FakeInterface&> RestartWithTwo(bool bWorkers = false);

    FakeInterface& AddInterface();
    FakeLock& AddLock(FakeInterface& Owner, const char* pName);
    CSystemFamily* Family() { return m_pSystem->FamilyByFamily(kFakeFamily); }
    FakeInterface& Interface(int i)
    {
        return dynamic_cast<FakeInterface&>(*m_pSystem->Bridge(i)->DeviceInterface());
    }
    FakeLock& Lock(int i) { return dynamic_cast<FakeLock&>(*m_pSystem->DoorLock(i)); }
    bool Reported(const std::string& Text) const;

    FrameworkGuard m_Guard;
    RecordingSink m_Sink;
    devhost::MemoryStore m_Store;
    std::unique_ptr<devhost::System> m_pSystem;
};
