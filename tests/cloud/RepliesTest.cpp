// The queues between the two threads, the frame of the reply processing, and replies that are hostile.

#include "tests/cloud/CloudTest.h"

namespace support
{

using RepliesTest = CloudTest;

TEST_F(RepliesTest, QueuesKeepOrderAndDuplicatesAndReturnWhatIsQueued)
{
    CVestaraInterface& account = AddAccount();
    EXPECT_FALSE(account.NextCommand() || account.NextResponse());
    EXPECT_EQ(account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 1);
    EXPECT_EQ(account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 2);
    devhost::TheFramework().wakeMainLoop = [] { return 77; };
    EXPECT_EQ(account.AddResponse(account.NextCommand()), 77);
    EXPECT_EQ(account.AddCommand(METHOD_DELETE, CMD_ACCESS_REVOKE, "", "", "", ""), 3) << "replies count";
    EXPECT_EQ(Queued(account), (Lines{"2 3 l|d|u|a", "4 14 |||"}));
    EXPECT_EQ(account.NextResponse()->GetCommandID(), CMD_LOCATION_GET);

    CQXString text;
    EXPECT_EQ(account.ParseData(ParseJson(R"({"k":"v "})").get(), "k", &text), 1);
    EXPECT_EQ(Str(text), "v");
    EXPECT_TRUE(account.GetAttribute(static_cast<Attributes>(29)).IsEmpty());
    EXPECT_EQ(m_journal.TakeReports(), Lines{"vestarai 3137: Unknown Attribute: 29"});
}

TEST_F(RepliesTest, FrameEndsWhatHasNoReplyNoProcessingOrANoticeOfAFailure)
{
    const std::string notice = "report vestarai 1020: ";
    CVestaraInterface& account = AddReadyAccount();
    for (int i = -1; i <= 18; ++i) {
        SCOPED_TRACE(i);
        auto bare = std::make_unique<CVestaraCommand>(METHOD_READ, static_cast<CommandID>(i), "", "", "", "");
        EXPECT_EQ(account.ProcessResponse(std::move(bare)), 0);
        EXPECT_EQ(TakeEffects(), Lines{"report vestarai 1012: Missing response"});
        Expect(account, i, R"({"x":{"messages":"50%% off %s%n%d %*.3f %"},"access_token":"x"})", 0,
               {notice + "50% off %s%n%d %*.3f %"});
        Expect(account, i, R"({"messages":""})", 0, {notice});
    }
    EXPECT_EQ(Str(Probe(account).AccessToken()), "access-1");
    for (const int i : {10, 14, 15, 18, -1})
        Expect(account, i, R"({"data":[]})", 1, {"report vestarai 1058: Unhandled CommandID"});
}

TEST_F(RepliesTest, HostileOnesChangeNoOtherAccountAndNoOtherLock)
{
    CVestaraInterface& other = AddReadyAccount();
    CPortivo& lock = AddLock(other, "dev-1", "Door");
    AddPerson(other, 3, "per-1", "Ann");
    Probe(other).Master() = 0;
    CVestaraInterface& account = AddAccount();
    account.TraceEnabled(1);
    for (const char* json : {
             "-1e308",
             R"({"data":[1,null,"x",[],{}],"meta":1})",
             R"({"data":[{"type":"lock","id":{"id":7},"name":"%s%n","location_id":"nowhere"}],"meta":1})",
             R"({"data":[{"type":"location","id":"\"%n\r\n","name":"%s\r\nX: 1"}],"meta":1})",
             R"({"data":[{"type":"access_user","id":-1e99,"name":"%s","pin":null,"email":[]}],"meta":1})",
             R"({"access_token":"","refresh_token":"%s","expires_in":"99999999999999999999"})",
         }) {
        SCOPED_TRACE(json);
        for (int command = -1; command <= 18; ++command)
            Process(account, static_cast<CommandID>(command), json, "", "", "%n");
        m_journal.Take();
        EXPECT_EQ(Persons(other), Lines{"3|per-1|Ann|1111|"});
        EXPECT_EQ(Str(other.LocationID()) + Str(Probe(other).AccessToken()), "loc-1access-1");
        EXPECT_EQ(Str(lock.Name()) + std::to_string(other.NResponses()), "Door0");
    }
}

} // namespace support
