// The configuration pages in every state of the account.

#include "tests/support/AccountTest.h"

namespace support
{

using PagesTest = AccountTest;

TEST_F(PagesTest, PropertyPageIsBuiltMarkedAndStored)
{
    CVestaraInterface& master = AddReadyAccount();
    CVestaraInterface& other = AddReadyAccount();
    Probe(other).LocationID() = "b";
    for (CVestaraInterface* account : {&master, &other}) {
        Offer(*account, {"a", "b", "b"});
        CPropertySet set;
        set.AddTextProperty("Name", "", 1023, 0);
        set.AddTextProperty("Type", "", 1024, 0);
        set.AddAction(20002, "");
        set.AddAction(20003, "");
        account->IFaceDoPropertyExchange(&set, PROPERTYSET_DDX_BUILD);
        EXPECT_EQ(set.Actions().size(), account == &master ? 2u : 0u);
        CSystemProperty& house = *set.Property(2001);
        EXPECT_EQ(Str(set.Property(2000)->Value()), "Select Location");
        EXPECT_EQ(Str(house.Choices().at(1).sName), "House b");
        EXPECT_EQ(house.SelectedIndex(), account == &master ? -1 : 2) << "the last match";
        EXPECT_EQ(house.UpdateDelegate(), static_cast<CPropertyUpdateDelegate*>(account));

        account->IFaceDoPropertyExchange(&set, PROPERTYSET_DDX_MARK);
        EXPECT_EQ(set.Property(1023)->AttribBits() + set.Property(1024)->AttribBits(), 8);
        house.SelectChoice(0);
        m_journal.Take();
        EXPECT_EQ(account->UpdateProperty(set.Property(1023), PROPERTY_UPDATE_BUILD, &set, 0, 0), 0);
        account->IFaceDoPropertyExchange(&set, PROPERTYSET_DDX_STORE);
        EXPECT_EQ(Str(account->LocationID()), "a");
        EXPECT_EQ(TakeEffects(), (Lines{"NotifyWrite", "NotifyWrite"})) << "the choice, then the page";
        Offer(*account, {"a", "b"});
        CQXMSG page;
        page.PutInt(1);
        account->SetExtBridgeConfig(&page);
        EXPECT_EQ(Str(account->LocationID()), "b");
    }
}

TEST_F(PagesTest, StatusAndExtendedPageFollowTheAccountsState)
{
    const Lines ask{"2 2 |||"};
    const char *kNeeded = "[ Authorization Needed ]", *kWait = "[ Discovering... ]",
               *kSelect = "Select Location";
    struct Row {
        const char* token;
        Lines candidates;
        int requested, context;
        const char* status;
        Lines queue;
        const char* page; // between "Location" and the flag word, of the same state
        Lines pageQueue;
        int requestedAfter; // by either
    };
    // clang-format off
    for (const Row& r :
         {Row{"", {"a", "b"}, 1, 0, kNeeded, {}, "0|1|'[ Authorization Needed ]'|", {}, 1},
          Row{"t", {}, 0, 0, kWait, ask, "0|1|'[ Discovering... ]'|", ask, 1},
          Row{"t", {}, 0, 1, kWait, {}, "0|1|'[ Discovering... ]'|", ask, 1},
          Row{"t", {}, 1, 0, kSelect, {}, "0|1|", {}, 1},
          Row{"t", {"l", "b", "l"}, 0, 1, kSelect, {}, "2|3|'House l'|'House b'|'House l'|", {}, 0},
          Row{"t", {"l"}, 0, 0, kSelect, {}, "0|1|'House l'|", {}, 0},
          Row{"t", {"a"}, 0, 0, kSelect, {}, "-1|1|'House a'|", {"2 5 a|||"}, 0}}) {
        // clang-format on
        SCOPED_TRACE(testing::Message() << r.token << " " << r.page << " " << r.requested << r.context);
        CVestaraInterface& account = AddAccount();
        Probe(account).AccessToken() = r.token;
        Probe(account).LocationID() = "l";
        Offer(account, r.candidates);
        Probe(account).LocationsRequested() = r.requested;
        CSystemProperty status(CSystemProperty::KIND_TEXT, "", 2000, 0);
        const auto context = static_cast<PROPERTY_UPDATE_CTX>(r.context);
        EXPECT_EQ(account.UpdateProperty(&status, context, nullptr, 0, 0), 1);
        EXPECT_EQ(Str(status.Value()), r.status);
        EXPECT_EQ(Queued(account), r.queue);
        EXPECT_EQ(Probe(account).LocationsRequested(), r.requestedAfter);

        DropQueued(account);
        Probe(account).LocationsRequested() = r.requested;
        Probe(account).Authorized() = 1;
        m_journal.Take();
        CQXMSG page;
        account.GetExtBridgeConfig(&page);
        // Only the copy of the flag word says who the master is.
        const int sent = account.IsMaster() ? account.Flags() | 0x2000000 : account.Flags() & ~0x2000000;
        EXPECT_EQ(Shown(page), std::string("33685504|0|'Location'|") + r.page + std::to_string(sent) + "|");
        EXPECT_EQ(Queued(account), r.pageQueue);
        EXPECT_EQ(Probe(account).LocationsRequested(), r.requestedAfter);
        EXPECT_EQ(account.Authorized(), *r.token != '\0') << "a missing token is broadcast";
        const bool selects = r.pageQueue == Lines{"2 5 a|||"};
        EXPECT_EQ(TakeEffects(), selects ? Lines{"NotifyWrite"} : Lines{});
        EXPECT_EQ(Str(account.LocationID()) + Str(account.LocationName()), selects ? "aHouse a" : "l");
    }
}

TEST_F(PagesTest, ExtendedPageTracesItsChoicesCountedFromOne)
{
    for (const auto& [candidates, effects] :
         {std::pair{Lines{"loc-1", "b"}, Lines{"trace: Location pre-selected: 1/2",
                                               "trace: Location added to list: [House loc-1][1]",
                                               "trace: Location added to list: [House b][2]"}},
          {Lines{"b"},
           Lines{"trace: Location pre-selected: 0/1", "trace: Single location pre-selected: [House b]",
                 "NotifyWrite", "trace: Single location query sent: [House b]"}}}) {
        CVestaraInterface& account = AddReadyAccount();
        account.TraceEnabled(1);
        Offer(account, candidates);
        CQXMSG page;
        account.GetExtBridgeConfig(&page);
        EXPECT_EQ(TakeEffectsButPace(), effects);
    }
}

TEST_F(PagesTest, ResetActionDropsTheAccount)
{
    for (const char* token : {"access-1", ""}) {
        CVestaraInterface& account = Serve("loc-1");
        Probe(account).AccessToken() = token;
        account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        EXPECT_EQ(account.ExecuteAction(20002, nullptr), 0);
        EXPECT_EQ(account.ExecuteAction(20003, nullptr), 1);
        const Lines cleanUp{"trace: Cleaning up Token/Identifiers and removing thermostats", "NotifyWrite"};
        EXPECT_EQ(TakeEffects(),
                  Lines{"trace: Resetting..."} + (*token ? cleanUp : Lines{}) + Lines{"NotifyWrite"});
        EXPECT_EQ(Str(account.NetworkBridge()->Name()), "Vestara Interface");
        EXPECT_EQ(account.NCommands(), 0) << "with and without a token";
        EXPECT_EQ(account.CanAccept(1084) * 10 + account.CanAccept(1085), 10);
    }
}

} // namespace support
