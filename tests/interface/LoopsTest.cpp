// The worker's turns and their pace, the host's idle call and its timers.

#include "support/AccountTest.h"

namespace support
{

using LoopsTest = AccountTest;

TEST_F(LoopsTest, PaceFollowsTheCubeOfWhatWaits)
{
    struct Row {
        int nCommands, nReplies;
        std::uint32_t StartMs, DelayMs;
        int Result;
    };
    for (const Row& R :
         {Row{0, 0, 2999, 3000, 0}, Row{0, 0, 3000, 3000, 0}, Row{0, 0, 3001, 3001, 0},
          Row{1, 0, 10000, 1500, 1}, Row{1, 1, 3000, 333, 2}, Row{0, 3, 0, 107, 3}, Row{2, 3, 3000, 23, 5},
          Row{14, 0, 3000, 1, 14}, Row{15, 0, 3000, 0, 15}, Row{1700, 0, 3000, 0, 1700}}) {
        SCOPED_TRACE(testing::Message() << R.nCommands << "+" << R.nReplies << " at " << R.StartMs);
        CVestaraInterface& Account = AddAccount();
        for (int i = 0; i < R.nCommands; ++i)
            EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", ""), i + 1);
        for (int i = 0; i < R.nReplies; ++i)
            AddWaitingReply(Account);
        Probe(Account).RunDelay() = R.StartMs;
        EXPECT_EQ(Account.AdjustTickRate(), R.Result);
        EXPECT_EQ(Probe(Account).RunDelay(), R.DelayMs);
        Account.RemoveAllObjects();
        EXPECT_EQ(Probe(Account).RunDelay(), R.DelayMs) << "draining is no reason for another pace";
    }
}

TEST_F(LoopsTest, TurnComesWhenMoreThanTheDelayHasPassedAndSendsOneCommand)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    Account.AddCommand(METHOD_READ, CMD_ACCESS_PERSONS_LIST, "", "", "", "");
    m_Cloud.OnRequest = [&](const std::string&) { m_Clock.Advance(50000); };
    m_Cloud.Reply(204, "");

    m_Clock.Advance(333);
    RunWorker(Account, 1);
    EXPECT_TRUE(m_Cloud.TakeRequests().empty()) << "333 ms are not more than 333 ms";
    RunWorker(Account, 1);
    EXPECT_EQ(m_Cloud.TakeRequests().size(), 1u);
    EXPECT_EQ(Queued(Account), Lines{"2 7 |||"});
    EXPECT_EQ(Probe(Account).RunDelay(), 1500u);
    EXPECT_EQ(Probe(Account).RunTimer().QXTickCount(), 100u) << "the exchange does not count for the wait";
    RunWorker(Account, 15);
    EXPECT_TRUE(m_Cloud.TakeRequests().empty());
    m_Cloud.Reply(200, "{\"data\":[]}");
    RunWorker(Account, 1);
    EXPECT_EQ(m_Cloud.TakeRequests().size(), 1u) << "at 1600 ms, the first pass after 1500";
    EXPECT_EQ(Probe(Account).RunDelay(), 1500u) << "the reply that waits counts";
    DropQueued(Account);
}

TEST_F(LoopsTest, ShutDownComesBeforeTheTurnThatIsDue)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.TraceEnabled(1);
    Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    m_Clock.Advance(20000);
    Probe(Account).StatusPollTimer().SetElapsed(13001);
    Probe(Account).AccessPollTimer().SetElapsed(57999);
    m_Journal.Take();
    Account.NetworkBridge()->ShuttingDown(1);
    EXPECT_EQ(Account.Run(), 0);
    EXPECT_EQ(TakeEffects(), Lines{"trace: -- ShutDownFlag --"});
    EXPECT_EQ(Account.NCommands(), 1);
    EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), 13001u) << "only ever forwards";
    EXPECT_EQ(Probe(Account).AccessPollTimer().QXTickCount(), 58000u);
}

TEST_F(LoopsTest, RefreshAndItsSendingShareATurnAndPutThePollsOff)
{
    CVestaraInterface& Account = AddReadyAccount();
    m_Cloud.Reply(200, "{\"access_token\":\"access-2\",\"refresh_token\":\"refresh-2\",\"expires_in\":7200}");
    Probe(Account).StatusPollTimer().SetElapsed(20000);
    Probe(Account).AccessPollTimer().SetElapsed(70000);
    Probe(Account).TokenTimer().SetElapsed(6600000);
    m_Clock.Advance(3001);
    RunWorker(Account, 1);
    ASSERT_EQ(m_Cloud.TakeRequests().size(), 1u);
    // Restarted by the refresh, then brought to the head start by the end of the worker.
    EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), 13000u);
    EXPECT_EQ(Probe(Account).AccessPollTimer().QXTickCount(), 58000u);
    EXPECT_EQ(Account.NResponses(), 1);
}

TEST_F(LoopsTest, TurnWithoutATokenTellsTheLocksSlowsDownAndMakesARefreshDue)
{
    CVestaraInterface& Account = AddAccount();
    RecordingLock Lock(m_Journal, Account, "dev-1");
    Probe(Account).Authorized() = 1;
    Probe(Account).StatusPollTimer().SetElapsed(20000);
    Account.TraceEnabled(1);
    m_Clock.Advance(3001);
    RunWorker(Account, 1);
    EXPECT_EQ(
        TakeEffects(),
        (Lines{"report vestarai 729: Refresh Token is Empty - cannot re-authenticate", "Sleep 7000",
               "trace: ClientBroadcast message: [0] to [1] clients", "dev-1 Error Authentication Lost",
               "trace: Missing/bad AccessToken [0:%s] - delaying RunIdle", "trace: -- ShutDownFlag --"}));
    EXPECT_EQ(Probe(Account).RunDelay(), 10000u);
    EXPECT_EQ(Probe(Account).TokenTimer().QXTickCount(), 7200100u) << "after the broadcast's 6600000";
    EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), 13000u);

    // The slow pace holds while nothing waits.
    RunWorker(Account, 100);
    EXPECT_TRUE(m_Journal.TakeReports().empty());
    RunWorker(Account, 1);
    EXPECT_EQ(m_Journal.TakeReports().size(), 1u) << "the next turn comes after more than 10000 ms";
}

TEST_F(LoopsTest, IdleCallTakesOneReplyThenHousekeepsThenPolls)
{
    CVestaraInterface& Account = AddReadyAccount();
    AddWaitingReply(Account), AddWaitingReply(Account);
    m_Journal.Take();
    Probe(Account).NotifyConfig() = 1;
    Probe(Account).HousekeepingTimer().SetElapsed(3001);
    Probe(Account).StatusPollTimer().SetElapsed(15001);
    Account.TraceEnabled(1);
    Account.OnInterfaceIdle();
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: ProcessingResponse [10]", "report vestarai 1058: Unhandled CommandID",
                     "trace: NotifyConfigChanged", "NotifyConfigChanged vestarai 406",
                     "trace: [2] commands queued [S:1][R:1]", "trace: RunIdle delay [333]"}));
    EXPECT_EQ(Account.NResponses(), 1);
}

TEST_F(LoopsTest, HousekeepingDoesWhatWasDeferredOnceAndRestartsTheSystemFromInsideTheIdleCall)
{
    CVestaraInterface& Account = AddReadyAccount();
    AddLock(Account, "dev-1", "Front");
    AddLock(Account, "dev-2", "Back");
    Probe(Account).RemoveDevices() = 1;
    Probe(Account).NotifyInterface() = 1;
    Probe(Account).HousekeepingTimer().Restart();
    m_Clock.Advance(3000);
    m_pSystem->RunOnce();
    EXPECT_EQ(TakeEffects(), Lines{}) << "not before more than 3000 ms";
    m_Clock.Advance(1);
    m_pSystem->RunOnce();
    // The notices are traced although tracing is off; the removal feeds the notice of the same turn.
    EXPECT_EQ(TakeEffects(),
              (Lines{"OnSystemExit1 vestarai 2849 0", "OnSystemInit", "OnPostSystemInit", "NotifyWrite",
                     "trace: NotifyConfigChanged", "NotifyConfigChanged vestarai 406",
                     "trace: NotifyInterfaceChanged", "NotifyInterfaceChanged"}));
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 0);
    m_Clock.Advance(3001);
    m_pSystem->RunOnce();
    EXPECT_EQ(TakeEffects(), Lines{}) << "once";

    Probe(Account).Master() = 0;
    Probe(Account).MasterPointer() = nullptr;
    m_Clock.Advance(3001);
    Account.OnInterfaceIdle();
    EXPECT_EQ(Account.IsMaster(), 1) << "an account without a master looks for one";
}

TEST_F(LoopsTest, PollsComeAtTheirThresholds)
{
    struct Row {
        const char *pToken, *pLocation;
        std::uint32_t StatusMs, AccessMs;
        Lines Queue, Traces;
        std::uint32_t StatusAfterMs, AccessAfterMs;
    };
    const Lines Both{"2 4 loc-1|||", "2 7 |||"};
    const Lines Missing{"Access Token missing"}, NoPlace{"Location ID missing"};
    for (const Row& R :
         {Row{"t", "loc-1", 15001, 60000, {Both[0]}, {}, 0, 60000},
          Row{"t", "loc-1", 15001, 60001, Both, {}, 0, 0},
          Row{"t", "loc-1", 15000, 60001, {}, {}, 15000, 60001}, Row{"", "", 15001, 60001, {}, Missing, 0, 0},
          Row{"t", "", 15001, 60001, {}, NoPlace, 15001, 60001}}) {
        SCOPED_TRACE(testing::Message()
                     << "[" << R.pToken << "][" << R.pLocation << "] " << R.StatusMs << " " << R.AccessMs);
        CVestaraInterface& Account = AddAccount();
        Probe(Account).AccessToken() = R.pToken;
        Probe(Account).LocationID() = R.pLocation;
        Probe(Account).StatusPollTimer().SetElapsed(R.StatusMs);
        Probe(Account).AccessPollTimer().SetElapsed(R.AccessMs);
        Account.TraceEnabled(1);
        Account.OnInterfaceIdle();
        EXPECT_EQ(Queued(Account), R.Queue);
        const Lines Traces = m_Journal.TakeTraces();
        if (R.Queue.empty()) {
            EXPECT_EQ(Traces, R.Traces);
        }
        EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), R.StatusAfterMs);
        EXPECT_EQ(Probe(Account).AccessPollTimer().QXTickCount(), R.AccessAfterMs);
        DropQueued(Account);
    }
}

TEST_F(LoopsTest, CounterThatWrapsAndClockThatJustStartedCostAPollOneMillisecond)
{
    // The first start tick lies just before the counter's wrap, the second one before its zero.
    for (const std::uint64_t StartMs : {0xFFFFFFFFull, 5000ull}) {
        SCOPED_TRACE(StartMs);
        m_Clock.SetUptime(StartMs);
        CVestaraInterface& Account = AddReadyAccount();
        const bool bWraps = StartMs > 13000;
        if (bWraps)
            Account.ResetUpdateTimers();
        EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), bWraps ? 0u : 12999u);
        m_Clock.Advance(bWraps ? 15001 : 2001);
        Account.OnInterfaceIdle();
        EXPECT_EQ(Account.NCommands(), 0);
        m_Clock.Advance(1);
        Account.OnInterfaceIdle();
        EXPECT_EQ(Account.NCommands(), bWraps ? 1 : 2);
        m_Journal.Take();
    }
}

} // namespace support
