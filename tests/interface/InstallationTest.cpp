// Finding, installing, claiming and removing locks.

#include "support/AccountTest.h"

namespace support
{

using InstallationTest = AccountTest;

TEST_F(InstallationTest, LockIsFoundAmongOwnClientsThenInTheFamily)
{
    CVestaraInterface& Account = AddAccount();
    ScriptedFamily Family(m_Journal);
    RecordingLock Own(m_Journal, Account, "a-house-front"), Loose(m_Journal);
    Loose.DeviceID("loose");
    Family.Components = {nullptr, &Loose};
    m_pSystem->Family = [&](int iFamily) { return iFamily == 25 ? &Family : nullptr; };
    EXPECT_EQ(Account.FindDoorLock("a-house-front"), &Own);
    EXPECT_EQ(Account.FindDoorLock(""), nullptr);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{"vestarai 2679: DeviceID is missing - cannot locate DoorLock"});
    EXPECT_EQ(Account.FindDoorLock("loose"), &Loose);
    EXPECT_EQ(Account.FindDoorLock("b-house-front"), nullptr);
    const std::string Gap = "vestarai 2708: Failed to locate SysComp";
    EXPECT_EQ(m_Journal.TakeReports(), (Lines{Gap, Gap}));
}

TEST_F(InstallationTest, NewLockIsInitialisedBeforeItHasABridge)
{
    CVestaraInterface& Account = AddReadyAccount();
    ScriptedFamily Family(m_Journal);
    m_pSystem->Family = [&](int) { return &Family; };
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "Front"), 0) << "refused without a report of its own";
    m_Journal.Take();
    RecordingLock Lock(m_Journal);
    Family.pNew = &Lock;
    Account.TraceEnabled(1);
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "50%s"), 1);
    EXPECT_EQ(TakeEffects(),
              (Lines{"AddNewComponent 1084 50%s 1", " Install on bridge 0", " OnComponentInit",
                     " RegisterEventServer", "OnComponentAutoInstall", "dev-1 RegisterEventServer",
                     "NotifyWrite", "trace: Successfully Added [50%s:dev-1]"}));
    EXPECT_GT(Lock.ID(), Account.BridgeID());
    EXPECT_EQ(CPortivoProbe::CachedInterface(Lock), &Account);
    EXPECT_EQ(m_pSystem->Security().Tabs().Components(), std::vector<unsigned>{Lock.ID()});
    EXPECT_EQ(m_pSystem->Security().Updates(), 1);
    EXPECT_EQ(Probe(Account).NotifyConfig() + Probe(Account).NotifyInterface(), 2);
}

TEST_F(InstallationTest, LockOfAnotherAccountIsClaimedAndForgetsIt)
{
    CVestaraInterface& Former = AddReadyAccount();
    CVestaraInterface& Account = AddReadyAccount();
    CPortivo& Lock = AddLock(Former, "dev-1", "Front");
    Account.TraceEnabled(1);
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "Other name"), 1);
    EXPECT_EQ(TakeEffects(), (Lines{"trace: [Other name:dev-1] Already exists - Claiming...", "NotifyWrite",
                                    "trace: Successfully Added [Other name:dev-1]"}));
    EXPECT_EQ(Former.NClients(), 0);
    EXPECT_EQ(Account.Client(0), &Lock);
    EXPECT_EQ(Lock.Interface(), &Account);
    EXPECT_EQ(Lock.BridgeID(), Account.BridgeID());
}

TEST_F(InstallationTest, RemovalTakesOwnLocksFromTheLast)
{
    CVestaraInterface& Account = AddReadyAccount();
    CVestaraInterface& Other = AddReadyAccount();
    Account.TraceEnabled(1);
    CPortivo& Loaned = AddLock(Account, "dev-3", "Loaned");
    AddLock(Other, "far", "Far");
    AddLock(Account, "dev-1", "Front");
    AddLock(Account, "dev-2", "50%s");
    Loaned.BridgeID(Other.BridgeID());
    Account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: Deleting DoorLock: [50%s][dev-2]", "trace: Deleting DoorLock: [Front][dev-1]"}));

    // Without clients the host's locks are walked: those that bear the bridge id go.
    Account.RemoveClient(&Loaned);
    Loaned.BridgeID(Account.BridgeID());
    Account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(), Lines{"trace: Deleting DoorLock: [Loaned][dev-3]"});
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1);
}

} // namespace support
