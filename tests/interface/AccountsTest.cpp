// Authorisation, refresh, and several accounts: master, shared tokens, names, broadcasts, removal.

#include "support/AccountTest.h"

namespace support
{

using AccountsTest = AccountTest;

TEST_F(AccountsTest, RefreshFallsDueTenMinutesBeforeExpiryInUnsignedArithmetic)
{
    m_Clock.SetUptime(0xFFFFFFFFull);               // every age fits below it
    CVestaraInterface& Account = AddReadyAccount(); // the only one, so the master
    struct Row {
        std::int32_t LifetimeS;
        std::uint32_t AgeMs;
        int Due;
    };
    for (const Row& R : {Row{7200, 6599999, 0}, Row{7200, 6600000, 1}, Row{599, 7200000, 0},
                         Row{300, 4294667296u, 1}, Row{4295568, 703, 0}, Row{4295568, 704, 1}}) {
        SCOPED_TRACE(testing::Message() << R.LifetimeS << " s, " << R.AgeMs << " ms");
        Probe(Account).TokenLifetime() = R.LifetimeS;
        Probe(Account).TokenTimer().SetElapsed(R.AgeMs);
        EXPECT_EQ(Account.RefreshToken(), R.Due);
        EXPECT_EQ(Queued(Account), R.Due ? Lines{"1 1 |||"} : Lines{});
        DropQueued(Account);
    }
    Probe(Account).Master() = 0;
    EXPECT_EQ(Account.RefreshToken(), 0) << "only the master refreshes";
    Probe(Account).Master() = 1;
    Probe(Account).RefreshToken() = "";
    EXPECT_EQ(Account.RefreshToken(), 0);
    // Delayed before the pause; the counter has wrapped in between, which costs one millisecond.
    EXPECT_EQ(Probe(Account).TokenTimer().QXTickCount(), 6606999u);
    m_Journal.Take();
}

TEST_F(AccountsTest, AuthorizeAddressIsRebuiltAndTheCodeStaysWhereItArrived)
{
    CVestaraInterface& Master = AddAccount();
    CVestaraInterface& Other = AddAccount();
    m_pSystem->OAuthState = "st%s";
    Probe(Master).RedirectSchema() = static_cast<OAUTH_REDIRECT_SCHEMA>(1);
    EXPECT_EQ(Str(Master.GetActionURL(20002)),
              "https://" VESTARA_OAUTH_HOST "/oauth/authorize?client_id="
              "90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb&response_type=code&"
              "redirect_uri=https://host.example/redirect/1&state=st%s");
    EXPECT_TRUE(Master.GetActionURL(20003).IsEmpty());

    Other.ProcessAuthCode("code%n");
    EXPECT_EQ(Str(Probe(Other).AuthCode()), "code%n");
    EXPECT_EQ(Queued(Master), Lines{"0 0 |||"});
}

TEST_F(AccountsTest, TokenCheckAsksEverySiblingAndBelievesTheLast)
{
    CVestaraInterface* Accounts[] = {&AddAccount(), &AddAccount(), &AddAccount()}; // the first is the master
    CVestaraInterface& Caller = *Accounts[1];
    const std::string Failed = "trace: TokenShare failed - Access or Refresh Token missing";
    const std::string Unchanged = "trace: TokenShare skipped - Access or Refresh Token unchanged";
    const std::string Given = "~trace: Tokens requested from another interface";
    const std::string Taken = "~trace: Obtained tokens from the Master Interface";
    const std::string None = "trace: TokenCheck could not find another interface or was unsuccessful";
    const std::string Broadcast = "~trace: ClientBroadcast message: [1] to [0] clients";
    struct Row {
        Lines Before, After; // the tokens of the three
        Lines Effects;
    };
    for (const Row& R : {Row{{"A", "", ""}, {"A", "A", "A"}, {Given, Taken, Broadcast, "NotifyWrite"}},
                         Row{{"A", "B", "A"}, {"A", "A", "A"}, {Given, Unchanged, None}},
                         Row{{"", "B", ""}, {"", "B", "B"}, {Failed, Taken, Broadcast, "NotifyWrite"}},
                         Row{{"", "", "C"}, {"", "", "C"}, {Unchanged, Failed, None}}}) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(R.Before) + (bTracing ? ", traced" : ""));
            for (std::size_t i = 0; i < 3; ++i) {
                Probe(*Accounts[i]).AccessToken() = R.Before[i].c_str();
                Accounts[i]->TraceEnabled(bTracing);
            }
            Probe(Caller).Authorized() = Probe(Caller).NotifyConfig() = 0;
            const bool bShared = R.Effects.back() != None;
            EXPECT_EQ(Caller.TokenCheck(), bShared);
            EXPECT_EQ(TakeEffects(), WithTracing(bTracing, R.Effects));
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_EQ(Str(Probe(*Accounts[i]).AccessToken()), R.After[i]) << i;
            EXPECT_EQ(Caller.Authorized() * 10 + Probe(Caller).NotifyConfig(), bShared ? 11 : 0);
        }
    }
}

TEST_F(AccountsTest, RenamingTellsWhatIsNewAndFlagsTheCaller)
{
    CVestaraInterface& Caller = AddAccount();
    CVestaraInterface& Renamed = AddAccount();
    Probe(Caller).NotifyConfig() = Probe(Renamed).NotifyConfig() = 0;
    for (const Lines& Told : {Lines{"NotifyWrite"}, Lines{}}) {
        Caller.UpdateInterfaceName(&Renamed, "50%s \"Lake\"");
        EXPECT_EQ(TakeEffects(), Told);
    }
    EXPECT_EQ(Str(Renamed.NetworkBridge()->Name()), "Vestara Interface (50%s \"Lake\")");
    EXPECT_EQ(Probe(Caller).NotifyConfig() * 10 + Probe(Renamed).NotifyConfig(), 10);
}

TEST_F(AccountsTest, BroadcastTellsChangesOnly)
{
    CVestaraInterface& Account = AddReadyAccount();
    CVestaraInterface& NoLock = AddAccount();
    RecordingLock Busy(m_Journal, Account, "busy");
    Account.AddClient(&NoLock);
    RecordingLock Told(m_Journal, Account, "told");
    RecordingLock Idle(m_Journal, Account, "idle");
    EXPECT_EQ(Account.ClientBroadcast(0), 0) << "not authorised is what a start begins with";
    EXPECT_EQ(Account.ClientBroadcast(1), 4);

    Busy.RegisterWorking(1);
    CPortivoProbe::LockState(Busy, CDoorLock::STATE_SECURED);
    CPortivoProbe::LockState(Told, CDoorLock::STATE_SECURED);
    Told.NeedAuth(1);
    m_Journal.Take();
    EXPECT_EQ(Account.ClientBroadcast(0), 4);
    EXPECT_EQ(TakeEffects(),
              (Lines{"busy Error Authentication Lost", "busy Working 0", "busy Unknown", "NotifyWrite",
                     "told Unknown", "NotifyWrite", "idle Error Authentication Lost"}));
    EXPECT_EQ(Probe(Account).TokenTimer().QXTickCount(), 6600000u);
    EXPECT_EQ(Account.ClientBroadcast(1), 4);
    EXPECT_FALSE(Busy.NeedAuth() || Told.NeedAuth() || Idle.NeedAuth());
    EXPECT_EQ(Account.ClientBroadcast(1), 1) << "the unchanged state";

    Busy.OnNote = [&] { Account.RemoveClient(&Idle); };
    EXPECT_EQ(Account.ClientBroadcast(0), 0) << "a client that leaves meanwhile ends the walk";
}

TEST_F(AccountsTest, NobodyKeepsAPointerToAMasterThatWasUninstalled)
{
    CVestaraInterface& Master = AddReadyAccount();
    CVestaraInterface& Second = AddAccount();
    Offer(Master, {"a"});
    CVestaraInterface& Third = AddAccount();
    EXPECT_EQ(Candidates(Master), Lines{}) << "the new account may have taken one";
    EXPECT_EQ(Second.IsOnlyInterface(), 0);
    AddLock(Master, "dev-1", "Front");
    AddLock(Second, "dev-2", "Back");
    m_pSystem->Events().Register(Master.BridgeID(), 99);
    Master.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    EXPECT_EQ(Master.UnInstall(), 1) << "the event server's result";
    EXPECT_EQ(TakeEffects(), Lines{}) << "no restart";
    EXPECT_EQ(Master.NCommands() + Master.NClients(), 0);
    Probe(Master).HousekeepingTimer().SetElapsed(3'001);
    Master.OnInterfaceIdle(); // by a host that has not deleted it yet
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1) << "the other account's lock stays";
    for (CVestaraInterface* pAccount : {&Master, &Second, &Third})
        EXPECT_EQ(Probe(*pAccount).MasterPointer(), nullptr);
    EXPECT_EQ(Third.MasterInterface(), &Third);
    EXPECT_EQ(Second.MasterInterface(), &Third);

    Offer(Third, {"a"});
    Second.UnInstall();
    EXPECT_EQ(Candidates(Third), Lines{}) << "the location of the removed account is free again";
    for (CVestaraInterface* pAccount : {&Master, &Second})
        ASSERT_TRUE(m_pSystem->RemoveInterface(pAccount->BridgeID()));
    EXPECT_EQ(Third.IsOnlyInterface(), 1);
}

} // namespace support
