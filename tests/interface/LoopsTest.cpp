// The worker's turns and their pace, the host's idle call and its timers.

#include "tests/support/AccountTest.h"

namespace support
{

using LoopsTest = AccountTest;

TEST_F(LoopsTest, PaceFollowsTheCubeOfWhatWaits)
{
    struct Row {
        int commandCount, replyCount;
        std::uint32_t startMs, delayMs;
    };
    for (const Row& r : {Row{0, 0, 2999, 3000}, Row{0, 0, 3001, 3001}, Row{1, 0, 10000, 1500},
                         Row{2, 3, 3000, 23}, Row{14, 0, 3000, 1}, Row{2048, 0, 3000, 0}}) {
        SCOPED_TRACE(testing::Message() << r.commandCount << "+" << r.replyCount << " at " << r.startMs);
        CVestaraInterface& account = AddAccount();
        for (int i = 0; i < r.commandCount; ++i)
            account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        for (int i = 0; i < r.replyCount; ++i)
            AddWaitingReply(account);
        Probe(account).RunDelay() = r.startMs;
        EXPECT_EQ(account.AdjustTickRate(), r.commandCount + r.replyCount);
        account.RemoveAllObjects();
        EXPECT_EQ(Probe(account).RunDelay(), r.delayMs) << "draining is no reason for another pace";
    }
    CVestaraInterface& idle = AddAccount();
    idle.TraceEnabled(1);
    EXPECT_EQ(idle.AdjustTickRate(), 0);
    EXPECT_EQ(TakeEffects(), Lines{}) << "an idle pace stays as it is, and untold";
}

TEST_F(LoopsTest, TurnComesWhenMoreThanTheDelayHasPassedAndSendsOneCommand)
{
    CVestaraInterface& account = AddReadyAccount();
    account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    account.AddCommand(METHOD_READ, CMD_ACCESS_PERSONS_LIST, "", "", "", "");
    m_cloud.onRequest = [&](const std::string&) { m_clock.Advance(50000); };
    m_cloud.Reply(204, "");
    m_clock.Advance(333);
    RunWorker(account, 1);
    EXPECT_TRUE(m_cloud.TakeRequests().empty()) << "333 ms are not more than 333 ms";
    RunWorker(account, 1);
    EXPECT_EQ(m_cloud.TakeRequests().size(), 1u);
    EXPECT_EQ(Queued(account), Lines{"2 7 |||"});
    EXPECT_EQ(Probe(account).RunDelay(), 1500u);
    EXPECT_EQ(Probe(account).RunTimer().QXTickCount(), 100u) << "the exchange does not count for the wait";
}

TEST_F(LoopsTest, TurnWithoutATokenTellsTheLocksSlowsDownAndMakesARefreshDue)
{
    for (const bool tracing : {false, true}) {
        CVestaraInterface& account = AddAccount();
        RecordingLock lock(m_journal, account, "dev-1");
        Probe(account).Master() = 1;
        Probe(account).Authorized() = 1;
        Probe(account).StatusPollTimer().SetElapsed(20000);
        account.TraceEnabled(tracing);
        m_clock.Advance(3001);
        RunWorker(account, 1);
        EXPECT_EQ(
            TakeEffects(),
            WithTracing(tracing, {"report vestarai 729: Refresh Token is Empty - cannot re-authenticate",
                                  "Sleep 7000", "~trace: ClientBroadcast message: [0] to [1] clients",
                                  "dev-1 Error Authentication Lost",
                                  "~trace: Missing/bad AccessToken [0:%s] - delaying RunIdle",
                                  "~trace: -- ShutDownFlag --"}));
        EXPECT_EQ(Probe(account).RunDelay(), 10000u);
        EXPECT_EQ(Probe(account).TokenTimer().QXTickCount(), 7200100u) << "after the broadcast's 6600000";
        EXPECT_EQ(Probe(account).StatusPollTimer().QXTickCount(), 13000u);
        account.RemoveClient(&lock);
    }
}

TEST_F(LoopsTest, IdleCallTakesOneReplyAndHousekeepsWhichRestartsTheSystemFromInside)
{
    CVestaraInterface& account = AddReadyAccount();
    AddLock(account, "dev-1", "Front");
    for (int i = 0; i < 4; ++i)
        AddWaitingReply(account);
    Probe(account).RemoveDevices() = 1;
    Probe(account).NotifyInterface() = 1;
    Probe(account).HousekeepingTimer().Restart();
    m_clock.Advance(3000);
    m_journal.Take();
    const Lines reply{"report vestarai 1058: Unhandled CommandID"};
    m_system->RunOnce(3);
    EXPECT_EQ(TakeEffects(), reply + reply + reply);
    m_system->RunOnce(0);
    EXPECT_EQ(TakeEffects(), reply) << "housekeeping not before more than 3000 ms";
    AddWaitingReply(account);
    m_journal.Take();
    m_clock.Advance(1);
    m_system->RunOnce();
    // The notices are traced although tracing is off; the removal feeds the notice of the same turn.
    EXPECT_EQ(TakeEffects(),
              (reply + Lines{"OnSystemExit1 vestarai 2849 0", "OnSystemInit", "OnPostSystemInit",
                             "NotifyWrite", "trace: NotifyConfigChanged", "NotifyConfigChanged vestarai 406",
                             "trace: NotifyInterfaceChanged", "NotifyInterfaceChanged"}));
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 0);

    Probe(account).Master() = 0;
    Probe(account).MasterPointer() = nullptr;
    m_clock.Advance(3001);
    m_system->RunOnce();
    EXPECT_EQ(TakeEffects(), Lines{}) << "once";
    EXPECT_EQ(account.IsMaster(), 1) << "an account without a master looks for one";
}

TEST_F(LoopsTest, PollsComeAtTheirThresholds)
{
    struct Row {
        const char *token, *location;
        std::uint32_t statusMs, accessMs;
        Lines queue, traces;
        std::uint32_t statusAfterMs, accessAfterMs;
    };
    const std::string status = "2 4 loc-1|||", access = "2 7 |||";
    const Lines noToken{"~trace: Access Token missing"}, noPlace{"~trace: Location ID missing"};
    for (const Row& r :
         {Row{"t", "loc-1", 15001, 60000, {status}, {}, 0, 60000},
          Row{"t", "loc-1", 15001, 60001, {status, access}, {}, 0, 0},
          Row{"t", "loc-1", 15000, 60001, {}, {}, 15000, 60001}, Row{"", "", 15001, 60001, {}, noToken, 0, 0},
          Row{"t", "", 15001, 60001, {}, noPlace, 15001, 60001}}) {
        SCOPED_TRACE(testing::Message()
                     << "[" << r.token << "][" << r.location << "] " << r.statusMs << " " << r.accessMs);
        for (const bool tracing : {false, true}) {
            CVestaraInterface& account = AddAccount();
            Probe(account).AccessToken() = r.token;
            Probe(account).LocationID() = r.location;
            Probe(account).StatusPollTimer().SetElapsed(r.statusMs);
            Probe(account).AccessPollTimer().SetElapsed(r.accessMs);
            account.TraceEnabled(tracing);
            account.OnInterfaceIdle();
            EXPECT_EQ(Queued(account), r.queue);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(tracing, r.traces));
            EXPECT_EQ(Probe(account).StatusPollTimer().QXTickCount(), r.statusAfterMs);
            EXPECT_EQ(Probe(account).AccessPollTimer().QXTickCount(), r.accessAfterMs);
        }
    }
}

} // namespace support
