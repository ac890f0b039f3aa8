// The queues between the two threads, the frame of the reply processing, and replies that are hostile.

#include "cloud/CloudTest.h"

namespace support
{

using Replies = CloudTest;

TEST_F(Replies, QueuesKeepOrderAndDuplicatesAndReturnWhatIsQueued)
{
    CVestaraInterface& Account = AddAccount();
    EXPECT_FALSE(Account.NextCommand() || Account.NextResponse());
    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 1);
    EXPECT_EQ(Account.AddCommand(METHOD_READ, CMD_LOCATION_GET, "l", "d", "u", "a"), 2);
    devhost::TheFramework().WakeMainLoop = [] { return 77; };
    EXPECT_EQ(Account.AddResponse(Account.NextCommand()), 77);
    EXPECT_EQ(Account.AddCommand(METHOD_DELETE, CMD_ACCESS_REVOKE, "", "", "", ""), 3) << "replies count";
    EXPECT_EQ(Queued(Account), (Lines{"2 3 l|d|u|a", "4 14 |||"}));
    EXPECT_EQ(Account.NextResponse()->GetCommandID(), CMD_LOCATION_GET);

    EXPECT_TRUE(Account.GetAttribute(static_cast<Attributes>(29)).IsEmpty());
    EXPECT_EQ(m_Journal.TakeReports(), Lines{"vestarai 3137: Unknown Attribute: 29"});
}

TEST_F(Replies, FrameEndsWhatHasNoReplyNoProcessingOrANoticeOfAFailure)
{
    const std::string Notice = "report vestarai 1020: ";
    CVestaraInterface& Account = AddReadyAccount();
    for (int i = -1; i <= 18; ++i) {
        SCOPED_TRACE(i);
        auto pBare =
            std::make_unique<CVestaraCommand>(METHOD_READ, static_cast<CommandID>(i), "", "", "", "");
        EXPECT_EQ(Account.ProcessResponse(std::move(pBare)), 0);
        EXPECT_EQ(TakeEffects(), Lines{"report vestarai 1012: Missing response"});
        Expect(Account, i, R"({"x":{"messages":"50%% off %s%n%d %*.3f %"},"access_token":"x"})", 0,
               {Notice + "50% off %s%n%d %*.3f %"});
        Expect(Account, i, R"({"messages":""})", 0, {Notice});
    }
    EXPECT_EQ(Str(Probe(Account).AccessToken()), "access-1");
    for (const int i : {10, 14, 15, 18, -1})
        Expect(Account, i, R"({"data":[]})", 1, {"report vestarai 1058: Unhandled CommandID"});
}

TEST_F(Replies, HostileOnesChangeNoOtherAccountAndNoOtherLock)
{
    CVestaraInterface& Other = AddReadyAccount();
    CPortivo& Lock = AddLock(Other, "dev-1", "Door");
    AddPerson(Other, 3, "per-1", "Ann");
    Probe(Other).Master() = 0;
    CVestaraInterface& Account = AddAccount();
    Account.TraceEnabled(1);
    for (const char* Json : {
             "-1e308",
             R"({"data":[1,null,"x",[],{}],"meta":1})",
             R"({"data":[{"type":"lock","id":{"id":7},"name":"%s%n","location_id":"nowhere"}],"meta":1})",
             R"({"data":[{"type":"location","id":"\"%n\r\n","name":"%s\r\nX: 1"}],"meta":1})",
             R"({"data":[{"type":"access_user","id":-1e99,"name":"%s","pin":null,"email":[]}],"meta":1})",
             R"({"access_token":"","refresh_token":"%s","expires_in":"99999999999999999999"})",
         }) {
        SCOPED_TRACE(Json);
        for (int iCommand = -1; iCommand <= 18; ++iCommand)
            Process(Account, static_cast<CommandID>(iCommand), Json, "", "", "%n");
        m_Journal.Take();
        EXPECT_EQ(Persons(Other), Lines{"3|per-1|Ann|1111|"});
        EXPECT_EQ(Str(Other.LocationID()) + Str(Probe(Other).AccessToken()), "loc-1access-1");
        EXPECT_EQ(Str(Lock.Name()) + std::to_string(Other.NResponses()), "Door0");
    }
}

} // namespace support
