// What the cloud's attributes do to the lock, and the commands that give them their meaning.

#include "lock/LockTest.h"

#include <climits>

namespace support
{

using StatusTest = LockTest;

TEST_F(StatusTest, AttributesAreTakenOrReported)
{
    struct Row {
        Attributes Key;
        const char* pValue;
        int Result;
        Lines Effects, Reports;
    };
    const char *kEmpty = "DataString empty - aborting ProcessCommand",
               *kForeign = "Received unhandled message";
    for (const Row& R :
         {Row{ATTR_PIN, "", 0, {}, {kEmpty}}, Row{ATTR_PIN, "x", 0, {}, {kForeign}},
          Row{static_cast<Attributes>(-1), "x", 0, {}, {kForeign}},
          Row{ATTR_POWER_LEVEL, "25%n", 1, {"dev-1 Battery 25"}, {}},
          Row{ATTR_WIFI_LEVEL, "-7", 1, {"dev-1 Signal -7"}, {}}, Row{ATTR_STATE, "Locked", 1, {}, {}},
          Row{ATTR_STATE, "locked ", 1, {}, {}}, Row{ATTR_STATE, "locked", 1, {"dev-1 Secured 1"}, {}},
          Row{ATTR_STATE, "unlocked", 1, {"dev-1 Unsecured 1"}, {}}, Row{ATTR_ALIVE, "no", 1, {}, {}},
          Row{ATTR_ALIVE, "false", 1, {"dev-1 Error Offline"}, {}}, // from here on it is offline
          Row{ATTR_ALIVE, "false", 1, {}, {}},
          Row{ATTR_CONNECTED_AT, "2024-01-01T00:00:00Z", 0, {}, {"Portivo is Offline"}},
          Row{ATTR_ALIVE, "true", 1, {}, {}}, Row{ATTR_UPDATED_AT, "%s", 1, {}, {}}}) {
        SCOPED_TRACE(testing::Message() << R.Key << " [" << R.pValue << "]");
        EXPECT_EQ(Tell(R.Key, R.pValue), R.Result);
        EXPECT_EQ(Reports(), R.Reports);
        EXPECT_EQ(TakeEffects(), R.Effects);
    }
    EXPECT_EQ(m_Lock.Online(), 1);
    EXPECT_EQ(Str(m_Lock.ErrorText()), "Offline") << "being alive again does not clear the error";
    m_Lock.TraceEnabled(1);
    Tell(ATTR_UPDATED_AT, "12%s");
    EXPECT_EQ(TakeEffects(), Lines{});
    m_Lock.RegisterWorking(1);
    Tell(ATTR_UPDATED_AT, "12%s");
    EXPECT_EQ(TakeEffects(), (Lines{"dev-1 Working 1", "trace: updated_at: [12%s]"}));
    for (const auto& [pText, iIntervalMs] : {std::pair<const char*, std::uint32_t>{"300", 300000u},
                                             {"x", 0u},
                                             {"-1", 4294966296u},
                                             {"4294968", 704u}}) {
        Tell(ATTR_HEARTBEAT_INTERVAL, pText);
        EXPECT_EQ(CPortivoProbe::HeartbeatInterval(m_Lock), iIntervalMs) << pText;
    }
}

TEST_F(StatusTest, LowBatteryNeedsAChangeInTheUpdateThatFindsFiveMinutesPassed)
{
    struct Row {
        std::uint32_t ElapsedMs;
        const char *pOld, *pNew;
        Lines Error;
        bool Restarted;
    };
    for (const Row& R :
         {Row{300000, "40", "25", {}, false}, Row{300001, "40", "25", {"Battery Low [25%]"}, true},
          Row{300001, "25", "25", {}, true}, Row{300001, "40", "30", {}, true},
          Row{300001, "40", "29", {"Battery Low [29%]"}, true},
          Row{300001, "20", "-5", {"Battery Low [-5%]"}, true}}) {
        SCOPED_TRACE(testing::Message() << R.ElapsedMs << " " << R.pOld << " " << R.pNew);
        CPortivoProbe::BatteryTimer(m_Lock).Restart();
        Tell(ATTR_POWER_LEVEL, R.pOld);
        CPortivoProbe::BatteryTimer(m_Lock).SetElapsed(R.ElapsedMs);
        m_Journal.Take();
        Tell(ATTR_POWER_LEVEL, R.pNew);
        Lines Expected{std::string("dev-1 Battery ") + R.pNew};
        for (const std::string& Error : R.Error)
            Expected.push_back("dev-1 Error " + Error);
        EXPECT_EQ(TakeEffects(), Expected);
        EXPECT_EQ(CPortivoProbe::BatteryTimer(m_Lock).QXTickCount(), R.Restarted ? 0 : R.ElapsedMs);
    }
}

TEST_F(StatusTest, ReportsAreWeighedAgainstTheLastCommand)
{
    constexpr int kNone = 32767;
    struct Row {
        int LastCommand, User;
        std::uint32_t AgeMs;
        const char* pState;
        Lines Effects;
        int UserAfter;
    };
    for (const Row& R :
         {Row{0, kNone, 0, "locked", {"Secured 1"}, kNone}, Row{1, 2, 0, "locked", {"Secured 1"}, 2},
          Row{2, 2, 0, "locked", {}, 2}, // stale, and the user stays armed
          Row{1, kNone, 0, "unlocked", {}, kNone}, Row{2, 2, 360000, "unlocked", {"Unsecured 103"}, kNone},
          Row{2, 2, 360001, "unlocked", {"Unsecured 1"}, 2},
          Row{0, 2, 30000, "unlocked", {"Unsecured 103"}, kNone},
          Row{2, -1, 0, "unlocked", {"Unsecured 100"}, kNone},
          Row{2, INT_MAX, 0, "unlocked", {"Unsecured -2147483548"}, kNone}}) {
        SCOPED_TRACE(testing::Message() << R.LastCommand << " " << R.User << " " << R.AgeMs << R.pState);
        Tell(ATTR_HEARTBEAT_INTERVAL, "300");
        CPortivoProbe::LastCommand(m_Lock) = R.LastCommand;
        CPortivoProbe::UnlockUser(m_Lock) = R.User;
        CPortivoProbe::UnlockTimer(m_Lock).SetElapsed(R.AgeMs);
        EXPECT_EQ(Tell(ATTR_STATE, R.pState), 1);
        EXPECT_EQ(TakeEffects(), R.Effects.empty() ? Lines{} : Lines{"dev-1 " + R.Effects[0]});
        EXPECT_EQ(CPortivoProbe::UnlockUser(m_Lock), R.UserAfter);
        EXPECT_EQ(CPortivoProbe::LastCommand(m_Lock), R.LastCommand) << "never forgotten";
    }
}

TEST_F(StatusTest, CommandsAreQueuedUnlessTheStateIsThereAlready)
{
    struct Row {
        int Command, Argument, State, Result;
        const char* pQueued;
        int LastCommand, UnlockUser;
        const char* pTrace;
    };
    const char *kLock = "trace: Sending LOCK command - Mark Working",
               *kUnlock = "trace: Sending UNLOCK command - Mark Working";
    for (const Row& R :
         {Row{1270, 9, 1, 0, "", 7, 8, nullptr}, Row{1271, 3, 2, 0, "", 7, 8, nullptr},
          Row{1269, 3, 0, 0, "", 7, 8, nullptr}, Row{1270, 9, 0, 1, "3 16 loc-1|dev-1||", 1, 8, kLock},
          Row{1271, 3, 1, 1, "3 17 loc-1|dev-1||", 2, 2, kUnlock},
          Row{1271, 0, 3, 1, "3 17 loc-1|dev-1||", 2, -1, kUnlock},
          Row{1271, INT_MIN, 0, 1, "3 17 loc-1|dev-1||", 2, INT_MAX, kUnlock}}) {
        for (const bool bInterface : {true, false}) {
            SCOPED_TRACE(testing::Message()
                         << R.Command << " " << R.Argument << " at " << R.State << bInterface);
            const bool bDone = R.Result && bInterface;
            m_Lock.SetBridge(bInterface ? m_Account.NetworkBridge() : nullptr);
            CPortivoProbe::LockState(m_Lock, R.State);
            CPortivoProbe::LastCommand(m_Lock) = 7;
            CPortivoProbe::UnlockUser(m_Lock) = 8;
            CPortivoProbe::UnlockTimer(m_Lock).SetElapsed(500);
            m_Lock.TraceEnabled(1);
            m_Journal.Take();
            EXPECT_EQ(m_Lock.ExecuteCommand(R.Command, R.Argument), bDone);
            EXPECT_EQ(TakeEffects(), bDone ? (Lines{R.pTrace, "dev-1 Working 1"}) : Lines{});
            EXPECT_EQ(Queued(m_Account), bDone ? Lines{R.pQueued} : Lines{});
            EXPECT_EQ(CPortivoProbe::LastCommand(m_Lock), bDone ? R.LastCommand : 7);
            EXPECT_EQ(CPortivoProbe::UnlockUser(m_Lock), bDone ? R.UnlockUser : 8);
            EXPECT_EQ(CPortivoProbe::UnlockTimer(m_Lock).QXTickCount(),
                      bDone && R.Command == 1271 ? 0u : 500u);
            EXPECT_EQ(m_Lock.State(), bDone ? 3 : R.State);
            if (bDone && R.Command == 1271) {
                EXPECT_EQ(m_Lock.CommandUser(), R.Argument);
            }
            DropQueued(m_Account);
        }
    }
}

} // namespace support
