// The list of candidate locations: what is offered, what other accounts have taken, and the walk that says
// so.

#include "interface/LocationPair.h"
#include "support/TestHost.h"

#include <cstring>
#include <gmock/gmock.h>
#include <map>

namespace
{

using support::Lines;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class LocationReplies : public support::DriverTest
{
protected:
    // An account that serves a location, its bridge bears the name already, and it offers one candidate.
    CVestaraInterface& Serve(const char* LocationID)
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = LocationID;
        Account.UpdateInterfaceName(&Account, LocationID);
        Probe(Account).Locations().AddTail(new CLocationPair("other", "Other"));
        Probe(Account).NotifyConfig() = 0;
        m_Journal.Take();
        return Account;
    }

    static std::string Entry(const std::string& ID, const std::string& Name)
    {
        return R"({"type":"location","id":")" + ID + R"(","name":")" + Name + R"("})";
    }
};

TEST_F(LocationReplies, WalkTakesTheEntryBehindAClaimedOne)
{
    struct {
        const char* Before;
        const char* Claimed;
        Lines After;
        const char*
            Untouched; // claimed, but removed before the walk came to them: their accounts keep their lists
        // clang-format off
    } const Rows[] = {
        {"A", "A", {"A"}, ""},
        {"AB", "A", {"A"}, ""},
        {"ABC", "", {"A", "B", "C"}, ""},
        {"ABC", "A", {"A", "C"}, ""},
        {"ABC", "B", {"A", "B"}, ""},
        {"ABC", "C", {"A", "B", "C"}, ""},
        {"ABC", "AB", {"A", "C"}, "B"},
        {"ABC", "BC", {"A", "B"}, "C"},
        {"ABC", "ABC", {"A", "C"}, "B"},
        {"ABCD", "ABCD", {"A", "C"}, "BD"},
        // O is the account's own location
        {"AOB", "", {"A", "O", "B"}, ""},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(std::string(Row.Before) + ", claimed " + Row.Claimed);
        while (m_pSystem->NBridges() > 0)
            m_pSystem->RemoveInterface(m_pSystem->Bridge(0)->ID());
        CVestaraInterface& Account = Serve("O");
        Account.RemoveAllLocations();
        std::map<char, CVestaraInterface*> Siblings;
        for (const char* p = Row.Claimed; *p; ++p)
            Siblings[*p] = &Serve(std::string(1, *p).c_str());

        for (const char* p = Row.Before; *p; ++p)
            Probe(Account).Locations().AddTail(new CLocationPair(std::string(1, *p).c_str(), "Name"));
        // The first candidate is listed once more, so nothing is added.
        EXPECT_EQ(
            Process(Account, CMD_LOCATIONS_LIST,
                    R"({"data":[)" + Entry(std::string(1, *Row.Before), std::string(1, *Row.Before)) + "]}"),
            1);
        EXPECT_THAT(Candidates(Account), ElementsAreArray(Row.After));
        EXPECT_EQ(Probe(Account).NotifyConfig(), !Siblings.empty());
        for (const auto& [Name, pSibling] : Siblings)
            EXPECT_EQ(Candidates(*pSibling).empty(), !std::strchr(Row.Untouched, Name)) << Name;
        m_Journal.Take();
    }
}

TEST_F(LocationReplies, OfferOwnAndFreeLocationsOnce)
{
    CVestaraInterface& Account = Serve("own");
    CVestaraInterface& Sibling = Serve("taken");
    Account.RemoveAllLocations();
    Account.TraceEnabled(1);
    const std::string Json = R"({"data":[)" + Entry("own", "own") + "," + Entry("free", "%s\\\"%n") + "," +
                             Entry("taken", "taken") + "," + Entry("free", "again") + "]}";
    EXPECT_EQ(Process(Account, CMD_LOCATIONS_LIST, Json), 1);
    EXPECT_THAT(TakeEffects(),
                ElementsAre("trace: ProcessingResponse [2]", "trace: Checking [own:own] ...",
                            "trace: Already claimed: [own]", "trace: Checking [%s\"%n:free] ...",
                            "trace: Adding: [free]", "trace: Checking [taken:taken] ...",
                            "trace: Checking [again:free] ..."));
    EXPECT_THAT(Candidates(Account), ElementsAre("own", "free"));
    EXPECT_THAT(Candidates(Sibling), IsEmpty());
    EXPECT_EQ(Probe(Account).NotifyConfig(), 1);

    Probe(Account).NotifyConfig() = 0;
    EXPECT_EQ(Process(Account, CMD_LOCATION_GET, R"({"data":[)" + Entry("own", "own") + "]}"), 1);
    EXPECT_EQ(Probe(Account).NotifyConfig(), 0);
}

TEST_F(LocationReplies, RenameTheFirstAccountThatServesTheLocation)
{
    CVestaraInterface& First = Serve("loc-1");
    CVestaraInterface& Second = Serve("loc-1");
    Second.RemoveAllLocations();
    EXPECT_EQ(Process(Second, CMD_LOCATIONS_LIST, R"({"data":[)" + Entry("loc-1", "Barn") + "]}"), 1);
    EXPECT_THAT(TakeEffects(), ElementsAre("NotifyWrite"));
    EXPECT_EQ(std::string(First.NetworkBridge()->Name()), "Vestara Interface (Barn)");
    EXPECT_EQ(std::string(Second.NetworkBridge()->Name()), "Vestara Interface (loc-1)");
    EXPECT_EQ(std::string(First.LocationName()), "Lake House");
    EXPECT_THAT(Candidates(First), IsEmpty()); // a renamed account offers its locations from a new list
    EXPECT_THAT(Candidates(Second), ElementsAre("loc-1")); // served, but not by another location's account
}

TEST_F(LocationReplies, MalformedOnesAreReported)
{
    const std::string Type = "report vestarai 3023: \"type\" not identified";
    const std::string NoData = "report vestarai 1152: 'data' node not found - aborting ProcessResponse";
    const auto Unknown = [](const std::string& Found) {
        return "report vestarai 1163: Unknown Location type: [" + Found + "]";
    };
    struct {
        std::string Json;
        int Result;
        Lines Effects;
        Lines Candidates;
        // clang-format off
    } const Rows[] = {
        {"{}", 0, {NoData}, {}},
        {R"({"Data":[]})", 0, {NoData}, {}},
        {R"({"data":[]})", 1, {}, {}},
        {R"({"data":"x"})", 1, {}, {}},
        {R"({"data":[1]})", 0, {Type, Unknown("")}, {}},
        {R"({"data":[)" + Entry("a", "A") + "," + Entry("b", "B") + R"(,{"type":"Location"},)" + Entry("c",
         "C") + "]}", 0, {Unknown("Location")}, {"a", "b"}},
        {R"({"data":[{"type":"location %s"}]})", 0, {Unknown("location %s")}, {}},
        {R"({"data":{"x":{"type":"location","attributes":{"id":7}}}})", 1,
         {"report vestarai 3023: \"name\" not identified"}, {"7"}},
        {R"({"data":[{"type":"location"}]})", 1, {"report vestarai 3023: \"id\" not identified",
         "report vestarai 3023: \"name\" not identified"}, {""}},
    };
    // clang-format on
    CVestaraInterface& Account = Serve("own");
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        Account.RemoveAllLocations();
        EXPECT_EQ(Process(Account, CMD_LOCATIONS_LIST, Row.Json), Row.Result);
        EXPECT_THAT(TakeEffects(), ElementsAreArray(Row.Effects));
        EXPECT_THAT(Candidates(Account), ElementsAreArray(Row.Candidates));
    }
}

} // namespace
