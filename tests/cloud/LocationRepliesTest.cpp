// The list of candidate locations: what is offered, what other accounts have taken, and the walk that says
// so.

#include "tests/cloud/CloudTest.h"

namespace support
{

class LocationRepliesTest : public CloudTest
{
protected:
    static std::string Entry(const std::string& id, const std::string& name)
    {
        return R"({"type":"location","id":")" + id + R"(","name":")" + name + R"("})";
    }
};

TEST_F(LocationRepliesTest, WalkTakesTheEntryBehindAClaimedOne)
{
    struct {
        std::string before, claimed, after, untouched;
        // Untouched: claimed, but removed before the walk came to them; their accounts keep their lists.
    } const rows[] = {
        {"AB", "A", "A", ""},    {"ABC", "", "ABC", ""},   {"ABC", "B", "AB", ""},
        {"ABC", "C", "ABC", ""}, {"ABC", "AB", "AC", "B"}, {"ABCD", "ABCD", "AC", "BD"},
        {"AA", "A", "A", ""},    {"AOB", "", "AOB", ""}, // O is the account's own location
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before + ", claimed " + row.claimed);
        RemoveAccounts();
        CVestaraInterface& account = Serve("O");
        for (const char c : row.claimed)
            Offer(Serve(std::string(1, c).c_str()), {"other"});
        for (const char c : row.before)
            Offer(account, {std::string(1, c)});
        // The first candidate is listed once more, so nothing is added.
        Process(account, CMD_LOCATIONS_LIST,
                R"({"data":[)" + Entry(row.before.substr(0, 1), "Lake House") + "]}");
        std::string after, untouched;
        for (const std::string& id : Candidates(account))
            after += id;
        EXPECT_EQ(after, row.after);
        EXPECT_EQ(Probe(account).NotifyConfig(), !row.claimed.empty());
        for (const char c : row.claimed)
            if (!Candidates(*account.FindInterface(std::string(1, c).c_str())).empty())
                untouched += c;
        EXPECT_EQ(untouched, row.untouched);
        m_journal.Take();
    }
}

TEST_F(LocationRepliesTest, OfferOwnAndFreeLocationsOnce)
{
    CVestaraInterface& account = Serve("own");
    CVestaraInterface& sibling = Serve("taken");
    Offer(sibling, {"other"});
    account.UpdateInterfaceName(&account, "own");
    Probe(account).NotifyConfig() = 0;
    m_journal.Take();
    Expect(account, CMD_LOCATIONS_LIST,
           R"({"data":[)" + Entry("own", "own") + "," + Entry("free", "%s\\\"%n") + "," +
               Entry("taken", "Lake House") + "," + Entry("free", "again") + "]}",
           1,
           {"~trace: Checking [own:own] ...", "~trace: Already claimed: [own]",
            "~trace: Checking [%s\"%n:free] ...", "~trace: Adding: [free]",
            "~trace: Checking [Lake House:taken] ...", "~trace: Checking [again:free] ..."});
    EXPECT_EQ(Candidates(account), (Lines{"own", "free"}));
    EXPECT_EQ(Candidates(sibling), Lines{});
    EXPECT_EQ(Probe(account).NotifyConfig(), 1);

    // Of two accounts that serve a location the first is renamed, and offers its locations from a new list.
    CVestaraInterface& second = Serve("own");
    Expect(second, CMD_LOCATION_GET, R"({"data":[)" + Entry("own", "Barn") + "]}", 1, {"NotifyWrite"});
    EXPECT_EQ(Str(account.NetworkBridge()->Name()), "Vestara Interface (Barn)");
    EXPECT_EQ(Candidates(account), Lines{});
    EXPECT_EQ(Candidates(second), Lines{"own"}) << "served, but not by another location's account";
}

TEST_F(LocationRepliesTest, MalformedOnesAreReported)
{
    const std::string noData = "report vestarai 1152: 'data' node not found - aborting ProcessResponse";
    const std::string unknown = "report vestarai 1163: Unknown Location type: ";
    CVestaraInterface& account = Serve("own");
    Expect(account, 2, R"({"Data":[]})", 0, {noData});
    Expect(account, 2, R"({"data":[1]})", 0, {Missing("type"), unknown + "[]"});
    Expect(account, 2,
           R"({"data":[)" + Entry("a", "A") + R"(,{"type":"Location%s"},)" + Entry("c", "C") + "]}", 0,
           {unknown + "[Location%s]"});
    Expect(account, 2, R"({"data":[{"type":"location"}]})", 1, {Missing("id"), Missing("name")});
    EXPECT_EQ(Candidates(account), (Lines{"a", ""}));
}

} // namespace support
