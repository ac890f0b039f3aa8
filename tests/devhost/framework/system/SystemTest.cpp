// The system's life: idle calls, restarts in place, workers, accounts, ids, clients, OAuth states, pages.

#include "devhost/framework/system/WorkerStop.h"
#include "tests/devhost/FakePlugin.h"
#include "tests/support/Clock.h"

#include <atomic>
#include <list>
#include <thread>

namespace
{

void RestartInPlace()
{
    CSystem::Instance()->OnSystemExit1("test", 1, 0);
    CSystem::Instance()->OnSystemInit();
    CSystem::Instance()->OnPostSystemInit();
}

} // namespace

TEST_F(SystemTest, IdleCallsMayRestartTheSystemAndRemoveComponents)
{
    const auto Accounts = RestartWithTwo();
    FakeInterface &First = Accounts.first, &Second = Accounts.second;
    AddLock(First, "a");
    AddLock(First, "b");
    FakeLock& Remover = AddLock(Second, "c");
    FakeLock& Neighbour = AddLock(Second, "d");
    FakeLock& Last = AddLock(Second, "e");
    First.OnIdle = [&] {
        First.OnIdle = [] {};
        m_pSystem->OnSystemExit1("test", 1, 0);
        Family()->DeleteComponent(Family()->Component(1), nullptr);
        Family()->DeleteComponent(Family()->Component(0), nullptr);
        m_pSystem->OnSystemInit();
        EXPECT_EQ(Second.Idles, 0) << "no idle call may run inside the restart";
        m_pSystem->OnPostSystemInit();
    };
    Remover.OnIdle = [&] {
        Family()->DeleteComponent(&Neighbour, nullptr);
        Family()->DeleteComponent(&Remover, nullptr);
    };
    m_pSystem->RunOnce();
    EXPECT_EQ(First.Idles, 1);
    EXPECT_EQ(Second.Idles, 1);
    EXPECT_EQ(Last.Idles, 1);
    EXPECT_EQ(First.Inits, 2);
    EXPECT_EQ(First.NClients(), 0);
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1);
    EXPECT_EQ(m_pSystem->Events().Count(), 1u);

    std::thread([&] { m_pSystem->OnSystemExit1("worker", 1, 0); }).join();
    EXPECT_TRUE(m_pSystem->IdleCallsOn());
    EXPECT_EQ(m_Journal.TakeReports().size(), 1u) << "refused";
}

TEST_F(SystemTest, RestartAndRemovalJoinWorkersThatSleep)
{
    devhost::WorkerSleeper Sleeper;
    devhost::TheFramework().pSleeper = &Sleeper;
    const auto Accounts = RestartWithTwo(true);
    FakeInterface &First = Accounts.first, &Second = Accounts.second;
    const auto AwaitRuns = [](FakeInterface& Account, int Runs) {
        while (Account.Runs < Runs || Account.Running == 0)
            std::this_thread::yield();
    };
    AwaitRuns(First, 1);
    AwaitRuns(Second, 1);
    m_pSystem->OnSystemExit1("test", 1, 0);
    EXPECT_EQ(First.Running + Second.Running, 0);
    First.OnRun = [] { throw 1; }; // ends that worker, and nothing else
    m_pSystem->OnSystemInit();
    m_pSystem->OnPostSystemInit();
    AwaitRuns(First, 2);
    AwaitRuns(Second, 2);

    int LastIdles = 0;
    First.OnIdle = [&] {
        if (LastIdles++ == 0)
            First.OnRun = [] {}; // its worker is joined
        RestartInPlace();
    };
    EXPECT_TRUE(m_pSystem->RemoveInterface(First.BridgeID()));
    EXPECT_GT(LastIdles, 0) << "its last reply may hold what its siblings need";
    EXPECT_EQ(
        m_Journal.TakeReports(),
        std::vector<std::string>{"worker 1: the worker ended by an error: an exception of an unknown type"});
    Second.OnIdle = [&] {
        EXPECT_EQ(Second.Running, 0);
        Second.Token = "last-reply";
        RestartInPlace();
    };
    EXPECT_EQ(m_pSystem->Stop(), "");
    EXPECT_EQ(Second.Running, 0);
    EXPECT_FALSE(m_pSystem->IdleCallsOn());
    EXPECT_NE(m_Store.Text.value_or("").find("last-reply"), std::string::npos);
    m_pSystem.reset(); // before the sleeper
}

TEST_F(SystemTest, LocksJoinOneListOnceAndLeaveItWithTheirAccountOrTheirLife)
{
    const auto Accounts = RestartWithTwo();
    FakeInterface &First = Accounts.first, &Second = Accounts.second;
    FakeLock& Lock = AddLock(First, "a");
    FakeLock& Kept = AddLock(Second, "b");
    First.AddClient(&Lock);
    First.AddClient(nullptr);
    Second.RemoveClient(&Lock);
    EXPECT_EQ(First.NClients(), 1) << "only its own list lets a client go";
    const std::string State = First.NewState();
    ASSERT_TRUE(m_pSystem->RemoveInterface(First.BridgeID()));
    EXPECT_FALSE(m_pSystem->RemoveInterface(12345));
    EXPECT_EQ(Lock.Bridge(), nullptr);
    EXPECT_EQ(Kept.Bridge(), Second.NetworkBridge());
    EXPECT_EQ(m_pSystem->Events().Count(), 1u);
    EXPECT_EQ(m_pSystem->TakeOAuthState(State), nullptr);

    FakeInterface& Third = AddInterface();
    Third.AddClient(&Lock); // claimed, and then by yet another one
    Second.AddClient(&Lock);
    EXPECT_EQ(Third.NClients(), 0);
    EXPECT_EQ(Second.Client(1), &Lock);
    EXPECT_EQ(Second.Client(2), nullptr);
    EXPECT_EQ(Second.Client(-1), nullptr);
    Family()->DeleteComponent(&Lock, nullptr);
    EXPECT_EQ(Second.NClients(), 1);
}

TEST_F(SystemTest, AClientListGrowsAndShrinksInOrderUnderAWalkOfAnotherThread)
{
    Restart();
    FakeInterface& Account = AddInterface();
    std::list<CBridgeClient> Clients;
    std::atomic<bool> Done{false};
    std::thread Walker([&] { // for the race detector
        while (!Done) {
            for (int i = 0; i < Account.NClients(); ++i)
                Account.Client(i);
        }
    });
    for (int i = 0; i < 40; ++i)
        Account.AddClient(&Clients.emplace_back(kFakeInterfaceType, 0));
    Clients.pop_front();
    Clients.erase(std::next(Clients.begin(), 20));
    Clients.pop_back();
    Done = true;
    Walker.join();
    ASSERT_EQ(Account.NClients(), 37);
    for (int i = 0; const CBridgeClient& Left : Clients)
        EXPECT_EQ(Account.Client(i++), &Left);
}

TEST_F(SystemTest, OAuthStatesAreRandomBoundAndUsedOnce)
{
    const auto Accounts = RestartWithTwo();
    FakeInterface &First = Accounts.first, &Second = Accounts.second;
    EXPECT_TRUE(m_pSystem->GetOAuthState(12345).IsEmpty()) << "no bridge, no state";
    const std::string Oldest = First.NewState();
    const std::string Other = Second.NewState();
    EXPECT_GE(Oldest.size(), 32u);
    EXPECT_NE(Oldest, Other);
    std::string Kept = First.NewState();
    for (int i = 0; i < 15; ++i)
        First.NewState();
    EXPECT_EQ(m_pSystem->TakeOAuthState(Oldest), nullptr) << "pushed out by newer ones of its bridge";
    EXPECT_EQ(m_pSystem->TakeOAuthState(Kept), First.NetworkBridge());
    EXPECT_EQ(m_pSystem->TakeOAuthState(Other), Second.NetworkBridge());
    EXPECT_EQ(m_pSystem->TakeOAuthState(Other), nullptr) << "used";
}

TEST_F(SystemTest, APageOutlivesTheRestartThatStoringItLeadsTo)
{
    Restart();
    FakeInterface& Account = AddInterface();
    int Stored = -1;
    Account.OnStore = [&](int Selected) {
        Stored = Selected;
        RestartInPlace();
        m_pSystem->Pages().Open(Account.BridgeID(), Account); // another build meanwhile
    };
    const auto pPage = m_pSystem->Pages().Open(Account.BridgeID(), Account);
    using Values = devhost::PropertyPage::Values;
    for (const Values& Refused : {Values{{2001, 2}}, Values{{2001, std::string("Cabin")}},
                                  Values{{2000, std::string("x")}}, Values{{4711, 0}}})
        EXPECT_TRUE(pPage->Store(Account, Refused)) << Refused.begin()->first;
    EXPECT_EQ(Stored, -1);
    EXPECT_FALSE(pPage->Store(Account, {{2001, 1}}));
    EXPECT_EQ(Stored, 1);
    pPage->Refresh();
    EXPECT_EQ(pPage->Set().Property(2001)->Choices().size(), 2u) << "cleared before it is filled again";
}

TEST_F(SystemTest, PagesThatChangeEachOtherAreBuiltAfterTheirNoticeAtABoundedRateAndThenClosed)
{
    support::ManualClock Clock;
    const auto Accounts = RestartWithTwo();
    FakeInterface &First = Accounts.first, &Second = Accounts.second;
    int Builds = 0;
    for (FakeInterface* pAccount : {&First, &Second}) {
        m_pSystem->Pages().Open(pAccount->BridgeID(), *pAccount);
        pAccount->OnBuild = [&] {
            ++Builds;
            m_pSystem->NotifyConfigChanged("test", 1); // as if the sibling's list had been emptied
        };
    }
    First.OnIdle = [&] {
        First.OnIdle = [] {};
        m_pSystem->NotifyConfigChanged("test", 1);
    };
    Clock.Advance(devhost::OpenPages::kRebuildMs);
    m_pSystem->RunOnce();
    EXPECT_EQ(Builds, 0) << "not in the round of the notice, which may still be changing what they show";
    const auto Run = [&](int Rounds) {
        for (int Round = 0; Round < Rounds; ++Round) {
            m_pSystem->RunOnce();
            Clock.Advance(50);
        }
    };
    Run(100);
    EXPECT_EQ(Builds, 2) << "once each in five seconds";
    Run(2);
    EXPECT_EQ(Builds, 4);
    Run(10000);
    EXPECT_LE(Builds, 2 * 24) << "pages that nobody looks at are closed after two minutes";
}
