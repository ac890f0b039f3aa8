// The system's life: idle calls, restarts in place, workers, accounts, ids, clients, OAuth states, pages.

#include "devhost/framework/WorkerStop.h"
#include "tests/devhost/controller/FakePlugin.h"
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

TEST_F(SystemTest, RestartFromAnIdleCallThatRemovesComponentsLeavesTheRoundWhole)
{
    auto [First, Second] = RestartWithTwo();
    AddLock(First, "a");
    AddLock(First, "b");
    FakeLock& Kept = AddLock(Second, "c");
    First.OnIdle = [&] {
        First.OnIdle = {};
        m_pSystem->OnSystemExit1("test", 1, 0);
        Family()->DeleteComponent(Family()->Component(1), nullptr);
        Family()->DeleteComponent(Family()->Component(0), nullptr);
        EXPECT_EQ(Second.Idles, 0);
        m_pSystem->OnSystemInit();
        EXPECT_EQ(Second.Idles, 0) << "no idle call may run inside the restart";
        m_pSystem->OnPostSystemInit();
    };
    m_pSystem->RunOnce();
    EXPECT_EQ(First.Idles, 1);
    EXPECT_EQ(Second.Idles, 1);
    EXPECT_EQ(Kept.Idles, 1);
    EXPECT_EQ(First.Inits, 2);
    EXPECT_EQ(First.NClients(), 0);
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1);

    std::thread([&] { m_pSystem->OnSystemExit1("worker", 1, 0); }).join();
    EXPECT_TRUE(m_pSystem->IdleCallsOn());
    EXPECT_TRUE(Reported("refused"));
}

TEST_F(SystemTest, AComponentMayRemoveItselfAndItsNeighbourInItsIdleCall)
{
    Restart();
    FakeInterface& Owner = AddInterface();
    FakeLock& First = AddLock(Owner, "a");
    FakeLock& Next = AddLock(Owner, "b");
    FakeLock& Last = AddLock(Owner, "c");
    First.OnIdle = [&] {
        Family()->DeleteComponent(&Next, nullptr);
        Family()->DeleteComponent(&First, nullptr);
    };
    m_pSystem->RunOnce();
    EXPECT_EQ(Last.Idles, 1);
    EXPECT_EQ(m_pSystem->Events().Count(), 1u);
}

TEST_F(SystemTest, RestartAndRemovalJoinWorkersThatSleep)
{
    devhost::WorkerSleeper Sleeper;
    devhost::TheFramework().pSleeper = &Sleeper;
    auto [First, Second] = RestartWithTwo(true);
    while (First.Running == 0 || Second.Running == 0)
        std::this_thread::yield();

    First.OnIdle = [&] {
        First.OnIdle = {};
        m_pSystem->OnSystemExit1("test", 1, 0);
        EXPECT_EQ(First.Running + Second.Running, 0);
        m_pSystem->OnSystemInit();
        m_pSystem->OnPostSystemInit();
    };
    m_pSystem->RunOnce();
    while (First.Runs < 2 || Second.Runs < 2)
        std::this_thread::yield();

    int LastIdles = 0;
    First.OnIdle = [&] {
        ++LastIdles;
        RestartInPlace();
    };
    EXPECT_TRUE(m_pSystem->RemoveInterface(First.BridgeID()));
    EXPECT_GT(LastIdles, 0) << "its last reply may hold what its siblings need";
    while (Second.Running == 0) // started anew by the restart
        std::this_thread::yield();
    Second.OnIdle = [&] {
        if (Second.Running == 0)
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
    auto [First, Second] = RestartWithTwo();
    FakeLock& Lock = AddLock(First, "a");
    FakeLock& Kept = AddLock(Second, "b");
    First.AddClient(&Lock);
    First.AddClient(nullptr);
    Second.RemoveClient(&Lock);
    EXPECT_EQ(First.NClients(), 1) << "only its own list lets a client go";
    const std::string State = static_cast<char*>(First.GetAuthURL());
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
    auto [First, Second] = RestartWithTwo();
    std::list<CBridgeClient> Clients;
    std::atomic<bool> Done{false};
    std::thread Walker([&, &List = First] { // for the race detector
        while (!Done) {
            for (int i = 0; i < List.NClients(); ++i)
                List.Client(i);
        }
    });
    for (int i = 0; i < 40; ++i)
        First.AddClient(&Clients.emplace_back(kFakeInterfaceType, 0));
    Clients.pop_front();
    Clients.erase(std::next(Clients.begin(), 20));
    Clients.pop_back();
    Done = true;
    Walker.join();
    ASSERT_EQ(First.NClients(), 37);
    for (int i = 0; const CBridgeClient& Left : Clients)
        EXPECT_EQ(First.Client(i++), &Left);
}

TEST_F(SystemTest, OAuthStatesAreRandomBoundAndUsedOnce)
{
    auto [First, Second] = RestartWithTwo();
    EXPECT_EQ(First.StateAtConstruction, "") << "under construction there is no bridge yet";
    const std::string A = static_cast<char*>(First.GetAuthURL());
    const std::string B = static_cast<char*>(Second.GetAuthURL());
    EXPECT_GE(A.size(), 32u);
    EXPECT_NE(A, B);
    EXPECT_EQ(m_pSystem->TakeOAuthState(B), Second.NetworkBridge());
    EXPECT_EQ(m_pSystem->TakeOAuthState(B), nullptr) << "used";
    EXPECT_EQ(m_pSystem->TakeOAuthState(A), First.NetworkBridge());

    const std::string Oldest = static_cast<char*>(First.GetAuthURL());
    const std::string Other = static_cast<char*>(Second.GetAuthURL());
    for (int i = 0; i < 16; ++i)
        First.GetAuthURL();
    EXPECT_EQ(m_pSystem->TakeOAuthState(Oldest), nullptr) << "pushed out by newer ones of its bridge";
    EXPECT_EQ(m_pSystem->TakeOAuthState(Other), Second.NetworkBridge());
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
    for (const devhost::PropertyPage::Values& Refused :
         std::vector<devhost::PropertyPage::Values>{{{2001, 2}},
                                                    {{2001, -1}},
                                                    {{2001, std::string("Cabin")}},
                                                    {{2000, std::string("x")}},
                                                    {{4711, 0}}})
        EXPECT_TRUE(pPage->Store(Account, Refused)) << Refused.begin()->first;
    EXPECT_EQ(Stored, -1);
    EXPECT_FALSE(pPage->Store(Account, {{2001, 1}}));
    EXPECT_EQ(Stored, 1);
    pPage->Refresh();
    EXPECT_EQ(pPage->Set().Property(2001)->Choices().size(), 2u) << "cleared before it is filled again";
}

TEST_F(SystemTest, APageIsBuiltAgainInTheRoundAfterItsNotice)
{
    support::ManualClock Clock;
    Restart();
    FakeInterface& Account = AddInterface();
    m_pSystem->Pages().Open(Account.BridgeID(), Account);
    int Builds = 0;
    Account.OnBuild = [&] { ++Builds; };
    Account.OnIdle = [&] { m_pSystem->NotifyConfigChanged("test", 1); };
    Clock.Advance(devhost::OpenPages::kRebuildMs);
    m_pSystem->RunOnce();
    EXPECT_EQ(Builds, 0);
    m_pSystem->RunOnce();
    EXPECT_EQ(Builds, 1);
}

TEST_F(SystemTest, TwoPagesThatChangeEachOtherAreBuiltAtABoundedRateAndThenClosed)
{
    support::ManualClock Clock;
    auto [First, Second] = RestartWithTwo();
    int Builds = 0;
    for (FakeInterface* pAccount : {&First, &Second}) {
        pAccount->OnBuild = [&] {
            ++Builds;
            m_pSystem->NotifyConfigChanged("test", 1); // as if the sibling's list had been emptied
        };
        m_pSystem->Pages().Open(pAccount->BridgeID(), *pAccount);
    }
    const auto Run = [&](int Rounds) {
        for (int Round = 0; Round < Rounds; ++Round) {
            m_pSystem->RunOnce();
            Clock.Advance(50);
        }
    };
    m_pSystem->NotifyConfigChanged("test", 1);
    Run(1);
    EXPECT_EQ(Builds, 2) << "not at once";
    Run(100);
    EXPECT_EQ(Builds, 4) << "once each in five seconds";
    Run(10000);
    EXPECT_LE(Builds, 2 + 2 * 24) << "pages that nobody looks at are closed after two minutes";
}
