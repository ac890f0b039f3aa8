// Finding, installing, claiming and removing locks.

#include "tests/support/AccountTest.h"

namespace support
{

using InstallationTest = AccountTest;

TEST_F(InstallationTest, LockIsFoundAmongOwnClientsThenInTheFamily)
{
    CVestaraInterface& account = AddAccount();
    ScriptedFamily family(m_journal);
    RecordingLock own(m_journal, account, "a-house-front"), loose(m_journal);
    loose.DeviceID("loose");
    family.components = {nullptr, &loose};
    m_system->family = [&](int number) { return number == 25 ? &family : nullptr; };
    EXPECT_EQ(account.FindDoorLock("a-house-front"), &own);
    EXPECT_EQ(AddAccount().NextDoorLock(nullptr), nullptr);
    EXPECT_EQ(account.FindDoorLock(""), nullptr);
    EXPECT_EQ(m_journal.TakeReports(), Lines{"vestarai 2679: DeviceID is missing - cannot locate DoorLock"});
    EXPECT_EQ(account.FindDoorLock("loose"), &loose);
    EXPECT_EQ(account.FindDoorLock("b-house-front"), nullptr);
    const std::string gap = "vestarai 2708: Failed to locate SysComp";
    EXPECT_EQ(m_journal.TakeReports(), (Lines{gap, gap}));
    account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(), (Lines{"a-house-front UnInstall", "DeleteComponent"}));
}

TEST_F(InstallationTest, NewLockIsInitialisedBeforeItHasABridge)
{
    CVestaraInterface& account = AddReadyAccount();
    ScriptedFamily family(m_journal);
    m_system->family = [&](int) { return &family; };
    struct NoLock : CSystemComponent, CBridgeClient {
        explicit NoLock(CSystemComponentDef* type) : CSystemComponent(type), CBridgeClient(133, 0) {}
    };
    CSystemComponentDef type(nullptr, kPortivoType, "", "", 0, 0);
    CSystemComponent noClient(&type);
    NoLock noLock(&type);
    for (const auto& [created, reports] :
         {std::pair<CSystemComponent*, Lines>{nullptr, {}},
          {&noClient, {"vestarai 2769: Failed to create bridge - could not install device"}},
          {&noLock, {"vestarai 2781: Failed to create device - could not install device"}}}) {
        family.created = created;
        EXPECT_EQ(account.AddNewDoorLock("dev-1", "Front"), 0);
        EXPECT_EQ(m_journal.TakeReports(), reports);
    }
    m_journal.Take();
    RecordingLock lock(m_journal);
    family.created = &lock;
    account.TraceEnabled(1);
    EXPECT_EQ(account.AddNewDoorLock("dev-1", "50%s"), 1);
    EXPECT_EQ(TakeEffects(),
              (Lines{"AddNewComponent 1084 50%s 1", " Install on bridge 0", " OnComponentInit",
                     " RegisterEventServer", "OnComponentAutoInstall", "dev-1 RegisterEventServer",
                     "NotifyWrite", "trace: Successfully Added [50%s:dev-1]"}));
    EXPECT_GT(lock.ID(), account.BridgeID());
    EXPECT_EQ(CPortivoProbe::CachedInterface(lock), &account);
    EXPECT_EQ(m_system->Security().Tabs().Components(), std::vector<unsigned>{lock.ID()});
    EXPECT_EQ(m_system->Security().Updates(), 1);
    EXPECT_EQ(Probe(account).NotifyConfig() + Probe(account).NotifyInterface(), 2);
}

TEST_F(InstallationTest, LockOfAnotherAccountIsClaimedAndForgetsIt)
{
    CVestaraInterface& former = AddReadyAccount();
    CVestaraInterface& account = AddReadyAccount();
    CPortivo& lock = AddLock(former, "dev-1", "Front");
    account.TraceEnabled(1);
    EXPECT_EQ(account.AddNewDoorLock("dev-1", "Other name"), 1);
    EXPECT_EQ(TakeEffects(), (Lines{"trace: [Other name:dev-1] Already exists - Claiming...", "NotifyWrite",
                                    "trace: Successfully Added [Other name:dev-1]"}));
    EXPECT_EQ(former.NClients(), 0);
    EXPECT_EQ(account.Client(0), &lock);
    EXPECT_EQ(lock.Interface(), &account);
    EXPECT_EQ(lock.BridgeID(), account.BridgeID());

    for (CBridge* bridge : {account.NetworkBridge(), static_cast<CNetworkBridge*>(nullptr)}) {
        lock.SetBridge(bridge); // its own account's, or none
        account.TraceEnabled(0);
        EXPECT_EQ(account.AddNewDoorLock("dev-1", ""), 1);
        EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"});
        EXPECT_EQ(account.NClients(), 1);
        EXPECT_EQ(lock.Interface(), &account);
    }
}

TEST_F(InstallationTest, RemovalTakesOwnLocksFromTheLast)
{
    CVestaraInterface& account = AddReadyAccount();
    CVestaraInterface& other = AddReadyAccount();
    account.TraceEnabled(1);
    CPortivo& loaned = AddLock(account, "dev-3", "Loaned");
    AddLock(other, "far", "Far");
    AddLock(account, "dev-1", "Front");
    AddLock(account, "dev-2", "50%s");
    loaned.BridgeID(other.BridgeID());
    CBridgeClient noLock(133, 0);
    noLock.DeviceID("other");
    account.AddClient(&noLock);
    EXPECT_EQ(account.FindDoorLock("other"), nullptr);
    account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: Deleting DoorLock: [50%s][dev-2]", "trace: Deleting DoorLock: [Front][dev-1]"}));
    account.RemoveClient(&noLock);

    // Without clients the host's locks are walked: those that bear the bridge id go.
    account.RemoveClient(&loaned);
    loaned.BridgeID(account.BridgeID());
    account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(), Lines{"trace: Deleting DoorLock: [Loaned][dev-3]"});
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 1);
    m_system->family = [](int) { return nullptr; };
    other.RemoveAllDevices(0);
    EXPECT_EQ(other.NClients(), 0);
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 1) << "nobody is there to delete it";
}

} // namespace support
