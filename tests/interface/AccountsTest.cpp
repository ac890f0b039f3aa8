// Authorisation, refresh, and several accounts: master, shared tokens, names, broadcasts, removal.

#include "support/AccountTest.h"

namespace support
{

using AccountsTest = AccountTest;

TEST_F(AccountsTest, RefreshFallsDueTenMinutesBeforeExpiryInUnsignedArithmetic)
{
    m_Clock.SetUptime(0xFFFFFFFFull); // every age fits below it
    struct Row {
        std::int32_t LifetimeS;
        std::uint32_t AgeMs;
        int Due;
    };
    for (const Row& R : {Row{7200, 6599999, 0}, Row{7200, 6600000, 1}, Row{600, 0, 1}, Row{599, 7200000, 0},
                         Row{300, 4294667295u, 0}, Row{300, 4294667296u, 1}, Row{-1, 7200000, 0},
                         Row{4295568, 703, 0}, Row{4295568, 704, 1}}) {
        SCOPED_TRACE(testing::Message() << R.LifetimeS << " s, " << R.AgeMs << " ms");
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).Master() = 1;
        Probe(Account).TokenLifetime() = R.LifetimeS;
        Probe(Account).TokenTimer().SetElapsed(R.AgeMs);
        Probe(Account).MasterPointer() = &Account;
        EXPECT_EQ(Account.RefreshToken(), R.Due);
        EXPECT_EQ(Queued(Account), R.Due ? Lines{"1 1 |||"} : Lines{});
        Probe(Account).Master() = 0;
        EXPECT_EQ(Account.RefreshToken(), 0) << "only the master refreshes";
        DropQueued(Account);
    }
    CVestaraInterface& Account = AddReadyAccount();
    Probe(Account).Master() = 1;
    Probe(Account).RefreshToken() = "";
    m_Clock.SetUptime(1'000'000'000);
    m_Journal.Take();
    EXPECT_EQ(Account.RefreshToken() + Account.NCommands(), 0);
    EXPECT_EQ(TakeEffects(),
              (Lines{"report vestarai 729: Refresh Token is Empty - cannot re-authenticate", "Sleep 7000"}));
    EXPECT_EQ(Probe(Account).TokenTimer().QXTickCount(), 6607000u) << "delayed before the pause";
}

TEST_F(AccountsTest, AuthorizeAddressIsRebuiltAndTheCodeStaysWhereItArrived)
{
    CVestaraInterface& Master = AddAccount();
    CVestaraInterface& Other = AddAccount();
    m_pJournalled->OAuthState = "st%s";
    Probe(Master).RedirectSchema() = static_cast<OAUTH_REDIRECT_SCHEMA>(1);
    EXPECT_EQ(Str(Master.GetAuthURL()),
              "https://oauth.vestara.example/oauth/authorize?client_id="
              "90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb&response_type=code&"
              "redirect_uri=https://host.example/redirect/1&state=st%s");
    m_pJournalled->OAuthState = "next";
    const std::size_t Address = Str(Master.GetAuthURL()).find("redirect_uri=");
    EXPECT_EQ(Str(Master.GetActionURL(20002)).substr(Address),
              "redirect_uri=https://host.example/redirect/1&state=next");
    EXPECT_TRUE(Master.GetActionURL(20003).IsEmpty());

    Other.ProcessAuthCode("code%n");
    EXPECT_EQ(Str(Probe(Other).AuthCode()), "code%n");
    EXPECT_TRUE(Probe(Master).AuthCode().IsEmpty());
    EXPECT_EQ(Queued(Master), Lines{"0 0 |||"});
    EXPECT_EQ(Other.NCommands(), 0);
    DropQueued(Master);
}

TEST_F(AccountsTest, FirstMasterInBridgeOrderIsTakenElseTheAskerElectsItself)
{
    CVestaraInterface* Accounts[] = {&AddAccount(), &AddAccount(), &AddAccount()};
    EXPECT_TRUE(Accounts[0]->IsMaster() && !Accounts[1]->IsMaster()) << "the first account elects itself";
    struct Row {
        const char* pMasters; // which of the three are masters
        int Cached, Found;    // for the third; -1: none
    };
    for (const Row& R :
         {Row{"011", -1, 2}, Row{"010", -1, 1}, Row{"000", -1, 2}, Row{"100", 1, 1}, Row{"001", 0, 0}}) {
        SCOPED_TRACE(testing::Message() << R.pMasters << " cached " << R.Cached);
        for (int i = 0; i < 3; ++i)
            Probe(*Accounts[i]).Master() = R.pMasters[i] == '1';
        Probe(*Accounts[2]).MasterPointer() = R.Cached < 0 ? nullptr : Accounts[R.Cached];
        EXPECT_EQ(Accounts[2]->MasterInterface(), Accounts[R.Found]);
        EXPECT_EQ(Accounts[2]->IsMaster(), R.Found == 2 || R.pMasters[2] == '1');
    }
    EXPECT_EQ(TakeEffects(), Lines{}) << "an election saves and tells nothing";
}

TEST_F(AccountsTest, TokenShareMovesTheAccessTokenOnly)
{
    CVestaraInterface& Sibling = AddAccount();
    struct Row {
        int Master;
        const char *pSibling, *pCaller, *pSiblingAfter, *pCallerAfter, *pLine;
        int Result; // what went wrong is traced always
    };
    const char* kSkipped = "TokenShare skipped - Access or Refresh Token unchanged";
    const char* kFailed = "TokenShare failed - Access or Refresh Token missing";
    const char* kGiven = "Tokens requested from another interface";
    const char* kTaken = "Obtained tokens from the Master Interface";
    for (const Row& R : {Row{1, "A", "A", "A", "A", kSkipped, 0}, Row{1, "A", "", "A", "A", kGiven, 1},
                         Row{1, "A", "B", "A", "A", kGiven, 1}, Row{1, "", "B", "", "B", kFailed, 0},
                         Row{0, "A", "B", "B", "B", kTaken, 1}, Row{0, "A", "", "A", "", kFailed, 0}}) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(testing::Message() << R.Master << " " << R.pSibling << " " << R.pCaller << bTracing);
            Probe(Sibling).Master() = R.Master;
            Probe(Sibling).AccessToken() = R.pSibling;
            Sibling.TraceEnabled(bTracing);
            CQXString sToken(R.pCaller);
            EXPECT_EQ(Sibling.TokenShare(&sToken), R.Result);
            EXPECT_EQ(Str(Probe(Sibling).AccessToken()) + "," + Str(sToken),
                      R.pSiblingAfter + std::string(",") + R.pCallerAfter);
            EXPECT_EQ(m_Journal.TakeTraces(), !R.Result || bTracing ? Lines{R.pLine} : Lines{});
        }
    }
}

TEST_F(AccountsTest, TokenCheckAsksEverySiblingAndBelievesTheLast)
{
    CVestaraInterface* Accounts[] = {&AddAccount(), &AddAccount(), &AddAccount()};
    CVestaraInterface& Caller = *Accounts[1];
    struct Row {
        int Master;
        Lines Before, After; // the tokens of the three
        int Result;
    };
    for (const Row& R :
         {Row{0, {"A", "", ""}, {"A", "A", "A"}, 1}, Row{0, {"A", "", "A"}, {"A", "A", "A"}, 0},
          Row{2, {"x", "B", "A"}, {"B", "A", "A"}, 1}, Row{2, {"", "", ""}, {"", "", ""}, 0}}) {
        SCOPED_TRACE(testing::PrintToString(R.Before));
        for (std::size_t i = 0; i < 3; ++i) {
            Probe(*Accounts[i]).Master() = static_cast<int>(i) == R.Master;
            Probe(*Accounts[i]).AccessToken() = R.Before[i].c_str();
        }
        Probe(Caller).Authorized() = Probe(Caller).NotifyConfig() = 0;
        m_Journal.Take();
        EXPECT_EQ(Caller.TokenCheck(), R.Result);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(Str(Probe(*Accounts[i]).AccessToken()), R.After[i]) << i;
        EXPECT_EQ(Caller.Authorized() * 10 + Probe(Caller).NotifyConfig(), R.Result * 11);
        EXPECT_EQ(TakeEffects().back(),
                  R.Result ? "NotifyWrite"
                           : "trace: TokenCheck could not find another interface or was unsuccessful");
    }
}

TEST_F(AccountsTest, NewAccountTakesTheMastersTokenAndHasItsListBuiltAnew)
{
    CVestaraInterface& Master = AddReadyAccount();
    Offer(Master, {"a", "b"});
    Probe(Master).LocationsRequested() = 1;
    CVestaraInterface& Other = AddAccount();
    EXPECT_EQ(Str(Probe(Other).AccessToken()), "access-1");
    EXPECT_TRUE(Probe(Other).RefreshToken().IsEmpty());
    EXPECT_EQ(Candidates(Master), Lines{});
    EXPECT_EQ(Probe(Master).LocationsRequested(), 0);
    Offer(Master, {"a"});
    Master.OnInterfaceInit();
    EXPECT_EQ(Candidates(Master), Lines{"a"}) << "the master's own start leaves its list";
}

TEST_F(AccountsTest, RenamingFlagsTheCallerAndEmptiesTheListOfTheRenamed)
{
    CVestaraInterface& Caller = AddAccount();
    CVestaraInterface& Renamed = AddAccount();
    Probe(Caller).NotifyConfig() = Probe(Renamed).NotifyConfig() = 0;
    Offer(Caller, {"a"});
    Offer(Renamed, {"b"});
    m_Journal.Take();
    Renamed.TraceName("old");
    Caller.UpdateInterfaceName(&Renamed, "");
    EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"}) << "for the trace name; the bridge had its name";
    EXPECT_EQ(Candidates(Renamed), Lines{"b"});
    for (const Lines& Told : {Lines{"NotifyWrite"}, Lines{}}) { // the second time nothing is new
        Caller.UpdateInterfaceName(&Renamed, "50%s \"Lake\"");
        EXPECT_EQ(TakeEffects(), Told);
    }
    EXPECT_EQ(Str(Renamed.NetworkBridge()->Name()), "Vestara Interface (50%s \"Lake\")");
    EXPECT_EQ(Str(Renamed.TraceName()), Str(Renamed.NetworkBridge()->Name()));
    EXPECT_EQ(Candidates(Caller) + Candidates(Renamed), Lines{"a"});
    EXPECT_EQ(Probe(Caller).NotifyConfig() * 10 + Probe(Renamed).NotifyConfig(), 10);
}

TEST_F(AccountsTest, BroadcastTellsChangesOnly)
{
    CVestaraInterface& Account = AddReadyAccount();
    CVestaraInterface& Foreign = AddAccount();
    RecordingLock Busy(m_Journal, Account, "busy");
    Account.AddClient(&Foreign); // a client that is no lock
    RecordingLock Told(m_Journal, Account, "told");
    RecordingLock Idle(m_Journal, Account, "idle");
    m_Journal.Take();
    EXPECT_EQ(Account.ClientBroadcast(0), 0);
    EXPECT_FALSE(Busy.NeedAuth()) << "not authorised is what a start begins with";
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
    EXPECT_EQ(Account.ClientBroadcast(0), 0);
    EXPECT_EQ(TakeEffects(), Lines{});
    EXPECT_EQ(Account.ClientBroadcast(1), 4);
    EXPECT_FALSE(Busy.NeedAuth() || Told.NeedAuth() || Idle.NeedAuth());
    EXPECT_EQ(Account.ClientBroadcast(1), 1) << "the unchanged state";

    // A client that leaves meanwhile ends the walk, and the state counts as told.
    Busy.OnNote = [&] {
        Account.RemoveClient(&Told), Account.RemoveClient(&Idle), Account.RemoveClient(&Foreign);
    };
    EXPECT_EQ(Account.ClientBroadcast(0), 0);
    EXPECT_EQ(Account.Authorized(), 0);
    EXPECT_FALSE(Idle.NeedAuth());
}

TEST_F(AccountsTest, NobodyKeepsAPointerToAMasterThatWasUninstalled)
{
    CVestaraInterface& Master = AddReadyAccount();
    CVestaraInterface& Second = AddAccount();
    CVestaraInterface& Third = AddAccount();
    EXPECT_EQ(Second.IsOnlyInterface(), 0);
    AddLock(Master, "dev-1", "Front");
    AddLock(Second, "dev-2", "Back");
    m_pSystem->Events().Register(Master.BridgeID(), 99);
    Master.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    Offer(Second, {"a"});
    m_Journal.Take();
    EXPECT_EQ(Master.UnInstall(), 1) << "the event server's result";
    EXPECT_EQ(TakeEffects(), Lines{}) << "no restart";
    EXPECT_EQ(Master.NCommands() + Master.NClients(), 0);
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1) << "the other account's lock stays";
    EXPECT_EQ(Master.IsMaster(), 0);
    for (CVestaraInterface* pAccount : {&Master, &Second, &Third})
        EXPECT_EQ(Probe(*pAccount).MasterPointer(), nullptr);
    ASSERT_TRUE(m_pSystem->RemoveInterface(Master.BridgeID()));
    EXPECT_EQ(Third.MasterInterface(), &Third);
    EXPECT_EQ(Second.MasterInterface(), &Third);

    Offer(Third, {"a"});
    Second.UnInstall();
    EXPECT_EQ(Candidates(Third), Lines{}) << "the location of the removed account is free again";
    EXPECT_EQ(Third.IsMaster(), 1);
    ASSERT_TRUE(m_pSystem->RemoveInterface(Second.BridgeID()));
    EXPECT_EQ(Third.IsOnlyInterface(), 1);
    m_Journal.Take();
}

} // namespace support
