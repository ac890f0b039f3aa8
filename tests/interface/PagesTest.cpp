// The configuration pages in every state of the account.

#include "support/AccountTest.h"

namespace support
{

using PagesTest = AccountTest;

TEST_F(PagesTest, PropertyPageIsBuiltMarkedAndStored)
{
    CVestaraInterface& Master = AddReadyAccount();
    CVestaraInterface& Other = AddReadyAccount();
    Probe(Other).LocationID() = "b";
    for (CVestaraInterface* pAccount : {&Master, &Other}) {
        Offer(*pAccount, {"a", "b", "b"});
        CPropertySet Set;
        Set.AddTextProperty("Name", "", 1023, 0);
        Set.AddTextProperty("Type", "", 1024, 0);
        Set.AddAction(20002, "");
        Set.AddAction(20003, "");
        pAccount->IFaceDoPropertyExchange(&Set, PROPERTYSET_DDX_BUILD);
        EXPECT_EQ(Set.Actions().size(), pAccount == &Master ? 2u : 0u);
        CSystemProperty& House = *Set.Property(2001);
        EXPECT_EQ(Str(Set.Property(2000)->Value()), "Select Location");
        EXPECT_EQ(Str(House.Choices().at(1).sName), "House b");
        EXPECT_EQ(House.SelectedIndex(), pAccount == &Master ? -1 : 2) << "the last match";
        EXPECT_EQ(House.UpdateDelegate(), static_cast<CPropertyUpdateDelegate*>(pAccount));

        pAccount->IFaceDoPropertyExchange(&Set, PROPERTYSET_DDX_MARK);
        EXPECT_EQ(Set.Property(1023)->AttribBits() + Set.Property(1024)->AttribBits(), 8);
        House.SelectChoice(0);
        m_Journal.Take();
        pAccount->IFaceDoPropertyExchange(&Set, PROPERTYSET_DDX_STORE);
        EXPECT_EQ(Str(pAccount->LocationID()), "a");
        EXPECT_EQ(TakeEffects(), (Lines{"NotifyWrite", "NotifyWrite"})) << "the choice, then the page";
    }
}

TEST_F(PagesTest, StatusAndExtendedPageFollowTheAccountsState)
{
    const Lines Ask{"2 2 |||"};
    const char *kNeeded = "[ Authorization Needed ]", *kWait = "[ Discovering... ]",
               *kSelect = "Select Location";
    struct Row {
        const char* pToken;
        Lines Candidates;
        int Requested, Context;
        const char* pStatus;
        Lines Queue;
        const char* pPage; // between "Location" and the flag word, of the same state
        Lines PageQueue;
        int RequestedAfter; // by either
    };
    // clang-format off
    for (const Row& R :
         {Row{"", {"a", "b"}, 1, 0, kNeeded, {}, "0|1|'[ Authorization Needed ]'|", {}, 1},
          Row{"t", {}, 0, 0, kWait, Ask, "0|1|'[ Discovering... ]'|", Ask, 1},
          Row{"t", {}, 0, 1, kWait, {}, "0|1|'[ Discovering... ]'|", Ask, 1},
          Row{"t", {}, 1, 0, kSelect, {}, "0|1|", {}, 1},
          Row{"t", {"l", "b", "l"}, 0, 1, kSelect, {}, "2|3|'House l'|'House b'|'House l'|", {}, 0},
          Row{"t", {"l"}, 0, 0, kSelect, {}, "0|1|'House l'|", {}, 0},
          Row{"t", {"a"}, 0, 0, kSelect, {}, "-1|1|'House a'|", {"2 5 a|||"}, 0}}) {
        // clang-format on
        SCOPED_TRACE(testing::Message() << R.pToken << " " << R.pPage << " " << R.Requested << R.Context);
        CVestaraInterface& Account = AddAccount();
        Probe(Account).AccessToken() = R.pToken;
        Probe(Account).LocationID() = "l";
        Offer(Account, R.Candidates);
        Probe(Account).LocationsRequested() = R.Requested;
        CSystemProperty Status(CSystemProperty::KIND_TEXT, "", 2000, 0);
        const auto eContext = static_cast<PROPERTY_UPDATE_CTX>(R.Context);
        EXPECT_EQ(Account.UpdateProperty(&Status, eContext, nullptr, 0, 0), 1);
        EXPECT_EQ(Str(Status.Value()), R.pStatus);
        EXPECT_EQ(Queued(Account), R.Queue);
        EXPECT_EQ(Probe(Account).LocationsRequested(), R.RequestedAfter);

        DropQueued(Account);
        Probe(Account).LocationsRequested() = R.Requested;
        Probe(Account).Authorized() = 1;
        m_Journal.Take();
        CQXMSG Page;
        Account.GetExtBridgeConfig(&Page);
        // Only the copy of the flag word says who the master is.
        const int iSent = Account.IsMaster() ? Account.Flags() | 0x2000000 : Account.Flags() & ~0x2000000;
        EXPECT_EQ(Shown(Page), std::string("33685504|0|'Location'|") + R.pPage + std::to_string(iSent) + "|");
        EXPECT_EQ(Queued(Account), R.PageQueue);
        EXPECT_EQ(Probe(Account).LocationsRequested(), R.RequestedAfter);
        EXPECT_EQ(Account.Authorized(), *R.pToken != '\0') << "a missing token is broadcast";
        const bool bSelects = R.PageQueue == Lines{"2 5 a|||"};
        EXPECT_EQ(TakeEffects(), bSelects ? Lines{"NotifyWrite"} : Lines{});
        EXPECT_EQ(Str(Account.LocationID()) + Str(Account.LocationName()), bSelects ? "aHouse a" : "l");
    }
}

TEST_F(PagesTest, ExtendedPageTracesItsChoicesCountedFromOne)
{
    for (const auto& [Candidates, Effects] :
         {std::pair{Lines{"loc-1", "b"}, Lines{"trace: Location pre-selected: 1/2",
                                               "trace: Location added to list: [House loc-1][1]",
                                               "trace: Location added to list: [House b][2]"}},
          {Lines{"b"},
           Lines{"trace: Location pre-selected: 0/1", "trace: Single location pre-selected: [House b]",
                 "NotifyWrite", "trace: Single location query sent: [House b]"}}}) {
        CVestaraInterface& Account = AddReadyAccount();
        Account.TraceEnabled(1);
        Offer(Account, Candidates);
        CQXMSG Page;
        Account.GetExtBridgeConfig(&Page);
        EXPECT_EQ(TakeEffectsButPace(), Effects);
    }
}

TEST_F(PagesTest, ResetActionDropsTheAccount)
{
    CVestaraInterface& Account = Serve("loc-1");
    EXPECT_EQ(Account.ExecuteAction(20002, nullptr), 0);
    EXPECT_EQ(Account.ExecuteAction(20003, nullptr), 1);
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: Resetting...", "trace: Cleaning up Token/Identifiers and removing thermostats",
                     "NotifyWrite", "NotifyWrite"}));
    EXPECT_EQ(Str(Account.NetworkBridge()->Name()), "Vestara Interface");
}

} // namespace support
