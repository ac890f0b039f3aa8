// The queues between the two threads, the reading of one value, the frame of the reply processing, and
// replies that are hostile or malformed.

#include "support/TestHost.h"

namespace support
{

class Replies : public DriverTest
{
};

TEST_F(Replies, QueuesKeepOrderAndDuplicatesAndReturnWhatIsQueued)
{
    CVestaraInterface& Account = AddAccount();
    EXPECT_FALSE(Account.NextCommand() || Account.NextResponse());
    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 1);
    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 2);
    EXPECT_EQ(Queued(Account), (Lines{"2 3 l|d|u|a", "2 3 l|d|u|a"}));

    devhost::TheFramework().WakeMainLoop = [] { return 77; };
    EXPECT_EQ(Account.AddResponse(Account.NextCommand()), 77);
    EXPECT_EQ(Account.AddCommand(METHOD_DELETE, CMD_ACCESS_REVOKE, "", "", "", ""), 3) << "replies count";
    EXPECT_EQ(Account.NextCommand()->GetCommandID(), CMD_LOCATION_GET);
    const auto pCommand = Account.NextResponse();
    ASSERT_TRUE(pCommand);
    pCommand->Response(ParseJson("{}").release());
    pCommand->Response(ParseJson("[1]").release()); // the first reply goes
    EXPECT_EQ(pCommand->Response()->NObjects(), 1);

    EXPECT_TRUE(Account.GetAttribute(static_cast<Attributes>(-2147483647 - 1)).IsEmpty());
    EXPECT_TRUE(Account.GetAttribute(static_cast<Attributes>(29)).IsEmpty());
    EXPECT_EQ(m_Journal.TakeReports(), (Lines{"vestarai 3137: Unknown Attribute: -2147483648",
                                              "vestarai 3137: Unknown Attribute: 29"}));
}

TEST_F(Replies, ValuesAreReadAsTextAndAsNumber)
{
    struct {
        const char *Json, *Key, *Text; // no text: not found
        int Number;
        // clang-format off
    } const Rows[] = {
        {R"({"k":"x\n\n  "})", "k", "x", 0},
        {R"({"k":" \t\n"})", "k", " \t", 0},
        {R"({"k":"12abc"})", "k", "12abc", 12},
        {R"({"k":" -7 "})", "k", " -7", -7},
        {R"({"k":41.9})", "k", "41.9", 41},
        {R"({"k":true})", "k", "true", 0},
        {R"({"a":{"b":[{"k":"deep"}]},"k":"flat"})", "k", "deep", 0},
        {R"({"k":{"x":1},"l":{"k":"2"}})", "k", "2", 2},
        {R"({"K":"x","k":[1,2]})", "k", nullptr, 0},
        {R"({})", "%d%n", nullptr, 0},
        {"null", "k", nullptr, 0},
    };
    // clang-format on
    CVestaraInterface& Account = AddAccount();
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        const auto pTree = ParseJson(Row.Json);
        CQXString sText("before");
        int iNumber = 4711;
        EXPECT_EQ(Account.ParseData(pTree.get(), Row.Key, &sText), Row.Text != nullptr);
        EXPECT_EQ(Account.ParseData(pTree.get(), Row.Key, &iNumber), Row.Text != nullptr);
        EXPECT_EQ(std::string(sText), Row.Text ? Row.Text : "");
        EXPECT_EQ(iNumber, Row.Text ? Row.Number : 4711);
        const std::string Missing = std::string(": \"") + Row.Key + "\" not identified";
        EXPECT_EQ(m_Journal.TakeReports(),
                  Row.Text ? Lines{} : (Lines{"vestarai 3023" + Missing, "vestarai 3047" + Missing}));
    }
}

TEST_F(Replies, FrameEndsWhatHasNoReplyNoProcessingOrANoticeOfAFailure)
{
    struct {
        const char *Json, *Report;
        // clang-format off
    } const Notices[] = {
        {R"({"messages":"no","access_token":"x"})", "no"},
        {R"({"data":[{"type":"location","id":"l","name":"n","x":{"messages":"deep"}}]})", "deep"},
        {R"({"messages":"50%% off %s%n%d %*.3f %"})", "50% off %s%n%d %*.3f %"},
        {R"({"messages":""})", ""},
    };
    // clang-format on
    CVestaraInterface& Account = AddReadyAccount();
    for (int i = -1; i <= 18; ++i) {
        SCOPED_TRACE(i);
        const auto Command = static_cast<CommandID>(i);
        EXPECT_EQ(
            Account.ProcessResponse(std::make_unique<CVestaraCommand>(METHOD_READ, Command, "", "", "", "")),
            0);
        EXPECT_EQ(TakeEffects(), Lines{"report vestarai 1012: Missing response"});
        for (const auto& Row : Notices) {
            EXPECT_EQ(Process(Account, Command, Row.Json), 0);
            EXPECT_EQ(TakeEffects(), Lines{std::string("report vestarai 1020: ") + Row.Report});
        }
    }
    EXPECT_EQ(std::string(Probe(Account).AccessToken()), "access-1");
    EXPECT_EQ(Candidates(Account), Lines{});
    EXPECT_EQ(Account.NCommands() + Account.NResponses(), 0);
    Account.TraceEnabled(1);
    for (const int i : {10, 14, 15, 18, -1, -2147483647 - 1, 2147483647}) {
        EXPECT_EQ(Process(Account, static_cast<CommandID>(i), R"({"data":[]})"), 1);
        EXPECT_EQ(TakeEffects(), (Lines{"trace: ProcessingResponse [" + std::to_string(i) + "]",
                                        "report vestarai 1058: Unhandled CommandID"}));
    }
}

TEST_F(Replies, HostileOnesChangeNoOtherAccountAndNoOtherLock)
{
    std::string Deep = "1";
    for (int i = 0; i < 40; ++i)
        Deep = i % 2 ? R"({"data":)" + Deep + "}" : "[" + Deep + "]";
    const std::string Hostile[] = {
        "[]",
        "null",
        "-1e308",
        Deep,
        R"(["data","meta",1])",
        R"({"data":null})",
        R"({"data":"%s%n"})",
        R"({"data":{},"meta":{}})",
        R"({"data":[1,null,"x",[],{}],"meta":1})",
        R"({"data":[{"type":{"type":[]}}],"meta":1})",
        R"({"data":[{"type":"lock","id":"","name":"","location_id":""}],"meta":1})",
        R"({"data":[{"type":"lock","id":{"id":7},"name":"%s%n","location_id":"nowhere"}],"meta":1})",
        R"({"data":[{"type":"location","id":"\"%n\r\n","name":"%s\r\nX: 1"}],"meta":1})",
        R"({"data":[{"type":"access_user","id":-1e99,"name":"%s","pin":null,"email":[]}],"meta":1})",
        R"({"data":{"type":"access_user","id":"\\","name":"\"%n","pin":"","email":"NULL"}})",
        R"({"data":[{"type":"access_person_access","id":1,"accessible_id":2,"access_person_id":3}],"meta":1})",
        R"({"id":"dev-9","name":"Door","state":"unlocked","alive":"false"})",
        R"({"access_token":"","refresh_token":"%s","expires_in":"99999999999999999999"})",
    };
    CVestaraInterface& Other = AddReadyAccount();
    CPortivo& Lock = AddLock(Other, "dev-1", "Door");
    Probe(Other).Master() = 0;
    AddPerson(Other, 3, "per-1", "Ann");
    CVestaraInterface& Account = AddAccount();
    const int iState = Lock.State();
    for (const std::string& Json : Hostile) {
        for (int iCommand = -1; iCommand <= 18; ++iCommand) {
            SCOPED_TRACE("command " + std::to_string(iCommand) + ": " + Json);
            Probe(Account).LocationID() = "loc-2";
            Account.TraceEnabled(iCommand % 2);
            Process(Account, static_cast<CommandID>(iCommand), Json, "", "", "%n");
            while (auto pRouted = Account.NextResponse())
                Account.ProcessResponse(std::move(pRouted));
            m_Journal.Take();
            EXPECT_EQ(Other.NResponses() + Other.NCommands(), 0);
            EXPECT_EQ(Persons(Other), Lines{"3|per-1|Ann|1111|"});
            EXPECT_EQ(std::string(Other.LocationID()), "loc-1");
            EXPECT_EQ(std::string(Probe(Other).RefreshToken()), "refresh-1");
            EXPECT_EQ(std::string(Probe(Other).AccessToken()), "access-1");
            EXPECT_EQ(std::string(Lock.Name()), "Door");
            EXPECT_EQ(Lock.State(), iState);
            EXPECT_EQ(Lock.Online(), 1);
            EXPECT_EQ(Other.FindDoorLock("dev-1"), &Lock);
        }
    }
}

} // namespace support
