// The list of candidate locations: what is offered, what other accounts have taken, and the walk that says
// so.

#include "cloud/CloudTest.h"

namespace support
{

class LocationReplies : public CloudTest
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
    } const Rows[] = {
        {"AB", "A", "A", ""},    {"ABC", "", "ABC", ""},   {"ABC", "B", "AB", ""},
        {"ABC", "C", "ABC", ""}, {"ABC", "AB", "AC", "B"}, {"ABCD", "ABCD", "AC", "BD"},
        {"AA", "A", "A", ""},    {"AOB", "", "AOB", ""}, // O is the account's own location
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Before + ", claimed " + Row.Claimed);
        RemoveAccounts();
        CVestaraInterface& Account = Serve("O");
        for (const char c : Row.Claimed)
            Offer(Serve(std::string(1, c).c_str()), {"other"});
        for (const char c : Row.Before)
            Offer(Account, {std::string(1, c)});
        // The first candidate is listed once more, so nothing is added.
        Process(Account, CMD_LOCATIONS_LIST,
                R"({"data":[)" + Entry(Row.Before.substr(0, 1), "Lake House") + "]}");
        std::string After, Untouched;
        for (const std::string& ID : Candidates(Account))
            After += ID;
        EXPECT_EQ(After, Row.After);
        EXPECT_EQ(Probe(Account).NotifyConfig(), !Row.Claimed.empty());
        for (const char c : Row.Claimed)
            if (!Candidates(*Account.FindInterface(std::string(1, c).c_str())).empty())
                Untouched += c;
        EXPECT_EQ(Untouched, Row.Untouched);
        m_Journal.Take();
    }
}

TEST_F(LocationReplies, OfferOwnAndFreeLocationsOnce)
{
    CVestaraInterface& Account = Serve("own");
    CVestaraInterface& Sibling = Serve("taken");
    Offer(Sibling, {"other"});
    Account.UpdateInterfaceName(&Account, "own");
    Probe(Account).NotifyConfig() = 0;
    m_Journal.Take();
    Expect(Account, CMD_LOCATIONS_LIST,
           R"({"data":[)" + Entry("own", "own") + "," + Entry("free", "%s\\\"%n") + "," +
               Entry("taken", "Lake House") + "," + Entry("free", "again") + "]}",
           1,
           {"~trace: Checking [own:own] ...", "~trace: Already claimed: [own]",
            "~trace: Checking [%s\"%n:free] ...", "~trace: Adding: [free]",
            "~trace: Checking [Lake House:taken] ...", "~trace: Checking [again:free] ..."});
    EXPECT_EQ(Candidates(Account), (Lines{"own", "free"}));
    EXPECT_EQ(Candidates(Sibling), Lines{});
    EXPECT_EQ(Probe(Account).NotifyConfig(), 1);

    // Of two accounts that serve a location the first is renamed, and offers its locations from a new list.
    CVestaraInterface& Second = Serve("own");
    Expect(Second, CMD_LOCATION_GET, R"({"data":[)" + Entry("own", "Barn") + "]}", 1, {"NotifyWrite"});
    EXPECT_EQ(Str(Account.NetworkBridge()->Name()), "Vestara Interface (Barn)");
    EXPECT_EQ(Candidates(Account), Lines{});
    EXPECT_EQ(Candidates(Second), Lines{"own"}) << "served, but not by another location's account";
}

TEST_F(LocationReplies, MalformedOnesAreReported)
{
    const std::string NoData = "report vestarai 1152: 'data' node not found - aborting ProcessResponse";
    const std::string Unknown = "report vestarai 1163: Unknown Location type: ";
    CVestaraInterface& Account = Serve("own");
    Expect(Account, 2, R"({"Data":[]})", 0, {NoData});
    Expect(Account, 2, R"({"data":[1]})", 0, {Missing("type"), Unknown + "[]"});
    Expect(Account, 2,
           R"({"data":[)" + Entry("a", "A") + R"(,{"type":"Location%s"},)" + Entry("c", "C") + "]}", 0,
           {Unknown + "[Location%s]"});
    Expect(Account, 2, R"({"data":[{"type":"location"}]})", 1, {Missing("id"), Missing("name")});
    EXPECT_EQ(Candidates(Account), (Lines{"a", ""}));
}

} // namespace support
