// Finding, installing, claiming and removing locks.

#include "support/AccountTest.h"

namespace support
{

using InstallationTest = AccountTest;

TEST_F(InstallationTest, NextLockWraps)
{
    CVestaraInterface& Account = AddAccount();
    EXPECT_EQ(Account.NextDoorLock(nullptr), nullptr);
    RecordingLock First(m_Journal, Account, "1"), Second(m_Journal, Account, "2"), Stranger(m_Journal);
    EXPECT_EQ(Account.NextDoorLock(nullptr), &First);
    EXPECT_EQ(Account.NextDoorLock(&First), &Second);
    EXPECT_EQ(Account.NextDoorLock(&Second), &First);
    EXPECT_EQ(Account.NextDoorLock(&Stranger), &First);
    CVestaraInterface& NoLock = AddAccount();
    Account.AddClient(&NoLock);
    EXPECT_EQ(Account.NextDoorLock(&Second), nullptr) << "a client that is no lock";
}

TEST_F(InstallationTest, LockIsFoundAmongOwnClientsThenInTheFamily)
{
    CVestaraInterface& Account = AddAccount();
    ScriptedFamily Family(m_Journal);
    RecordingLock Own(m_Journal, Account, "own"), Loose(m_Journal);
    Loose.DeviceID("loose");
    Family.Components = {nullptr, &Loose};
    m_pJournalled->Family = [&](int iFamily) { return iFamily == 25 ? &Family : nullptr; };
    EXPECT_EQ(Account.FindDoorLock(""), nullptr);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{"vestarai 2679: DeviceID is missing - cannot locate DoorLock"});
    EXPECT_EQ(Account.FindDoorLock("own"), &Own);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{});
    EXPECT_EQ(Account.FindDoorLock("loose"), &Loose);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{"vestarai 2708: Failed to locate SysComp"});
    EXPECT_EQ(Account.FindDoorLock("LOOSE"), nullptr);
    m_Journal.TakeReports();
    m_pJournalled->Family = [](int) { return nullptr; };
    EXPECT_EQ(Account.FindDoorLock("loose"), nullptr);
    EXPECT_EQ(Account.AddNewDoorLock("new", "New"), 0);
    EXPECT_EQ(TakeEffects(), (Lines{"report vestarai 2702: Failed to locate Family",
                                    "report vestarai 2702: Failed to locate Family"}));
}

TEST_F(InstallationTest, NewLockIsInstalledInTheStatedOrder)
{
    CVestaraInterface& Account = AddReadyAccount();
    ScriptedFamily Family(m_Journal);
    m_pJournalled->Family = [&](int) { return &Family; };
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "Front"), 0);
    EXPECT_EQ(TakeEffects(), Lines{"AddNewComponent 1084 Front 1"}) << "the host says why it gives none";

    RecordingLock Lock(m_Journal);
    Family.pNew = &Lock;
    Account.TraceEnabled(1);
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "50%s"), 1);
    EXPECT_EQ(TakeEffects(),
              (Lines{"AddNewComponent 1084 50%s 1", " Install on bridge 0", " OnComponentInit",
                     " RegisterEventServer", "OnComponentAutoInstall", "dev-1 RegisterEventServer",
                     "NotifyWrite", "trace: Successfully Added [50%s:dev-1]"}));
    EXPECT_GT(Lock.ID(), Account.BridgeID());
    EXPECT_EQ(Lock.Bridge(), Account.NetworkBridge());
    EXPECT_EQ(CPortivoProbe::CachedInterface(Lock), &Account);
    EXPECT_EQ(m_pSystem->Security().Tabs().Components(), std::vector<unsigned>{Lock.ID()});
    EXPECT_EQ(Probe(Account).NotifyConfig() + Probe(Account).NotifyInterface(), 2);

    CSystemComponentDef Definition(nullptr, 1084, "", "", 0, 0);
    CSystemComponent NoClient(&Definition);
    Family.pNew = &NoClient;
    EXPECT_EQ(Account.AddNewDoorLock("dev-2", "Back"), 0);
    EXPECT_EQ(m_Journal.TakeReports(),
              Lines{"vestarai 2769: Failed to create bridge - could not install device"});
    EXPECT_EQ(Account.NClients(), 1);
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
    EXPECT_EQ(Str(Lock.Name()), "Front") << "the next reply renames, not the claim";
    EXPECT_EQ(Account.AddNewDoorLock("dev-1", "Front"), 1);
    EXPECT_EQ(Account.NClients(), 1) << "its own lock joins once";
}

TEST_F(InstallationTest, RemovalTakesOwnLocksFromTheLast)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.TraceEnabled(1);
    Account.RemoveAllDevices(1);
    EXPECT_EQ(TakeEffects(), Lines{"trace: No clients or DoorLocks to remove"});
    CVestaraInterface& Other = AddReadyAccount();
    AddLock(Other, "far", "Far");
    Account.RemoveAllDevices(1);
    EXPECT_EQ(TakeEffects(), (Lines{"OnSystemExit1 vestarai 2849 0", "OnSystemInit",
                                    "trace: TokenShare skipped - Access or Refresh Token unchanged",
                                    "trace: TokenCheck could not find another interface or was unsuccessful",
                                    "OnPostSystemInit"}))
        << "a restart although nothing matches";
    AddLock(Account, "dev-1", "Front");
    AddLock(Account, "dev-2", "50%s");
    AddLock(Account, "dev-3", "Loaned").BridgeID(Other.BridgeID());
    Account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: Deleting DoorLock: [50%s][dev-2]", "trace: Deleting DoorLock: [Front][dev-1]"}));
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 2);

    // Without clients the host's locks are walked: those that bear the bridge id go.
    CPortivo* pLoaned = Account.FindDoorLock("dev-3");
    Account.RemoveClient(pLoaned);
    pLoaned->BridgeID(Account.BridgeID());
    Account.RemoveAllDevices(0);
    EXPECT_EQ(TakeEffects(), Lines{"trace: Deleting DoorLock: [Loaned][dev-3]"});
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1);
}

} // namespace support
