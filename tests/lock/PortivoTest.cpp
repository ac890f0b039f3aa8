// The lock object: its interface, record, names, housekeeping, page and user slots.

#include "tests/lock/LockTest.h"

#include <climits>

namespace support
{

using PortivoTest = LockTest;

TEST_F(PortivoTest, InterfaceIsCachedWhileThereIsABridge)
{
    m_lock.Init();
    m_lock.SetBridge(AddAccount().NetworkBridge());
    EXPECT_EQ(m_lock.Interface(), &m_account) << "a cached pointer is not compared with the bridge";
    m_account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    EXPECT_EQ(m_lock.CommandStackEmpty(), 0);
    CBridge bare(99, 133);
    for (CBridge* bridge : {static_cast<CBridge*>(nullptr), &bare}) {
        m_lock.SetBridge(bridge);
        EXPECT_EQ(m_lock.Interface(), nullptr);
        EXPECT_EQ(m_lock.CommandStackEmpty(), 1);
        m_lock.UnInstall();
        EXPECT_EQ(m_account.NClients(), 1) << "without an interface there is no list to leave";
    }
    m_lock.SetBridge(m_account.NetworkBridge());
    m_account.RemoveAllObjects();
    AddWaitingReply(m_account);
    EXPECT_EQ(m_lock.CommandStackEmpty(), 1) << "replies do not count";
    m_lock.SetBridge(nullptr);
    m_lock.Init();
    m_lock.SetBridge(m_account.NetworkBridge());
    m_journal.Take();
    m_lock.OnPostSystemInit();
    EXPECT_EQ(TakeEffects(), Lines{"dev-1 RegisterEventServer"});
    EXPECT_EQ(CPortivoProbe::CachedInterface(m_lock), &m_account);
    EXPECT_EQ(m_lock.ComponentFlags(), 0x50000000u);
    EXPECT_EQ(m_lock.ConnectionType(), 4);
    EXPECT_EQ(m_lock.UnInstall(), 1);
    EXPECT_EQ(m_account.NClients(), 0);
}

TEST_F(PortivoTest, RecordStopsAtTheFirstFailureAndKeepsTheThreshold)
{
    constexpr int kItems = 12; // eight of the door lock without users, two of the client, two of its own
    CPortivoProbe::LowBattery(m_lock) = 55;
    for (int stepCount = 0; stepCount <= kItems; ++stepCount) {
        SCOPED_TRACE(stepCount);
        const bool complete = stepCount == kItems;
        FailingFile file;
        ASSERT_EQ(m_lock.WriteData(&file, 1), 1);
        file.left = stepCount;
        RecordingLock copy(m_journal);
        EXPECT_EQ(copy.ReadData(&file, 1400), complete);
        EXPECT_EQ(CPortivoProbe::LowBattery(copy), complete ? 55 : 30);
        EXPECT_EQ(Str(copy.TraceName()), complete ? "Portivo (Front)" : "");
        EXPECT_EQ(Str(copy.DeviceID()), stepCount >= 10 ? "dev-1" : "");
        FailingFile target;
        target.left = stepCount;
        EXPECT_EQ(m_lock.WriteData(&target, 1461), complete);
    }
}

TEST_F(PortivoTest, NewNameIsSavedAtOnceAndToldByHousekeeping)
{
    const auto idleAfter = [this](std::uint64_t ms) {
        m_clock.Advance(ms);
        m_lock.OnComponentIdle();
        return TakeEffects();
    };
    m_lock.DeviceName("");
    m_lock.DeviceName("Front");
    EXPECT_EQ(TakeEffects(), Lines{});
    for (const std::string name : {"front%s", "back"}) {
        m_lock.DeviceName(name.c_str());
        EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"});
        EXPECT_EQ(Str(m_lock.TraceName()), "Portivo (" + name + ")");
        EXPECT_EQ(idleAfter(3000), Lines{});
        EXPECT_EQ(idleAfter(1), Lines{"NotifyConfigChanged portivo 274"});
    }
    EXPECT_EQ(idleAfter(3001), Lines{});

    CPortivoProbe::WriteStatePending(m_lock) = 1;
    CPortivoProbe::WriteStateTimer(m_lock).Restart();
    EXPECT_EQ(idleAfter(5000), Lines{});
    EXPECT_EQ(idleAfter(1), Lines{"NotifyWrite"});
    EXPECT_EQ(idleAfter(1), Lines{}) << "the state is saved once";
}

TEST_F(PortivoTest, StatusPageInBothDirections)
{
    Tell(ATTR_SERIAL_NUMBER, "SN%s");
    Tell(ATTR_PROGRAMMING_CODE, "1234");
    Tell(ATTR_WIFI_LEVEL, "3");
    for (const auto& [threshold, shown] : {std::pair(34, 4), {4, -1}, {INT_MIN, -429496731}}) {
        SCOPED_TRACE(threshold);
        CPortivoProbe::LowBattery(m_lock) = threshold;
        m_lock.EnableUserCodes(threshold == 4);
        CQXMSG page;
        m_lock.GetExtendedConfig(&page);
        EXPECT_EQ(Shown(page), "407580|'Serial Number'|'SN%s'|'Programming Code'|'1234'|'WiFi Strength'|'" +
                                   Str(m_lock.SignalStrengthText()) + "'|'User Codes'|" +
                                   (threshold == 4 ? "0" : "1") + "|2|'Yes'|'No'|'Low Battery Warning'|" +
                                   std::to_string(shown) +
                                   "|10|'10%'|'15%'|'20%'|'25%'|'30%'|'35%'|'40%'|'45%'|'50%'|'55%'|");
    }
    struct Edit {
        int codes, entry, userCodes, threshold;
        Lines effects; // the threshold alone saves nothing
    };
    m_lock.EnableUserCodes(1);
    m_journal.Take();
    for (const Edit& e : {Edit{0, 9, 1, 55, {}}, Edit{1, 0, 0, 10, {"NotifyWrite"}},
                          Edit{0, INT_MAX, 1, -2147483643, {"NotifyWrite"}}}) {
        SCOPED_TRACE(testing::Message() << e.codes << " " << e.entry);
        CQXMSG page;
        for (const char* text : {"x", "y", "z"})
            page.PutString(text);
        page.PutInt(e.codes), page.PutInt(e.entry);
        m_lock.SetExtendedConfig(&page);
        EXPECT_EQ(m_lock.UserCodesEnabled(), e.userCodes);
        EXPECT_EQ(CPortivoProbe::LowBattery(m_lock), e.threshold);
        EXPECT_EQ(TakeEffects(), e.effects);
    }
}

TEST_F(PortivoTest, UserSlotOutsideOfTheTableIsRefused)
{
    SetUser(29, "Ann");
    m_lock.EnableUser(30, 1);
    EXPECT_EQ(m_lock.SendHardwareSlotConfig(29, nullptr), 1);
    m_journal.Take();
    m_lock.TraceEnabled(1);
    EXPECT_EQ(m_lock.SendHardwareSlotConfig(28, nullptr), 1) << "nobody to remove";
    EXPECT_EQ(TakeEffects(), Lines{"trace: No user found at index [28] - removing from cloud"});
    EXPECT_EQ(Queued(m_account), Lines{"3 8 loc-1|dev-1|29|"});

    for (const bool tracing : {true, false}) {
        const int slot = tracing ? 4 : 5;
        SetUser(slot, tracing ? "Bob" : "Cy");
        m_lock.TraceEnabled(tracing);
        EXPECT_EQ(m_lock.SendHardwareSlotConfig(slot, nullptr), 0) << "created only now, so without an id";
        EXPECT_EQ(
            TakeEffects(),
            WithTracing(tracing,
                        {"~trace: User at index [4] not enabled for this DoorLock - revoking cloud access",
                         "report vestarai 3406: AccessPerson missing ID - can't identify for revokin access",
                         "report portivo 641: RevokeAccess failed"}));
    }
    for (const int slot : {-1, 30, INT_MAX}) {
        m_lock.SetBridge(m_account.NetworkBridge());
        EXPECT_EQ(m_lock.SendHardwareSlotConfig(slot, nullptr), 0);
        EXPECT_EQ(TakeEffects(),
                  Lines{"report portivo 604: Index outside of range: [" + std::to_string(slot) + "]"});
        m_lock.SetBridge(nullptr);
        EXPECT_EQ(m_lock.SendHardwareSlotConfig(slot, nullptr), 0);
        EXPECT_EQ(TakeEffects(), Lines{}) << "without an interface nothing happens";
    }
}

} // namespace support
