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
    };
    for (const Row& R : {Row{0, 0, 2999, 3000}, Row{0, 0, 3001, 3001}, Row{1, 0, 10000, 1500},
                         Row{2, 3, 3000, 23}, Row{14, 0, 3000, 1}, Row{2048, 0, 3000, 0}}) {
        SCOPED_TRACE(testing::Message() << R.nCommands << "+" << R.nReplies << " at " << R.StartMs);
        CVestaraInterface& Account = AddAccount();
        for (int i = 0; i < R.nCommands; ++i)
            Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        for (int i = 0; i < R.nReplies; ++i)
            AddWaitingReply(Account);
        Probe(Account).RunDelay() = R.StartMs;
        EXPECT_EQ(Account.AdjustTickRate(), R.nCommands + R.nReplies);
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
}

TEST_F(LoopsTest, IdleCallTakesOneReplyAndHousekeepsWhichRestartsTheSystemFromInside)
{
    CVestaraInterface& Account = AddReadyAccount();
    AddLock(Account, "dev-1", "Front");
    for (int i = 0; i < 4; ++i)
        AddWaitingReply(Account);
    Probe(Account).RemoveDevices() = 1;
    Probe(Account).NotifyInterface() = 1;
    Probe(Account).HousekeepingTimer().Restart();
    m_Clock.Advance(3000);
    m_Journal.Take();
    const Lines Reply{"report vestarai 1058: Unhandled CommandID"};
    m_pSystem->RunOnce(3);
    EXPECT_EQ(TakeEffects(), Reply + Reply + Reply);
    m_pSystem->RunOnce(0);
    EXPECT_EQ(TakeEffects(), Reply) << "housekeeping not before more than 3000 ms";
    AddWaitingReply(Account);
    m_Journal.Take();
    m_Clock.Advance(1);
    m_pSystem->RunOnce();
    // The notices are traced although tracing is off; the removal feeds the notice of the same turn.
    EXPECT_EQ(TakeEffects(),
              (Reply + Lines{"OnSystemExit1 vestarai 2849 0", "OnSystemInit", "OnPostSystemInit",
                             "NotifyWrite", "trace: NotifyConfigChanged", "NotifyConfigChanged vestarai 406",
                             "trace: NotifyInterfaceChanged", "NotifyInterfaceChanged"}));
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 0);

    Probe(Account).Master() = 0;
    Probe(Account).MasterPointer() = nullptr;
    m_Clock.Advance(3001);
    m_pSystem->RunOnce();
    EXPECT_EQ(TakeEffects(), Lines{}) << "once";
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
    const std::string Status = "2 4 loc-1|||", Access = "2 7 |||";
    const Lines NoToken{"trace: Access Token missing"}, NoPlace{"trace: Location ID missing"};
    for (const Row& R :
         {Row{"t", "loc-1", 15001, 60000, {Status}, {}, 0, 60000},
          Row{"t", "loc-1", 15001, 60001, {Status, Access}, {}, 0, 0},
          Row{"t", "loc-1", 15000, 60001, {}, {}, 15000, 60001}, Row{"", "", 15001, 60001, {}, NoToken, 0, 0},
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
        EXPECT_EQ(TakeEffectsButPace(), R.Traces);
        EXPECT_EQ(Probe(Account).StatusPollTimer().QXTickCount(), R.StatusAfterMs);
        EXPECT_EQ(Probe(Account).AccessPollTimer().QXTickCount(), R.AccessAfterMs);
    }
}

} // namespace support
