// The lock object: its interface, record, names, housekeeping, page and user slots.

#include "access/AccessPerson.h"
#include "lock/LockTest.h"
#include "support/FailingFile.h"

#include <climits>

namespace
{

using PortivoTest = LockTest;

TEST_F(PortivoTest, InterfaceIsCachedWhileThereIsABridge)
{
    CVestaraInterface& Other = AddAccount();
    EXPECT_EQ(m_Lock.Interface(), &m_Account);
    m_Lock.SetBridge(Other.NetworkBridge());
    EXPECT_EQ(m_Lock.Interface(), &m_Account) << "a cached pointer is not compared with the bridge";
    CBridge Bare(99, 133);
    m_Lock.SetBridge(nullptr);
    m_Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    EXPECT_EQ(m_Lock.Interface(), nullptr);
    EXPECT_EQ(m_Lock.CommandStackEmpty(), 1);
    m_Lock.SetBridge(&Bare);
    EXPECT_EQ(m_Lock.Interface(), nullptr);
    m_Lock.SetBridge(m_Account.NetworkBridge());
    EXPECT_EQ(m_Lock.CommandStackEmpty(), 0);
    DropQueued(m_Account);
    AddWaitingReply(m_Account);
    EXPECT_EQ(m_Lock.CommandStackEmpty(), 1) << "replies do not count";
    m_Account.RemoveAllObjects();
    EXPECT_EQ(m_Lock.ConnectionType(), 4);
    EXPECT_EQ(m_Lock.ComponentFlags(), 0x50000000u);
    m_Lock.SetBridge(nullptr);
    m_Lock.UnInstall();
    EXPECT_EQ(m_Account.NClients(), 1) << "without an interface there is no list to leave";
    m_Lock.SetBridge(m_Account.NetworkBridge());
    m_Journal.Take();
    m_Lock.OnPostSystemInit();
    EXPECT_EQ(TakeEffects(), Lines{"dev-1 RegisterEventServer"});
    EXPECT_EQ(CPortivoProbe::CachedInterface(m_Lock), &m_Account);
    EXPECT_EQ(m_Lock.UnInstall(), 1);
    EXPECT_EQ(m_Account.NClients(), 0);
}

TEST_F(PortivoTest, RecordStopsAtTheFirstFailureAndKeepsTheThreshold)
{
    constexpr int kItems = 12; // eight of the door lock without users, two of the client, two of its own
    CPortivoProbe::LowBattery(m_Lock) = 55;
    for (int nSteps = 0; nSteps <= kItems; ++nSteps) {
        SCOPED_TRACE(nSteps);
        const bool bComplete = nSteps == kItems;
        support::FailingFile File;
        ASSERT_EQ(m_Lock.WriteData(&File, 1), 1);
        File.Left = nSteps;
        support::RecordingLock Copy(m_Journal);
        EXPECT_EQ(Copy.ReadData(&File, 1400), bComplete);
        EXPECT_EQ(CPortivoProbe::LowBattery(Copy), bComplete ? 55 : 30);
        EXPECT_EQ(Str(Copy.TraceName()), bComplete ? "Portivo (Front)" : "");
        EXPECT_EQ(Str(Copy.DeviceID()), nSteps >= 10 ? "dev-1" : "");
        support::FailingFile Target;
        Target.Left = nSteps;
        EXPECT_EQ(m_Lock.WriteData(&Target, 1461), bComplete);
    }
}

TEST_F(PortivoTest, NewNameIsSavedAtOnceAndToldByHousekeeping)
{
    m_Lock.DeviceName("");
    m_Lock.DeviceName("Front");
    EXPECT_EQ(TakeEffects(), Lines{});
    m_Lock.DeviceName("front%s");
    EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"});
    EXPECT_EQ(Str(m_Lock.TraceName()), "Portivo (front%s)");
    m_Clock.Advance(3000);
    m_Lock.OnComponentIdle();
    EXPECT_EQ(TakeEffects(), Lines{});
    m_Clock.Advance(1);
    m_Lock.OnComponentIdle();
    const Lines Told = TakeEffects();
    ASSERT_EQ(Told.size(), 1u);
    EXPECT_EQ(Told[0].rfind("NotifyConfigChanged portivo ", 0), 0u);
    m_Clock.Advance(3001);
    m_Lock.OnComponentIdle();
    EXPECT_EQ(TakeEffects(), Lines{});

    CPortivoProbe::WriteStatePending(m_Lock) = 1;
    CPortivoProbe::WriteStateTimer(m_Lock).SetElapsed(5000);
    m_Lock.OnComponentIdle();
    EXPECT_EQ(TakeEffects(), Lines{});
    m_Clock.Advance(1);
    m_Lock.OnComponentIdle();
    m_Lock.OnComponentIdle();
    EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"}) << "the state is saved once";
}

TEST_F(PortivoTest, StatusPageInBothDirections)
{
    Tell(ATTR_SERIAL_NUMBER, "SN%s");
    Tell(ATTR_PROGRAMMING_CODE, "1234");
    Tell(ATTR_WIFI_LEVEL, "3");
    struct Row {
        int Threshold, Shown, UserCodes, UserEntry;
    };
    for (const Row& R : {Row{30, 4, 1, 0}, Row{32, 4, 0, 1}, Row{7, 0, 1, 0}, Row{4, -1, 1, 0},
                         Row{55, 9, 0, 1}, Row{INT_MIN, -429496731, 1, 0}}) {
        SCOPED_TRACE(R.Threshold);
        CPortivoProbe::LowBattery(m_Lock) = R.Threshold;
        m_Lock.EnableUserCodes(R.UserCodes);
        CQXMSG Page;
        m_Lock.GetExtendedConfig(&Page);
        EXPECT_EQ(Shown(Page), "407580|'Serial Number'|'SN%s'|'Programming Code'|'1234'|'WiFi Strength'|'" +
                                   Str(m_Lock.SignalStrengthText()) + "'|'User Codes'|" +
                                   std::to_string(R.UserEntry) + "|2|'Yes'|'No'|'Low Battery Warning'|" +
                                   std::to_string(R.Shown) +
                                   "|10|'10%'|'15%'|'20%'|'25%'|'30%'|'35%'|'40%'|'45%'|'50%'|'55%'|");
    }
    m_Journal.Take();
    struct Edit {
        int Codes, Entry, UserCodes, Threshold;
        bool Saved;
    };
    m_Lock.EnableUserCodes(1);
    for (const Edit& E : {Edit{0, 9, 1, 55, false}, Edit{1, 0, 0, 10, true}, Edit{1, 12, 0, 70, false},
                          Edit{5, -3, 0, -5, false}, Edit{0, INT_MAX, 1, -2147483643, true}}) {
        SCOPED_TRACE(testing::Message() << E.Codes << " " << E.Entry);
        CQXMSG Page;
        for (const char* pText : {"x", "y", "z"})
            Page.PutString(pText);
        Page.PutInt(E.Codes), Page.PutInt(E.Entry);
        m_Lock.SetExtendedConfig(&Page);
        EXPECT_EQ(m_Lock.UserCodesEnabled(), E.UserCodes);
        EXPECT_EQ(CPortivoProbe::LowBattery(m_Lock), E.Threshold);
        EXPECT_EQ(TakeEffects(), E.Saved ? Lines{"NotifyWrite"} : Lines{})
            << "the threshold alone saves nothing";
    }
}

TEST_F(PortivoTest, UserSlotBecomesPersonAndAccess)
{
    struct Row {
        int Slot;
        const char* pUserPin; // of "Ann" at the slot; null: the slot is empty
        bool Enabled;
        const char* pPersonID; // of the person with PIN 1111 at the slot; null: nobody
        int Result;
        Lines Queue, Reports;
    };
    const char* kNoPush = "PushUser failed or wasn't required";
    for (const Row& R :
         {Row{-1, nullptr, false, nullptr, 0, {}, {"Index outside of range: [-1]"}},
          Row{30, nullptr, false, nullptr, 0, {}, {"Index outside of range: [30]"}},
          Row{29, "1111", true, nullptr, 1, {"3 8 loc-1|dev-1|29|"}, {}},
          Row{0, "1111", false, nullptr, 0, {"3 8 loc-1|dev-1|0|"}, {"", "RevokeAccess failed"}},
          Row{0, "1111", true, "p-1", 0, {}, {kNoPush}},
          Row{0, "2222", true, "p-1", 1, {"3 9 loc-1|dev-1|p-1|", "3 13 loc-1|dev-1|p-1|"}, {}},
          Row{0, "2222", false, "p-1", 1, {"3 9 loc-1|dev-1|p-1|", "2 12 loc-1|dev-1|p-1|"}, {}},
          Row{0, "2222", true, "", 0, {}, {"", kNoPush}}, Row{0, nullptr, true, nullptr, 1, {}, {}},
          Row{0, nullptr, true, "p-1", 1, {"4 10 loc-1|dev-1|p-1|"}, {}},
          Row{0, nullptr, true, "", 0, {}, {"", "PullUser failed"}}}) {
        SCOPED_TRACE(testing::Message() << R.Slot << " " << (R.pUserPin ? R.pUserPin : "-") << R.Enabled
                                        << (R.pPersonID ? R.pPersonID : " nobody"));
        if (R.pUserPin) {
            ASSERT_FALSE(m_pSystem->Security().SetUser(R.Slot, {"Ann", "a@b.example", R.pUserPin}));
            m_Lock.EnableUser(R.Slot + 1, R.Enabled);
        }
        if (R.pPersonID) {
            auto pPerson = std::make_unique<CAccessPerson>(R.Slot, R.pPersonID, "1111", "Ann", "a@b.example");
            EXPECT_EQ(m_Account.InsertAccessPerson(pPerson), 1);
        }
        EXPECT_EQ(m_Lock.SendHardwareSlotConfig(R.Slot, nullptr), R.Result);
        EXPECT_EQ(Queued(m_Account), R.Queue);
        Lines Reports = m_Journal.TakeReports();
        ASSERT_EQ(Reports.size(), R.Reports.size());
        for (std::size_t i = 0; i < Reports.size(); ++i) {
            if (R.Reports[i].empty()) {
                EXPECT_EQ(Reports[i].rfind("vestarai ", 0), 0u) << "the interface's own report comes first";
            } else {
                EXPECT_EQ(Reports[i].substr(Reports[i].find(": ") + 2), R.Reports[i]);
                EXPECT_EQ(Reports[i].rfind("portivo ", 0), 0u);
            }
        }
        m_Account.RemoveAllObjects();
        m_pSystem->Security().DeleteUser(R.Slot);
    }
    m_Lock.SetBridge(nullptr);
    EXPECT_EQ(m_Lock.SendHardwareSlotConfig(30, nullptr), 0);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{}) << "without an interface nothing happens";
}

} // namespace
