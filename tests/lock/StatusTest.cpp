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
        Lines Effects;
    };
    for (const Row& R :
         {Row{ATTR_PIN, "", 0, {"report portivo 318: DataString empty - aborting ProcessCommand"}},
          Row{ATTR_PIN, "x", 0, {"report portivo 377: Received unhandled message"}},
          Row{ATTR_POWER_LEVEL, "25%n", 1, {"dev-1 Battery 25"}},
          Row{ATTR_WIFI_LEVEL, "-7", 1, {"dev-1 Signal -7"}}, Row{ATTR_STATE, "Locked", 1, {}},
          Row{ATTR_ALIVE, "no", 1, {}},
          Row{ATTR_ALIVE, "false", 1, {"dev-1 Error Offline"}}, // from here on it is offline
          Row{ATTR_ALIVE, "false", 1, {}},
          Row{ATTR_CONNECTED_AT, "2024-01-01T00:00:00Z", 0, {"report portivo 446: Portivo is Offline"}},
          Row{ATTR_ALIVE, "true", 1, {}}, Row{ATTR_UPDATED_AT, "%s", 1, {}}}) {
        SCOPED_TRACE(testing::Message() << R.Key << " [" << R.pValue << "]");
        EXPECT_EQ(Tell(R.Key, R.pValue), R.Result);
        EXPECT_EQ(TakeEffects(), R.Effects);
    }
    EXPECT_EQ(m_Lock.Online(), 1);
    EXPECT_EQ(Str(m_Lock.ErrorText()), "Offline") << "being alive again does not clear the error";
    m_Lock.TraceEnabled(1);
    Tell(ATTR_UPDATED_AT, "12%s");
    m_Lock.RegisterWorking(1);
    Tell(ATTR_UPDATED_AT, "12%s");
    EXPECT_EQ(TakeEffects(), (Lines{"dev-1 Working 1", "trace: updated_at: [12%s]"}));
    Tell(ATTR_HEARTBEAT_INTERVAL, "4294968");
    EXPECT_EQ(CPortivoProbe::HeartbeatInterval(m_Lock), 704u) << "milliseconds, which wrap";
}

TEST_F(StatusTest, LowBatteryNeedsAChangeInTheUpdateThatFindsFiveMinutesPassed)
{
    struct Row {
        std::uint32_t ElapsedMs;
        const char *pOld, *pNew;
        Lines Effects;
        bool Restarted;
    };
    for (const Row& R : {Row{300000, "40", "29", {"dev-1 Battery 29"}, false},
                         Row{300001, "40", "29", {"dev-1 Battery 29", "dev-1 Error Battery Low [29%]"}, true},
                         Row{300001, "25", "25", {"dev-1 Battery 25"}, true},
                         Row{300001, "40", "30", {"dev-1 Battery 30"}, true}}) {
        SCOPED_TRACE(testing::Message() << R.ElapsedMs << " " << R.pOld << " " << R.pNew);
        CPortivoProbe::BatteryTimer(m_Lock).Restart();
        Tell(ATTR_POWER_LEVEL, R.pOld);
        CPortivoProbe::BatteryTimer(m_Lock).SetElapsed(R.ElapsedMs);
        m_Journal.Take();
        Tell(ATTR_POWER_LEVEL, R.pNew);
        EXPECT_EQ(TakeEffects(), R.Effects);
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
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    for (const Row& R :
         {Row{0, kNone, 0, "locked", {"dev-1 Secured 1"}, kNone},
          Row{1, 2, 0, "locked", {"dev-1 Secured 1"}, 2},
          Row{2, 2, 0, "locked", {}, 2}, // stale, and the user stays armed
          Row{0, kNone, 0, "unlocked", {"dev-1 Unsecured 1"}, kNone}, Row{1, 2, 0, "unlocked", {}, 2},
          Row{2, 2, 360000, "unlocked", {"dev-1 Unsecured 103"}, kNone},
          Row{2, 2, 360001, "unlocked", {"dev-1 Unsecured 1"}, 2},
          Row{2, INT_MAX, 0, "unlocked", {"dev-1 Unsecured -2147483548"}, kNone}}) {
        SCOPED_TRACE(testing::Message() << R.LastCommand << " " << R.User << " " << R.AgeMs << R.pState);
        CPortivoProbe::LastCommand(m_Lock) = R.LastCommand;
        CPortivoProbe::UnlockUser(m_Lock) = R.User;
        CPortivoProbe::UnlockTimer(m_Lock).SetElapsed(R.AgeMs);
        EXPECT_EQ(Tell(ATTR_STATE, R.pState), 1);
        EXPECT_EQ(TakeEffects(), R.Effects);
        EXPECT_EQ(CPortivoProbe::UnlockUser(m_Lock), R.UserAfter);
        EXPECT_EQ(CPortivoProbe::LastCommand(m_Lock), R.LastCommand) << "never forgotten";
    }
}

TEST_F(StatusTest, CommandsAreQueuedUnlessTheStateIsThereAlready)
{
    struct Row {
        int Command, Argument, State;
        Lines Effects; // the queue included
        int StateAfter, LastCommand, UnlockUser;
        std::uint32_t UnlockTimerMs;
    };
    const Lines Lock{"trace: Sending LOCK command - Mark Working", "dev-1 Working 1", "3 16 loc-1|dev-1||"},
        Unlock{"trace: Sending UNLOCK command - Mark Working", "dev-1 Working 1", "3 17 loc-1|dev-1||"};
    m_Lock.TraceEnabled(1);
    for (const Row& R :
         {Row{1270, 9, 1, {}, 1, 7, 8, 500}, Row{1271, 3, 2, {}, 2, 7, 8, 500},
          Row{1269, 3, 0, {}, 0, 7, 8, 500}, Row{1270, 9, 0, Lock, 3, 1, 8, 500},
          Row{1271, 3, 1, Unlock, 3, 2, 2, 0}, Row{1271, INT_MIN, 0, Unlock, 3, 2, INT_MAX, 0}}) {
        SCOPED_TRACE(testing::Message() << R.Command << " " << R.Argument << " at " << R.State);
        CPortivoProbe::LockState(m_Lock, R.State);
        CPortivoProbe::LastCommand(m_Lock) = 7;
        CPortivoProbe::UnlockUser(m_Lock) = 8;
        CPortivoProbe::UnlockTimer(m_Lock).SetElapsed(500);
        CPortivoProbe::WorkingTimer(m_Lock).SetElapsed(500);
        m_Lock.SetBridge(nullptr);
        EXPECT_EQ(m_Lock.ExecuteCommand(R.Command, R.Argument), 0) << "nothing could be sent";
        EXPECT_EQ(m_Lock.State(), R.State);

        m_Lock.SetBridge(m_Account.NetworkBridge());
        EXPECT_EQ(m_Lock.ExecuteCommand(R.Command, R.Argument), R.Effects.empty() ? 0 : 1);
        EXPECT_EQ(TakeEffects() + Queued(m_Account), R.Effects);
        EXPECT_EQ(m_Lock.State(), R.StateAfter);
        EXPECT_EQ(CPortivoProbe::LastCommand(m_Lock), R.LastCommand);
        EXPECT_EQ(CPortivoProbe::UnlockUser(m_Lock), R.UnlockUser);
        EXPECT_EQ(CPortivoProbe::UnlockTimer(m_Lock).QXTickCount(), R.UnlockTimerMs);
        EXPECT_EQ(CPortivoProbe::WorkingTimer(m_Lock).QXTickCount(), R.Effects.empty() ? 500u : 0u);
        DropQueued(m_Account);
    }
    EXPECT_EQ(m_Lock.CommandUser(), INT_MIN);
}

} // namespace support
