// The frame of the reply processing, and replies that are hostile or malformed.

#include "support/TestHost.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class Replies : public support::DriverTest
{
};

TEST_F(Replies, CommandsWithoutAReplyAreReportedAndDropped)
{
    CVestaraInterface& Account = AddAccount();
    for (const int i : {-1, 0, 10, 17, 18}) {
        auto pCommand =
            std::make_unique<CVestaraCommand>(METHOD_READ, static_cast<CommandID>(i), "", "", "", "");
        EXPECT_EQ(Account.ProcessResponse(std::move(pCommand)), 0);
        EXPECT_THAT(TakeEffects(), ElementsAre("report vestarai 1012: Missing response")) << i;
    }
}

TEST_F(Replies, CommandsWithoutProcessingCountAsProcessed)
{
    CVestaraInterface& Account = AddAccount();
    Account.TraceEnabled(1);
    for (const int i : {10, 14, 15, 18, -1, -2147483647 - 1, 2147483647}) {
        EXPECT_EQ(Process(Account, static_cast<CommandID>(i), R"({"data":[]})"), 1);
        EXPECT_THAT(TakeEffects(), ElementsAre("trace: ProcessingResponse [" + std::to_string(i) + "]",
                                               "report vestarai 1058: Unhandled CommandID"));
    }
}

TEST_F(Replies, NoticeOfAFailureEndsAnyReply)
{
    struct {
        const char* Json;
        const char* Report;
        // clang-format off
    } const Rows[] = {
        {R"({"messages":"no","access_token":"x"})", "no"},
        {R"({"data":[{"type":"location","id":"l","name":"n","x":{"messages":"deep"}}]})", "deep"},
        {R"({"messages":"50%% off %s%n%d %*.3f %"})", "50% off %s%n%d %*.3f %"},
        {R"({"messages":"%%%%s"})", "%%s"},
        {R"({"messages":5})", "5"},
        {R"({"messages":""})", ""},
    };
    // clang-format on
    for (int iCommand = -1; iCommand <= 18; ++iCommand) {
        CVestaraInterface& Account = AddReadyAccount();
        for (const auto& Row : Rows) {
            EXPECT_EQ(Process(Account, static_cast<CommandID>(iCommand), Row.Json), 0);
            EXPECT_THAT(TakeEffects(), ElementsAre(std::string("report vestarai 1020: ") + Row.Report));
        }
        EXPECT_EQ(std::string(Probe(Account).AccessToken()), "access-1");
        EXPECT_THAT(Candidates(Account), IsEmpty());
        EXPECT_EQ(Account.NCommands() + Account.NResponses(), 0);
    }
}

TEST_F(Replies, HostileOnesChangeNoOtherAccountAndNoOtherLock)
{
    std::string Deep = "1";
    for (int i = 0; i < 40; ++i)
        Deep = i % 2 ? R"({"data":)" + Deep + "}" : "[" + Deep + "]";
    const std::string Hostile[] = {
        "{}",
        "[]",
        "null",
        "\"data\"",
        "-1e308",
        Deep,
        "[" + std::string(R"("data","meta",)") + "1]",
        R"({"data":null})",
        R"({"data":"%s%n"})",
        R"({"data":7,"meta":0})",
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
            EXPECT_THAT(Persons(Other), ElementsAre("3|per-1|Ann|1111|"));
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

} // namespace
