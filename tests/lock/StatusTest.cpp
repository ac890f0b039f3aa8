// What the cloud's attributes do to the lock, and the commands that give them their meaning.

#include "tests/lock/LockTest.h"

#include <climits>

namespace support
{

using StatusTest = LockTest;

TEST_F(StatusTest, AttributesAreTakenOrReported)
{
    struct Row {
        Attributes key;
        const char* value;
        int result;
        Lines effects;
    };
    for (const Row& r :
         {Row{ATTR_PIN, "", 0, {"report portivo 318: DataString empty - aborting ProcessCommand"}},
          Row{ATTR_PIN, "x", 0, {"report portivo 377: Received unhandled message"}},
          Row{ATTR_POWER_LEVEL, "25%n", 1, {"dev-1 Battery 25"}},
          Row{ATTR_WIFI_LEVEL, "-7", 1, {"dev-1 Signal -7"}}, Row{ATTR_STATE, "Locked", 1, {}},
          Row{ATTR_ALIVE, "no", 1, {}},
          Row{ATTR_ALIVE, "false", 1, {"dev-1 Error Offline"}}, // from here on it is offline
          Row{ATTR_ALIVE, "false", 1, {}},
          Row{ATTR_CONNECTED_AT, "2024-01-01T00:00:00Z", 0, {"report portivo 446: Portivo is Offline"}},
          Row{ATTR_ALIVE, "true", 1, {}}, Row{ATTR_UPDATED_AT, "%s", 1, {}}}) {
        SCOPED_TRACE(testing::Message() << r.key << " [" << r.value << "]");
        EXPECT_EQ(Tell(r.key, r.value), r.result);
        EXPECT_EQ(TakeEffects(), r.effects);
    }
    EXPECT_EQ(m_lock.Online(), 1);
    EXPECT_EQ(Str(m_lock.ErrorText()), "Offline") << "being alive again does not clear the error";
    m_lock.TraceEnabled(1);
    Tell(ATTR_UPDATED_AT, "12%s");
    m_lock.RegisterWorking(1);
    for (const bool tracing : {true, false}) {
        m_lock.TraceEnabled(tracing);
        Tell(ATTR_UPDATED_AT, "12%s");
    }
    EXPECT_EQ(TakeEffects(), (Lines{"dev-1 Working 1", "trace: updated_at: [12%s]"}));
    Tell(ATTR_HEARTBEAT_INTERVAL, "4294968");
    EXPECT_EQ(CPortivoProbe::HeartbeatInterval(m_lock), 704u) << "milliseconds, which wrap";
}

TEST_F(StatusTest, LowBatteryNeedsAChangeInTheUpdateThatFindsFiveMinutesPassed)
{
    struct Row {
        std::uint32_t elapsedMs;
        const char *old, *created;
        Lines effects;
        bool restarted;
    };
    for (const Row& r : {Row{300000, "40", "29", {"dev-1 Battery 29"}, false},
                         Row{300001, "40", "29", {"dev-1 Battery 29", "dev-1 Error Battery Low [29%]"}, true},
                         Row{300001, "25", "25", {"dev-1 Battery 25"}, true},
                         Row{300001, "40", "30", {"dev-1 Battery 30"}, true}}) {
        SCOPED_TRACE(testing::Message() << r.elapsedMs << " " << r.old << " " << r.created);
        CPortivoProbe::BatteryTimer(m_lock).Restart();
        Tell(ATTR_POWER_LEVEL, r.old);
        CPortivoProbe::BatteryTimer(m_lock).SetElapsed(r.elapsedMs);
        m_journal.Take();
        Tell(ATTR_POWER_LEVEL, r.created);
        EXPECT_EQ(TakeEffects(), r.effects);
        EXPECT_EQ(CPortivoProbe::BatteryTimer(m_lock).QXTickCount(), r.restarted ? 0 : r.elapsedMs);
    }
}

TEST_F(StatusTest, ReportsAreWeighedAgainstTheLastCommand)
{
    constexpr int kNone = 32767;
    struct Row {
        int lastCommand, user;
        std::uint32_t ageMs;
        const char* state;
        Lines effects;
        int userAfter;
    };
    Tell(ATTR_HEARTBEAT_INTERVAL, "300");
    for (const Row& r :
         {Row{0, kNone, 0, "locked", {"dev-1 Secured 1"}, kNone},
          Row{1, 2, 0, "locked", {"dev-1 Secured 1"}, 2},
          Row{2, 2, 0, "locked", {}, 2}, // stale, and the user stays armed
          Row{0, kNone, 0, "unlocked", {"dev-1 Unsecured 1"}, kNone}, Row{1, 2, 0, "unlocked", {}, 2},
          Row{2, 2, 360000, "unlocked", {"dev-1 Unsecured 103"}, kNone},
          Row{2, 2, 360001, "unlocked", {"dev-1 Unsecured 1"}, 2},
          Row{2, INT_MAX, 0, "unlocked", {"dev-1 Unsecured -2147483548"}, kNone}}) {
        SCOPED_TRACE(testing::Message() << r.lastCommand << " " << r.user << " " << r.ageMs << r.state);
        CPortivoProbe::LastCommand(m_lock) = r.lastCommand;
        CPortivoProbe::UnlockUser(m_lock) = r.user;
        CPortivoProbe::UnlockTimer(m_lock).SetElapsed(r.ageMs);
        EXPECT_EQ(Tell(ATTR_STATE, r.state), 1);
        EXPECT_EQ(TakeEffects(), r.effects);
        EXPECT_EQ(CPortivoProbe::UnlockUser(m_lock), r.userAfter);
        EXPECT_EQ(CPortivoProbe::LastCommand(m_lock), r.lastCommand) << "never forgotten";
    }
}

TEST_F(StatusTest, CommandsAreQueuedUnlessTheStateIsThereAlready)
{
    struct Row {
        int command, argument, state;
        Lines effects; // the queue included
        int stateAfter, lastCommand, unlockUser;
        std::uint32_t unlockTimerMs;
    };
    const Lines lock{"~trace: Sending LOCK command - Mark Working", "dev-1 Working 1", "3 16 loc-1|dev-1||"},
        unlock{"~trace: Sending UNLOCK command - Mark Working", "dev-1 Working 1", "3 17 loc-1|dev-1||"};
    for (const Row& r : {Row{1270, 9, 1, {}, 1, 7, 8, 500}, Row{1271, 3, 2, {}, 2, 7, 8, 500},
                         Row{1269, 3, 0, {}, 0, 7, 8, 500}, Row{1270, 9, 0, lock, 3, 1, 8, 500},
                         Row{1270, 3, 0, lock, 3, 1, 8, 500}, Row{1271, 3, 1, unlock, 3, 2, 2, 0},
                         Row{1271, INT_MIN, 0, unlock, 3, 2, INT_MAX, 0}}) {
        SCOPED_TRACE(testing::Message() << r.command << " " << r.argument << " at " << r.state);
        CPortivoProbe::LockState(m_lock, r.state);
        CPortivoProbe::LastCommand(m_lock) = 7;
        CPortivoProbe::UnlockUser(m_lock) = 8;
        CPortivoProbe::UnlockTimer(m_lock).SetElapsed(500);
        CPortivoProbe::WorkingTimer(m_lock).SetElapsed(500);
        const bool tracing = r.argument != 3;
        m_lock.TraceEnabled(tracing);
        m_lock.SetBridge(nullptr);
        EXPECT_EQ(m_lock.ExecuteCommand(r.command, r.argument), 0) << "nothing could be sent";
        EXPECT_EQ(m_lock.State(), r.state);

        m_lock.SetBridge(m_account.NetworkBridge());
        EXPECT_EQ(m_lock.ExecuteCommand(r.command, r.argument), r.effects.empty() ? 0 : 1);
        EXPECT_EQ(TakeEffects() + Queued(m_account), WithTracing(tracing, r.effects));
        EXPECT_EQ(m_lock.State(), r.stateAfter);
        EXPECT_EQ(CPortivoProbe::LastCommand(m_lock), r.lastCommand);
        EXPECT_EQ(CPortivoProbe::UnlockUser(m_lock), r.unlockUser);
        EXPECT_EQ(CPortivoProbe::UnlockTimer(m_lock).QXTickCount(), r.unlockTimerMs);
        EXPECT_EQ(CPortivoProbe::WorkingTimer(m_lock).QXTickCount(), r.effects.empty() ? 500u : 0u);
        DropQueued(m_account);
    }
    EXPECT_EQ(m_lock.CommandUser(), INT_MIN);
}

} // namespace support
