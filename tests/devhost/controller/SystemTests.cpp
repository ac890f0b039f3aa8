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
    Restart();
    FakeInterface& First = AddInterface();
    FakeInterface& Second = AddInterface();
    AddLock(First, "a");
    AddLock(First, "b");
    FakeLock& Kept = AddLock(Second, "c");
    First.OnIdle = [&] {
        First.OnIdle = {};
        m_pSystem->OnSystemExit1("test", 1, 0);
        CSystemFamily* pFamily = m_pSystem->FamilyByFamily(kFakeFamily);
        pFamily->DeleteComponent(pFamily->Component(1), nullptr);
        pFamily->DeleteComponent(pFamily->Component(0), nullptr);
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
}

TEST_F(SystemTest, AComponentMayRemoveItselfAndItsNeighbourInItsIdleCall)
{
    Restart();
    FakeInterface& Owner = AddInterface();
    FakeLock& First = AddLock(Owner, "a");
    FakeLock& Next = AddLock(Owner, "b");
    FakeLock& Last = AddLock(Owner, "c");
    First.OnIdle = [&] {
        CSystemFamily* pFamily = m_pSystem->FamilyByFamily(kFakeFamily);
        pFamily->DeleteComponent(&Next, nullptr);
        pFamily->DeleteComponent(&First, nullptr);
    };
    m_pSystem->RunOnce();
    EXPECT_EQ(Last.Idles, 1);
    EXPECT_EQ(m_pSystem->Events().Count(), 1u);
}

TEST_F(SystemTest, RestartAndRemovalJoinWorkersThatSleep)
{
    devhost::WorkerSleeper Sleeper;
    devhost::TheFramework().pSleeper = &Sleeper;
    Restart(true);
    FakeInterface& First = AddInterface();
    FakeInterface& Second = AddInterface();
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

    EXPECT_TRUE(m_pSystem->RemoveInterface(First.BridgeID()));
    EXPECT_EQ(Second.Running, 1);
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

TEST_F(SystemTest, RestartFromAnotherThreadIsRefused)
{
    Restart();
    std::thread([&] { m_pSystem->OnSystemExit1("worker", 1, 0); }).join();
    EXPECT_TRUE(m_pSystem->IdleCallsOn());
    EXPECT_TRUE(Reported("refused"));
}

TEST_F(SystemTest, ARemovedAccountLeavesItsLocksWithoutABridge)
{
    Restart();
    FakeInterface& Gone = AddInterface();
    FakeInterface& Other = AddInterface();
    FakeLock& Orphan = AddLock(Gone, "a");
    FakeLock& Kept = AddLock(Other, "b");
    const std::string State = static_cast<char*>(Gone.GetAuthURL());
    ASSERT_TRUE(m_pSystem->RemoveInterface(Gone.BridgeID()));
    EXPECT_EQ(Orphan.Bridge(), nullptr);
    EXPECT_EQ(Kept.Bridge(), Other.NetworkBridge());
    EXPECT_EQ(m_pSystem->Events().Count(), 1u);
    EXPECT_EQ(m_pSystem->TakeOAuthState(State), nullptr);
    EXPECT_FALSE(m_pSystem->RemoveInterface(12345));

    Other.AddClient(&Orphan); // claimed by the other account
    EXPECT_EQ(Other.NClients(), 2);
}

TEST_F(SystemTest, ClientsJoinOneListOnceAndLeaveItWhenTheyDie)
{
    Restart();
    FakeInterface& First = AddInterface();
    FakeInterface& Second = AddInterface();
    FakeLock& Client = AddLock(First, "a");
    First.AddClient(&Client);
    First.AddClient(nullptr);
    EXPECT_EQ(First.NClients(), 1);
    Second.RemoveClient(&Client);
    EXPECT_EQ(First.NClients(), 1) << "only its own list lets a client go";
    Second.AddClient(&Client);
    EXPECT_EQ(First.NClients(), 0);
    EXPECT_EQ(Second.Client(0), &Client);
    EXPECT_EQ(Second.Client(1), nullptr);
    EXPECT_EQ(Second.Client(-1), nullptr);
    m_pSystem->FamilyByFamily(kFakeFamily)->DeleteComponent(&Client, nullptr);
    EXPECT_EQ(Second.NClients(), 0);
    EXPECT_EQ(Second.Client(0), nullptr);

    // Past each length at which the list grows, and with a walk of another thread for the race detector.
    std::list<CBridgeClient> Many;
    std::atomic<bool> Done{false};
    std::thread Walker([&] {
        while (!Done) {
            for (int i = 0; i < First.NClients(); ++i)
                First.Client(i);
        }
    });
    for (int i = 0; i < 40; ++i)
        First.AddClient(&Many.emplace_back(kFakeInterfaceType, 0));
    Many.pop_front();
    Many.erase(std::next(Many.begin(), 20));
    Many.pop_back();
    Done = true;
    Walker.join();
    ASSERT_EQ(First.NClients(), 37);
    int i = 0;
    for (const CBridgeClient& Left : Many)
        EXPECT_EQ(First.Client(i++), &Left) << "in the order of joining";
    EXPECT_EQ(First.Client(37), nullptr);
}

TEST_F(SystemTest, OAuthStatesAreRandomBoundAndUsedOnce)
{
    Restart();
    FakeInterface& First = AddInterface();
    FakeInterface& Second = AddInterface();
    EXPECT_EQ(First.StateAtConstruction, "") << "under construction there is no bridge yet";
    const std::string A = static_cast<char*>(First.GetAuthURL());
    const std::string B = static_cast<char*>(Second.GetAuthURL());
    EXPECT_GE(A.size(), 32u);
    EXPECT_NE(A, B);
    EXPECT_EQ(m_pSystem->TakeOAuthState(B), Second.NetworkBridge());
    EXPECT_EQ(m_pSystem->TakeOAuthState(B), nullptr) << "used";
    EXPECT_EQ(m_pSystem->TakeOAuthState(A), First.NetworkBridge());
    EXPECT_EQ(m_pSystem->TakeOAuthState(""), nullptr);

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
    struct {
        devhost::PropertyPage::Values Values;
        bool Taken;
    } const Rows[] = {
        {{{2001, 2}}, false},
        {{{2001, -1}}, false},
        {{{2001, std::string("Cabin")}}, false},
        {{{2000, std::string("x")}}, false},
        {{{4711, 0}}, false},
        {{{2001, 1}}, true},
    };
    for (const auto& Row : Rows) {
        Stored = -1;
        const auto Fault = pPage->Store(Account, Row.Values);
        EXPECT_EQ(!Fault, Row.Taken) << Row.Values.begin()->first;
        EXPECT_EQ(Stored, Row.Taken ? 1 : -1) << Row.Values.begin()->first;
    }
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
    Restart();
    FakeInterface& First = AddInterface();
    FakeInterface& Second = AddInterface();
    int Builds = 0;
    for (FakeInterface* pAccount : {&First, &Second}) {
        pAccount->OnBuild = [&] {
            ++Builds;
            m_pSystem->NotifyConfigChanged("test", 1); // as if the sibling's list had been emptied
        };
        m_pSystem->Pages().Open(pAccount->BridgeID(), *pAccount);
    }
    m_pSystem->NotifyConfigChanged("test", 1);
    m_pSystem->RunOnce();
    EXPECT_EQ(Builds, 2) << "not at once";
    for (int Round = 0; Round < 100; ++Round) {
        Clock.Advance(50);
        m_pSystem->RunOnce();
    }
    EXPECT_EQ(Builds, 4) << "once each in five seconds";
    for (int Round = 0; Round < 10000; ++Round) {
        Clock.Advance(50);
        m_pSystem->RunOnce();
    }
    EXPECT_LE(Builds, 2 + 2 * 24) << "pages that nobody looks at are closed after two minutes";
}
