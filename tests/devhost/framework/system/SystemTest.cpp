// The system's life: idle calls, restarts in place, workers, accounts, ids, clients, OAuth states, pages.

#include "devhost/framework/system/WorkerStop.h"
#include "tests/devhost/FakePlugin.h"
#include "tests/support/Clock.h"

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
    const auto accounts = RestartWithTwo();
    FakeInterface &first = accounts.first, &second = accounts.second;
    AddLock(first, "a");
    AddLock(first, "b");
    FakeLock& remover = AddLock(second, "c");
    FakeLock& neighbour = AddLock(second, "d");
    FakeLock& last = AddLock(second, "e");
    first.onIdle = [&] {
        first.onIdle = [] {};
        m_system->OnSystemExit1("test", 1, 0);
        Family()->DeleteComponent(Family()->Component(1), nullptr);
        Family()->DeleteComponent(Family()->Component(0), nullptr);
        m_system->OnSystemInit();
        EXPECT_EQ(second.idles, 0) << "no idle call may run inside the restart";
        m_system->OnPostSystemInit();
    };
    remover.onIdle = [&] {
        Family()->DeleteComponent(&neighbour, nullptr);
        Family()->DeleteComponent(&remover, nullptr);
    };
    m_system->RunOnce();
    EXPECT_EQ(first.idles, 1);
    EXPECT_EQ(second.idles, 1);
    EXPECT_EQ(last.idles, 1);
    EXPECT_EQ(first.inits, 2);
    EXPECT_EQ(first.NClients(), 0);
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 1);
    EXPECT_EQ(m_system->Events().Count(), 1u);

    std::thread([&] { m_system->OnSystemExit1("worker", 1, 0); }).join();
    EXPECT_TRUE(m_system->IdleCallsOn());
    EXPECT_EQ(m_journal.TakeReports().size(), 1u) << "refused";
}

TEST_F(SystemTest, RestartAndRemovalJoinWorkersThatSleep)
{
    devhost::WorkerSleeper sleeper;
    devhost::TheFramework().sleeper = &sleeper;
    const auto accounts = RestartWithTwo(true);
    FakeInterface &first = accounts.first, &second = accounts.second;
    const auto awaitRuns = [](FakeInterface& account, int runs) {
        while (account.runs < runs || account.running == 0)
            std::this_thread::yield();
    };
    awaitRuns(first, 1);
    awaitRuns(second, 1);
    m_system->OnSystemExit1("test", 1, 0);
    EXPECT_EQ(first.running + second.running, 0);
    first.onRun = [] { throw 1; }; // stops that worker for a while, and nothing else
    m_system->OnSystemInit();
    m_system->OnPostSystemInit();
    awaitRuns(first, 2);
    awaitRuns(second, 2);

    int lastIdles = 0;
    first.onIdle = [&] {
        if (lastIdles++ == 0)
            first.onRun = [] {}; // its worker is joined
        RestartInPlace();
    };
    EXPECT_TRUE(m_system->RemoveInterface(first.BridgeID()));
    EXPECT_GT(lastIdles, 0) << "its last reply may hold what its siblings need";
    EXPECT_EQ(m_journal.TakeReports(),
              std::vector<std::string>{"worker 1: the worker was stopped by an error and goes on in 10 s: "
                                       "an exception of an unknown type"});
    second.onIdle = [&] {
        EXPECT_EQ(second.running, 0);
        second.token = "last-reply";
        RestartInPlace();
    };
    EXPECT_EQ(m_system->Stop(), "");
    EXPECT_EQ(second.running, 0);
    EXPECT_FALSE(m_system->IdleCallsOn());
    EXPECT_NE(m_store.text.value_or("").find("last-reply"), std::string::npos);
    m_system.reset(); // before the sleeper
}

TEST_F(SystemTest, LocksJoinOneListOnceAndLeaveItWithTheirAccountOrTheirLife)
{
    const auto accounts = RestartWithTwo();
    FakeInterface &first = accounts.first, &second = accounts.second;
    FakeLock& lock = AddLock(first, "a");
    FakeLock& kept = AddLock(second, "b");
    first.AddClient(&lock);
    first.AddClient(nullptr);
    second.RemoveClient(&lock);
    EXPECT_EQ(first.NClients(), 1) << "only its own list lets a client go";
    const std::string state = first.NewState();
    ASSERT_TRUE(m_system->RemoveInterface(first.BridgeID()));
    EXPECT_FALSE(m_system->RemoveInterface(12345));
    EXPECT_EQ(lock.Bridge(), nullptr);
    EXPECT_EQ(kept.Bridge(), second.NetworkBridge());
    EXPECT_EQ(m_system->Events().Count(), 1u);
    EXPECT_EQ(m_system->TakeOAuthState(state), nullptr);

    FakeInterface& third = AddInterface();
    third.AddClient(&lock); // claimed, and then by yet another one
    second.AddClient(&lock);
    EXPECT_EQ(third.NClients(), 0);
    EXPECT_EQ(second.Client(1), &lock);
    EXPECT_EQ(second.Client(2), nullptr);
    EXPECT_EQ(second.Client(-1), nullptr);
    Family()->DeleteComponent(&lock, nullptr);
    EXPECT_EQ(second.NClients(), 1);
}

TEST_F(SystemTest, AClientListGrowsAndShrinksInOrder)
{
    Restart();
    FakeInterface& account = AddInterface();
    std::list<CBridgeClient> clients;
    for (int i = 0; i < 40; ++i)
        account.AddClient(&clients.emplace_back(kFakeInterfaceType, 0));
    clients.pop_front();
    clients.erase(std::next(clients.begin(), 20));
    clients.pop_back();
    ASSERT_EQ(account.NClients(), 37);
    for (int i = 0; const CBridgeClient& left : clients)
        EXPECT_EQ(account.Client(i++), &left);
}

TEST_F(SystemTest, OAuthStatesAreRandomBoundAndUsedOnce)
{
    const auto accounts = RestartWithTwo();
    FakeInterface &first = accounts.first, &second = accounts.second;
    EXPECT_TRUE(m_system->GetOAuthState(12345).IsEmpty()) << "no bridge, no state";
    const std::string oldest = first.NewState();
    const std::string other = second.NewState();
    EXPECT_GE(oldest.size(), 32u);
    EXPECT_NE(oldest, other);
    std::string kept = first.NewState();
    for (int i = 0; i < 15; ++i)
        first.NewState();
    EXPECT_EQ(m_system->TakeOAuthState(oldest), nullptr) << "pushed out by newer ones of its bridge";
    EXPECT_EQ(m_system->TakeOAuthState(kept), first.NetworkBridge());
    EXPECT_EQ(m_system->TakeOAuthState(other), second.NetworkBridge());
    EXPECT_EQ(m_system->TakeOAuthState(other), nullptr) << "used";
}

TEST_F(SystemTest, APageOutlivesTheRestartThatStoringItLeadsTo)
{
    Restart();
    FakeInterface& account = AddInterface();
    int stored = -1;
    account.onStore = [&](int selected) {
        stored = selected;
        RestartInPlace();
        m_system->Pages().Open(account.BridgeID(), account); // another build meanwhile
    };
    const auto page = m_system->Pages().Open(account.BridgeID(), account);
    using Values = devhost::PropertyPage::Values;
    for (const Values& refused : {Values{{2001, 2}}, Values{{2001, std::string("Cabin")}},
                                  Values{{2000, std::string("x")}}, Values{{4711, 0}}})
        EXPECT_TRUE(page->Store(account, refused)) << refused.begin()->first;
    EXPECT_EQ(stored, -1);
    EXPECT_FALSE(page->Store(account, {{2001, 1}}));
    EXPECT_EQ(stored, 1);
    page->Refresh();
    EXPECT_EQ(page->Set().Property(2001)->Choices().size(), 2u) << "cleared before it is filled again";
}

TEST_F(SystemTest, PagesThatChangeEachOtherAreBuiltAfterTheirNoticeAtABoundedRateAndThenClosed)
{
    support::ManualClock clock;
    const auto accounts = RestartWithTwo();
    FakeInterface &first = accounts.first, &second = accounts.second;
    int builds = 0;
    for (FakeInterface* account : {&first, &second}) {
        m_system->Pages().Open(account->BridgeID(), *account);
        account->onBuild = [&] {
            ++builds;
            m_system->NotifyConfigChanged("test", 1); // as if the sibling's list had been emptied
        };
    }
    first.onIdle = [&] {
        first.onIdle = [] {};
        m_system->NotifyConfigChanged("test", 1);
    };
    clock.Advance(devhost::OpenPages::kRebuildMs);
    m_system->RunOnce();
    EXPECT_EQ(builds, 0) << "not in the round of the notice, which may still be changing what they show";
    const auto run = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            m_system->RunOnce();
            clock.Advance(50);
        }
    };
    run(100);
    EXPECT_EQ(builds, 2) << "once each in five seconds";
    run(2);
    EXPECT_EQ(builds, 4);
    run(10000);
    EXPECT_LE(builds, 2 * 24) << "pages that nobody looks at are closed after two minutes";
}
