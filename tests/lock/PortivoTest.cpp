// The lock object: its interface, record, names, housekeeping, page and user slots.

#include "lock/LockTest.h"
#include "support/FailingFile.h"

#include <climits>

namespace support
{

using PortivoTest = LockTest;

TEST_F(PortivoTest, InterfaceIsCachedWhileThereIsABridge)
{
    CVestaraInterface& Other = AddAccount();
    EXPECT_EQ(m_Lock.Interface(), &m_Account);
    m_Lock.SetBridge(Other.NetworkBridge());
    EXPECT_EQ(m_Lock.Interface(), &m_Account) << "a cached pointer is not compared with the bridge";
    m_Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    EXPECT_EQ(m_Lock.CommandStackEmpty(), 0);
    CBridge Bare(99, 133);
    for (CBridge* pBridge : {static_cast<CBridge*>(nullptr), &Bare}) {
        m_Lock.SetBridge(pBridge);
        EXPECT_EQ(m_Lock.Interface(), nullptr);
        EXPECT_EQ(m_Lock.CommandStackEmpty(), 1);
        m_Lock.UnInstall();
        EXPECT_EQ(m_Account.NClients(), 1) << "without an interface there is no list to leave";
    }
    m_Lock.SetBridge(m_Account.NetworkBridge());
    m_Account.RemoveAllObjects();
    AddWaitingReply(m_Account);
    EXPECT_EQ(m_Lock.CommandStackEmpty(), 1) << "replies do not count";
    m_Account.RemoveAllObjects();
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
        FailingFile File;
        ASSERT_EQ(m_Lock.WriteData(&File, 1), 1);
        File.Left = nSteps;
        RecordingLock Copy(m_Journal);
        EXPECT_EQ(Copy.ReadData(&File, 1400), bComplete);
        EXPECT_EQ(CPortivoProbe::LowBattery(Copy), bComplete ? 55 : 30);
        EXPECT_EQ(Str(Copy.TraceName()), bComplete ? "Portivo (Front)" : "");
        EXPECT_EQ(Str(Copy.DeviceID()), nSteps >= 10 ? "dev-1" : "");
        FailingFile Target;
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
    for (const Row& R : {Row{30, 4, 1, 0}, Row{32, 4, 0, 1}, Row{4, -1, 1, 0}, Row{55, 9, 0, 1},
                         Row{INT_MIN, -429496731, 1, 0}}) {
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
    for (const Edit& E : {Edit{0, 9, 1, 55, false}, Edit{1, 0, 0, 10, true}, Edit{5, -3, 0, -5, false},
                          Edit{0, INT_MAX, 1, -2147483643, true}}) {
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
          Row{0, nullptr, true, "p-1", 1, {"4 10 loc-1|dev-1|p-1|"}, {}},
          Row{0, nullptr, true, "", 0, {}, {"", "PullUser failed"}}}) {
        SCOPED_TRACE(testing::Message() << R.Slot << " " << (R.pUserPin ? R.pUserPin : "-") << R.Enabled
                                        << (R.pPersonID ? R.pPersonID : " nobody"));
        if (R.pUserPin) {
            SetUser(R.Slot, "Ann", R.pUserPin, "a@b.example");
            m_Lock.EnableUser(R.Slot + 1, R.Enabled);
        }
        if (R.pPersonID)
            AddPerson(m_Account, R.Slot, R.pPersonID, "Ann", "1111", "a@b.example");
        EXPECT_EQ(m_Lock.SendHardwareSlotConfig(R.Slot, nullptr), R.Result);
        EXPECT_EQ(Queued(m_Account), R.Queue);
        Lines Reports = m_Journal.TakeReports();
        ASSERT_EQ(Reports.size(), R.Reports.size());
        for (std::size_t i = 0; i < Reports.size(); ++i) {
            // The empty one is the interface's own report, which comes first.
            EXPECT_TRUE(Reports[i].starts_with(R.Reports[i].empty() ? "vestarai " : "portivo "));
            EXPECT_TRUE(R.Reports[i].empty() || Reports[i].ends_with(": " + R.Reports[i])) << Reports[i];
        }
        m_Account.RemoveAllObjects();
        m_pSystem->Security().DeleteUser(R.Slot);
    }
    m_Lock.SetBridge(nullptr);
    EXPECT_EQ(m_Lock.SendHardwareSlotConfig(30, nullptr), 0);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{}) << "without an interface nothing happens";
}

} // namespace support
