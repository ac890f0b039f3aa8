// Authorisation, refresh, and several accounts: master, shared tokens, names, broadcasts, removal.

#include "tests/support/AccountTest.h"

namespace support
{

using AccountsTest = AccountTest;

TEST_F(AccountsTest, RefreshFallsDueTenMinutesBeforeExpiryInUnsignedArithmetic)
{
    m_clock.SetUptime(0xFFFFFFFFull);               // every age fits below it
    CVestaraInterface& account = AddReadyAccount(); // the only one, so the master
    struct Row {
        std::int32_t lifetimeS;
        std::uint32_t ageMs;
        int due;
    };
    for (const Row& r : {Row{7200, 6599999, 0}, Row{7200, 6600000, 1}, Row{599, 7200000, 0},
                         Row{300, 4294667296u, 1}, Row{4295568, 703, 0}, Row{4295568, 704, 1}}) {
        SCOPED_TRACE(testing::Message() << r.lifetimeS << " s, " << r.ageMs << " ms");
        Probe(account).TokenLifetime() = r.lifetimeS;
        Probe(account).TokenTimer().SetElapsed(r.ageMs);
        EXPECT_EQ(account.RefreshToken(), r.due);
        EXPECT_EQ(Queued(account), r.due ? Lines{"1 1 |||"} : Lines{});
        DropQueued(account);
    }
    account.TraceEnabled(1);
    account.RefreshToken();
    EXPECT_EQ(m_journal.TakeTraces().back(), "Sending Token Refresh Command");
    Probe(account).Master() = 0;
    EXPECT_EQ(account.RefreshToken(), 0) << "only the master refreshes";
    Probe(account).Master() = 1;
    Probe(account).RefreshToken() = "";
    EXPECT_EQ(account.RefreshToken(), 0);
    // Delayed before the pause; the counter has wrapped in between, which costs one millisecond.
    EXPECT_EQ(Probe(account).TokenTimer().QXTickCount(), 6606999u);
    m_journal.Take();
}

TEST_F(AccountsTest, AuthorizeAddressIsRebuiltAndTheCodeStaysWhereItArrived)
{
    CVestaraInterface& master = AddAccount();
    CVestaraInterface& other = AddAccount();
    m_system->oauthState = "st%s";
    Probe(master).RedirectSchema() = static_cast<OAUTH_REDIRECT_SCHEMA>(1);
    EXPECT_EQ(Str(master.GetActionURL(20002)),
              "https://" VESTARA_OAUTH_HOST "/oauth/authorize?client_id="
              "90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb&response_type=code&"
              "redirect_uri=https://host.example/redirect/1&state=st%s");
    EXPECT_TRUE(master.GetActionURL(20003).IsEmpty());

    other.ProcessAuthCode("code%n");
    EXPECT_EQ(Str(Probe(other).AuthCode()), "code%n");
    EXPECT_EQ(Queued(master), Lines{"0 0 |||"});

    TakeEffects();
    m_system->AddInterface(kVestaraInterfaceType);
    EXPECT_EQ(TakeEffects().at(0), "GetOAuthState 0") << "built before there is a bridge, too";
}

TEST_F(AccountsTest, TokenCheckAsksEverySiblingAndBelievesTheLast)
{
    CBridge stranger(99, 134);
    m_system->strangers = {nullptr, &stranger};
    CVestaraInterface* accounts[] = {&AddAccount(), &AddAccount(), &AddAccount()}; // the first is the master
    CVestaraInterface& caller = *accounts[1];
    const std::string failed = "trace: TokenShare failed - Access or Refresh Token missing";
    const std::string unchanged = "trace: TokenShare skipped - Access or Refresh Token unchanged";
    const std::string given = "~trace: Tokens requested from another interface";
    const std::string taken = "~trace: Obtained tokens from the Master Interface";
    const std::string none = "trace: TokenCheck could not find another interface or was unsuccessful";
    const std::string broadcast = "~trace: ClientBroadcast message: [1] to [0] clients";
    struct Row {
        Lines before, after; // the tokens of the three
        Lines effects;
    };
    for (const Row& r : {Row{{"A", "", ""}, {"A", "A", "A"}, {given, taken, broadcast, "NotifyWrite"}},
                         Row{{"A", "B", "A"}, {"A", "A", "A"}, {given, unchanged, none}},
                         Row{{"", "B", ""}, {"", "B", "B"}, {failed, taken, broadcast, "NotifyWrite"}},
                         Row{{"", "", "C"}, {"", "", "C"}, {unchanged, failed, none}}}) {
        for (const bool tracing : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(r.before) + (tracing ? ", traced" : ""));
            for (std::size_t i = 0; i < 3; ++i) {
                Probe(*accounts[i]).AccessToken() = r.before[i].c_str();
                accounts[i]->TraceEnabled(tracing);
            }
            Probe(caller).Authorized() = Probe(caller).NotifyConfig() = 0;
            const bool shared = r.effects.back() != none;
            EXPECT_EQ(caller.TokenCheck(), shared);
            EXPECT_EQ(TakeEffects(), WithTracing(tracing, r.effects));
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_EQ(Str(Probe(*accounts[i]).AccessToken()), r.after[i]) << i;
            EXPECT_EQ(caller.Authorized() * 10 + Probe(caller).NotifyConfig(), shared ? 11 : 0);
        }
    }
}

TEST_F(AccountsTest, RenamingTellsWhatIsNewAndFlagsTheCaller)
{
    CVestaraInterface& caller = AddAccount();
    CVestaraInterface& renamed = AddAccount();
    Probe(caller).NotifyConfig() = Probe(renamed).NotifyConfig() = 0;
    for (const Lines& told : {Lines{"NotifyWrite"}, Lines{}}) {
        caller.UpdateInterfaceName(&renamed, "50%s \"Lake\"");
        EXPECT_EQ(TakeEffects(), told);
    }
    EXPECT_EQ(Str(renamed.NetworkBridge()->Name()), "Vestara Interface (50%s \"Lake\")");
    EXPECT_EQ(Probe(caller).NotifyConfig() * 10 + Probe(renamed).NotifyConfig(), 10);
}

TEST_F(AccountsTest, BroadcastTellsChangesOnly)
{
    CVestaraInterface& account = AddReadyAccount();
    CVestaraInterface& noLock = AddAccount();
    RecordingLock busy(m_journal, account, "busy");
    account.AddClient(&noLock);
    RecordingLock told(m_journal, account, "told");
    RecordingLock idle(m_journal, account, "idle");
    EXPECT_EQ(account.ClientBroadcast(0), 0) << "not authorised is what a start begins with";
    EXPECT_EQ(account.ClientBroadcast(1), 4);

    busy.RegisterWorking(1);
    CPortivoProbe::LockState(busy, CDoorLock::STATE_SECURED);
    CPortivoProbe::LockState(told, CDoorLock::STATE_SECURED);
    told.NeedAuth(1);
    m_journal.Take();
    EXPECT_EQ(account.ClientBroadcast(0), 4);
    EXPECT_EQ(TakeEffects(),
              (Lines{"busy Error Authentication Lost", "busy Working 0", "busy Unknown", "NotifyWrite",
                     "told Unknown", "NotifyWrite", "idle Error Authentication Lost"}));
    EXPECT_EQ(Probe(account).TokenTimer().QXTickCount(), 6600000u);
    EXPECT_EQ(account.ClientBroadcast(1), 4);
    EXPECT_FALSE(busy.NeedAuth() || told.NeedAuth() || idle.NeedAuth());
    EXPECT_EQ(account.ClientBroadcast(1), 1) << "the unchanged state";

    busy.onNote = [&] { account.RemoveClient(&idle); };
    EXPECT_EQ(account.ClientBroadcast(0), 0) << "a client that leaves meanwhile ends the walk";
}

TEST_F(AccountsTest, NobodyKeepsAPointerToAMasterThatWasUninstalled)
{
    CBridge stranger(99, 134);
    m_system->strangers = {nullptr, &stranger};
    CVestaraInterface& master = AddReadyAccount();
    CVestaraInterface& second = AddAccount();
    Offer(master, {"a"});
    CVestaraInterface& third = AddAccount();
    EXPECT_EQ(Candidates(master), Lines{}) << "the new account may have taken one";
    EXPECT_EQ(second.IsOnlyInterface(), 0);
    AddLock(master, "dev-1", "Front");
    AddLock(second, "dev-2", "Back");
    m_system->Events().Register(master.BridgeID(), 99);
    master.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    EXPECT_EQ(master.UnInstall(), 1) << "the event server's result";
    EXPECT_EQ(TakeEffects(), Lines{}) << "no restart";
    EXPECT_EQ(master.NCommands() + master.NClients(), 0);
    Probe(master).HousekeepingTimer().SetElapsed(3'001);
    master.OnInterfaceIdle(); // by a host that has not deleted it yet
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 1) << "the other account's lock stays";
    for (CVestaraInterface* account : {&master, &second, &third})
        EXPECT_EQ(Probe(*account).MasterPointer(), nullptr);
    EXPECT_EQ(third.MasterInterface(), &third);
    EXPECT_EQ(second.MasterInterface(), &third);
    Probe(second).Master() = 1;
    Probe(third).MasterPointer() = nullptr;
    EXPECT_EQ(third.MasterInterface(), &third) << "a master looks for no other";
    Probe(second).Master() = 0;

    Offer(third, {"a"});
    second.UnInstall();
    EXPECT_EQ(Candidates(third), Lines{}) << "the location of the removed account is free again";
    for (CVestaraInterface* account : {&master, &second})
        ASSERT_TRUE(m_system->RemoveInterface(account->BridgeID()));
    EXPECT_EQ(third.IsOnlyInterface(), 1);
}

} // namespace support
