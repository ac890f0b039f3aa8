// The lock object: its interface, record, names, housekeeping, page and user slots.

#include "lock/LockTest.h"
#include "support/FailingFile.h"

#include <climits>

namespace support
{

using PortivoTest = LockTest;

TEST_F(PortivoTest, InterfaceIsCachedWhileThereIsABridge)
{
    m_Lock.Init();
    m_Lock.SetBridge(AddAccount().NetworkBridge());
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
    m_Lock.SetBridge(nullptr);
    m_Lock.Init();
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
    const auto IdleAfter = [this](std::uint64_t Ms) {
        m_Clock.Advance(Ms);
        m_Lock.OnComponentIdle();
        return TakeEffects();
    };
    m_Lock.DeviceName("");
    m_Lock.DeviceName("Front");
    EXPECT_EQ(TakeEffects(), Lines{});
    m_Lock.DeviceName("front%s");
    EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"});
    EXPECT_EQ(Str(m_Lock.TraceName()), "Portivo (front%s)");
    EXPECT_EQ(IdleAfter(3000), Lines{});
    EXPECT_EQ(IdleAfter(1), Lines{"NotifyConfigChanged portivo 274"});
    EXPECT_EQ(IdleAfter(3001), Lines{});

    CPortivoProbe::WriteStatePending(m_Lock) = 1;
    CPortivoProbe::WriteStateTimer(m_Lock).Restart();
    EXPECT_EQ(IdleAfter(5000), Lines{});
    EXPECT_EQ(IdleAfter(1), Lines{"NotifyWrite"});
    EXPECT_EQ(IdleAfter(1), Lines{}) << "the state is saved once";
}

TEST_F(PortivoTest, StatusPageInBothDirections)
{
    Tell(ATTR_SERIAL_NUMBER, "SN%s");
    Tell(ATTR_PROGRAMMING_CODE, "1234");
    Tell(ATTR_WIFI_LEVEL, "3");
    for (const auto& [iThreshold, iShown] : {std::pair(34, 4), {4, -1}, {INT_MIN, -429496731}}) {
        SCOPED_TRACE(iThreshold);
        CPortivoProbe::LowBattery(m_Lock) = iThreshold;
        m_Lock.EnableUserCodes(iThreshold == 4);
        CQXMSG Page;
        m_Lock.GetExtendedConfig(&Page);
        EXPECT_EQ(Shown(Page), "407580|'Serial Number'|'SN%s'|'Programming Code'|'1234'|'WiFi Strength'|'" +
                                   Str(m_Lock.SignalStrengthText()) + "'|'User Codes'|" +
                                   (iThreshold == 4 ? "0" : "1") + "|2|'Yes'|'No'|'Low Battery Warning'|" +
                                   std::to_string(iShown) +
                                   "|10|'10%'|'15%'|'20%'|'25%'|'30%'|'35%'|'40%'|'45%'|'50%'|'55%'|");
    }
    struct Edit {
        int Codes, Entry, UserCodes, Threshold;
        Lines Effects; // the threshold alone saves nothing
    };
    m_Lock.EnableUserCodes(1);
    m_Journal.Take();
    for (const Edit& E : {Edit{0, 9, 1, 55, {}}, Edit{1, 0, 0, 10, {"NotifyWrite"}},
                          Edit{0, INT_MAX, 1, -2147483643, {"NotifyWrite"}}}) {
        SCOPED_TRACE(testing::Message() << E.Codes << " " << E.Entry);
        CQXMSG Page;
        for (const char* pText : {"x", "y", "z"})
            Page.PutString(pText);
        Page.PutInt(E.Codes), Page.PutInt(E.Entry);
        m_Lock.SetExtendedConfig(&Page);
        EXPECT_EQ(m_Lock.UserCodesEnabled(), E.UserCodes);
        EXPECT_EQ(CPortivoProbe::LowBattery(m_Lock), E.Threshold);
        EXPECT_EQ(TakeEffects(), E.Effects);
    }
}

TEST_F(PortivoTest, UserSlotOutsideOfTheTableIsRefused)
{
    SetUser(29, "Ann");
    m_Lock.EnableUser(30, 1);
    EXPECT_EQ(m_Lock.SendHardwareSlotConfig(29, nullptr), 1);
    EXPECT_EQ(m_Lock.SendHardwareSlotConfig(28, nullptr), 1) << "nobody to remove";
    EXPECT_EQ(Queued(m_Account), Lines{"3 8 loc-1|dev-1|29|"});
    m_Journal.Take();
    for (const int iSlot : {-1, 30, INT_MAX}) {
        m_Lock.SetBridge(m_Account.NetworkBridge());
        EXPECT_EQ(m_Lock.SendHardwareSlotConfig(iSlot, nullptr), 0);
        EXPECT_EQ(TakeEffects(),
                  Lines{"report portivo 604: Index outside of range: [" + std::to_string(iSlot) + "]"});
        m_Lock.SetBridge(nullptr);
        EXPECT_EQ(m_Lock.SendHardwareSlotConfig(iSlot, nullptr), 0);
        EXPECT_EQ(TakeEffects(), Lines{}) << "without an interface nothing happens";
    }
}

} // namespace support
