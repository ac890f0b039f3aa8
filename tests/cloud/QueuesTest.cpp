// The queues between the two threads, the keys, and the reading of one value.

#include "support/TestHost.h"

#include <gmock/gmock.h>

namespace
{

using support::Lines;
using testing::ElementsAre;
using testing::ElementsAreArray;

class Queues : public support::DriverTest
{
};

TEST_F(Queues, KeepOrderAndDuplicatesAndReturnWhatIsQueued)
{
    CVestaraInterface& Account = AddAccount();
    CPortivo& Lock = AddLock(Account, "dev-1", "Door");
    EXPECT_FALSE(Account.NextCommand());
    EXPECT_FALSE(Account.NextResponse());
    EXPECT_EQ(Lock.CommandStackEmpty(), 1);

    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 1);
    EXPECT_EQ(Lock.CommandStackEmpty(), 0);
    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 2);
    EXPECT_THAT(Queued(Account), ElementsAre("2 3 l|d|u|a", "2 3 l|d|u|a"));

    devhost::TheFramework().WakeMainLoop = [] { return 77; };
    EXPECT_EQ(Account.AddResponse(Account.NextCommand()), 77);
    EXPECT_EQ(Account.AddCommand(METHOD_DELETE, CMD_ACCESS_REVOKE, "", "", "", ""), 3);
    EXPECT_EQ(Account.NResponses(), 1);
    EXPECT_EQ(Account.NextCommand()->GetCommandID(), CMD_LOCATION_GET);
    EXPECT_EQ(DropQueued(Account), 1u);
    EXPECT_EQ(Lock.CommandStackEmpty(), 1); // replies do not count
    const auto pCommand = Account.NextResponse();
    ASSERT_TRUE(pCommand);
    pCommand->Response(support::ParseJson("{}").release());
    pCommand->Response(support::ParseJson("[1]").release()); // the first reply goes
    EXPECT_EQ(pCommand->Response()->NObjects(), 1);
}

TEST_F(Queues, UnknownPathsAndKeysAreReportedAndEmpty)
{
    CVestaraInterface& Account = AddAccount();
    EXPECT_EQ(std::string(Account.PathByCommandID(CMD_ACCESSES_QUERY)), "/access_persons/%s/accesses");
    for (const int i : {-1, 18, 2147483647})
        EXPECT_TRUE(Account.PathByCommandID(static_cast<CommandID>(i)).IsEmpty());
    for (const int i : {-2147483647 - 1, 29})
        EXPECT_TRUE(Account.GetAttribute(static_cast<Attributes>(i)).IsEmpty());
    EXPECT_THAT(m_Journal.TakeReports(),
                ElementsAre("vestarai 3090: Unknown CommandID: -1", "vestarai 3090: Unknown CommandID: 18",
                            "vestarai 3090: Unknown CommandID: 2147483647",
                            "vestarai 3137: Unknown Attribute: -2147483648",
                            "vestarai 3137: Unknown Attribute: 29"));
}

TEST_F(Queues, ValuesAreReadAsTextAndAsNumber)
{
    struct {
        const char* Json;
        const char* Key;
        const char* Text; // null: not found
        int Number;
        // clang-format off
    } const Rows[] = {
        {R"({"k":"Front Door \n"})", "k", "Front Door ", 0},
        {R"({"k":"x\n\n  "})", "k", "x", 0},
        {R"({"k":" \t\n"})", "k", " \t", 0},
        {R"({"k":"12abc"})", "k", "12abc", 12},
        {R"({"k":" -7 "})", "k", " -7", -7},
        {R"({"k":""})", "k", "", 0},
        {R"({"k":41.9})", "k", "41.9", 41},
        {R"({"k":true})", "k", "true", 0},
        {R"({"k":null})", "k", "null", 0},
        {R"({"a":{"b":[{"k":"deep"}]},"k":"flat"})", "k", "deep", 0},
        {R"({"k":{"x":1},"l":{"k":"2"}})", "k", "2", 2},
        {R"({"K":"x","k":[1,2]})", "k", nullptr, 0},
        {R"(["k"])", "k", nullptr, 0},
        {R"({})", "%d%n", nullptr, 0},
        {"null", "k", nullptr, 0},
    };
    // clang-format on
    CVestaraInterface& Account = AddAccount();
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        const auto pTree = support::ParseJson(Row.Json);
        CQXString sText("before");
        int iNumber = 4711;
        EXPECT_EQ(Account.ParseData(pTree.get(), Row.Key, &sText), Row.Text != nullptr);
        EXPECT_EQ(Account.ParseData(pTree.get(), Row.Key, &iNumber), Row.Text != nullptr);
        EXPECT_EQ(std::string(sText), Row.Text ? Row.Text : "");
        EXPECT_EQ(iNumber, Row.Text ? Row.Number : 4711);
        const std::string Missing = std::string(": \"") + Row.Key + "\" not identified";
        EXPECT_THAT(m_Journal.TakeReports(),
                    ElementsAreArray(Row.Text ? Lines{}
                                              : Lines{"vestarai 3023" + Missing, "vestarai 3047" + Missing}));
    }
}

} // namespace
