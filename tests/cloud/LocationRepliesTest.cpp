// The list of candidate locations: what is offered, what other accounts have taken, and the walk that says
// so.

#include "support/AccountTest.h"

#include <map>

namespace support
{

class LocationReplies : public AccountTest
{
protected:
    static std::string Entry(const std::string& ID, const std::string& Name)
    {
        return R"({"type":"location","id":")" + ID + R"(","name":")" + Name + R"("})";
    }
};

TEST_F(LocationReplies, WalkTakesTheEntryBehindAClaimedOne)
{
    struct {
        std::string Before, Claimed, After, Untouched;
        // Untouched: claimed, but removed before the walk came to them; their accounts keep their lists.
        // clang-format off
    } const Rows[] = {
        {"A", "A", "A", ""},     {"AB", "A", "A", ""},    {"ABC", "", "ABC", ""},   {"ABC", "A", "AC", ""},
        {"ABC", "B", "AB", ""},  {"ABC", "C", "ABC", ""}, {"ABC", "AB", "AC", "B"}, {"ABC", "BC", "AB", "C"},
        {"ABC", "ABC", "AC", "B"}, {"ABCD", "ABCD", "AC", "BD"},
        {"AA", "A", "A", ""},
        {"AOB", "", "AOB", ""}, // O is the account's own location
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Before + ", claimed " + Row.Claimed);
        while (m_pSystem->NBridges() > 0)
            m_pSystem->RemoveInterface(m_pSystem->Bridge(0)->ID());
        CVestaraInterface& Account = Serve("O");
        std::map<char, CVestaraInterface*> Siblings;
        for (const char c : Row.Claimed) {
            Siblings[c] = &Serve(std::string(1, c).c_str());
            Offer(*Siblings[c], {"other"});
        }
        for (const char c : Row.Before)
            Offer(Account, {std::string(1, c)});
        // The first candidate is listed once more, so nothing is added.
        const std::string First = Row.Before.substr(0, 1);
        EXPECT_EQ(Process(Account, CMD_LOCATIONS_LIST, R"({"data":[)" + Entry(First, "Lake House") + "]}"),
                  1);
        std::string After;
        for (const std::string& ID : Candidates(Account))
            After += ID;
        EXPECT_EQ(After, Row.After);
        EXPECT_EQ(Probe(Account).NotifyConfig(), !Siblings.empty());
        for (const auto& [Name, pSibling] : Siblings)
            EXPECT_EQ(Candidates(*pSibling).empty(), Row.Untouched.find(Name) == std::string::npos) << Name;
        m_Journal.Take();
    }
}

TEST_F(LocationReplies, OfferOwnAndFreeLocationsOnce)
{
    CVestaraInterface& Account = Serve("own");
    CVestaraInterface& Sibling = Serve("taken");
    Offer(Sibling, {"other"});
    Account.UpdateInterfaceName(&Account, "own");
    m_Journal.Take();
    Probe(Account).NotifyConfig() = 0;
    Account.TraceEnabled(1);
    const std::string Json = R"({"data":[)" + Entry("own", "own") + "," + Entry("free", "%s\\\"%n") + "," +
                             Entry("taken", "Lake House") + "," + Entry("free", "again") + "]}";
    EXPECT_EQ(Process(Account, CMD_LOCATIONS_LIST, Json), 1);
    EXPECT_EQ(TakeEffects(), (Lines{"trace: ProcessingResponse [2]", "trace: Checking [own:own] ...",
                                    "trace: Already claimed: [own]", "trace: Checking [%s\"%n:free] ...",
                                    "trace: Adding: [free]", "trace: Checking [Lake House:taken] ...",
                                    "trace: Checking [again:free] ..."}));
    EXPECT_EQ(Candidates(Account), (Lines{"own", "free"}));
    EXPECT_EQ(Candidates(Sibling), Lines{});
    EXPECT_EQ(Probe(Account).NotifyConfig(), 1);
    Probe(Account).NotifyConfig() = 0;
    EXPECT_EQ(Process(Account, CMD_LOCATION_GET, R"({"data":[)" + Entry("own", "own") + "]}"), 1);
    EXPECT_EQ(Probe(Account).NotifyConfig(), 0);

    // Of two accounts that serve a location the first is renamed, and offers its locations from a new list.
    CVestaraInterface& Second = Serve("own");
    EXPECT_EQ(Process(Second, CMD_LOCATIONS_LIST, R"({"data":[)" + Entry("own", "Barn") + "]}"), 1);
    EXPECT_EQ(TakeEffects(), Lines{"NotifyWrite"});
    EXPECT_EQ(Str(Account.NetworkBridge()->Name()), "Vestara Interface (Barn)");
    EXPECT_EQ(Str(Second.NetworkBridge()->Name()), "Vestara Interface (Lake House)");
    EXPECT_EQ(Str(Account.LocationName()), "Lake House");
    EXPECT_EQ(Candidates(Account), Lines{});
    EXPECT_EQ(Candidates(Second), Lines{"own"}) << "served, but not by another location's account";
}

TEST_F(LocationReplies, MalformedOnesAreReported)
{
    const std::string NoId = "report vestarai 3023: \"id\" not identified";
    const std::string NoName = "report vestarai 3023: \"name\" not identified";
    const std::string Unknown = "report vestarai 1163: Unknown Location type: ";
    struct {
        std::string Json;
        int Result;
        Lines Effects, Candidates;
        // clang-format off
    } const Rows[] = {
        {R"({"Data":[]})", 0, {"report vestarai 1152: 'data' node not found - aborting ProcessResponse"}, {}},
        {R"({"data":"x"})", 1, {}, {}},
        {R"({"data":[1]})", 0, {"report vestarai 3023: \"type\" not identified", Unknown + "[]"}, {}},
        {R"({"data":[)" + Entry("a", "A") + R"(,{"type":"Location%s"},)" + Entry("c", "C") + "]}", 0,
         {Unknown + "[Location%s]"}, {"a"}},
        {R"({"data":{"x":{"type":"location","attributes":{"id":7}}}})", 1, {NoName}, {"7"}},
        {R"({"data":[{"type":"location"}]})", 1, {NoId, NoName}, {""}},
    };
    // clang-format on
    CVestaraInterface& Account = Serve("own");
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        Account.RemoveAllLocations();
        EXPECT_EQ(Process(Account, CMD_LOCATIONS_LIST, Row.Json), Row.Result);
        EXPECT_EQ(TakeEffects(), Row.Effects);
        EXPECT_EQ(Candidates(Account), Row.Candidates);
    }
}

} // namespace support
