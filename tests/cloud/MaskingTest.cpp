// What traces of whole requests and replies show of the account's secrets.

#include "support/TestHost.h"

#include <gmock/gmock.h>

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Masking : public support::DriverTest
{
protected:
    void Send(CVestaraInterface& Account, VestaraMethod Method, CommandID Command, const char* UserID = "")
    {
        Account.SendCommand(std::make_unique<CVestaraCommand>(Method, Command, "loc-1", "dev-1", UserID, ""));
    }
};

TEST_F(Masking, HidesTheSnapshotInRequestsAndPages)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.TraceEnabled(1);
    Account.GenObfuscationList();
    Probe(Account).RefreshToken() = "refresh-1%s";
    m_Cloud.ReplyRaw({"HTTP/1.1 204 X\r\n\r\n", "%d refresh-1"});
    Send(Account, METHOD_READ, CMD_ACCESSES_LIST, "%s%n");
    EXPECT_THAT(m_Journal.TakeTraces(),
                ElementsAre("HTTPS message [GET /access_persons/%s%n/accesses HTTP/1.1\r\n"
                            "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer ***\r\n"
                            "Host: " VESTARA_API_HOST "\r\n\r\n]",
                            "Got [HTTP/1.1 204 X\r\n\r\n%d ***]", "Deletion Handled", "Command successful"));

    m_Cloud.Reply(204, "access-1");
    Send(Account, METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH);
    const auto Traces = m_Journal.TakeTraces();
    ASSERT_EQ(Traces.size(), 4u);
    EXPECT_THAT(Traces[0], AllOf(HasSubstr("client_secret=***&refresh_token=***%s&"),
                                 Not(HasSubstr("93c31de5")), Not(HasSubstr("90f5b5e6"))));
    EXPECT_EQ(Traces[1],
              "HTTPS data [client_id=***&client_secret=***&refresh_token=***%s&grant_type=refresh_token]");
}

TEST_F(Masking, ListIsASnapshotThatADropEmpties)
{
    CVestaraInterface& Account = AddAccount();
    Account.TraceEnabled(1);
    // Empty tokens are entries; they hide nothing.
    EXPECT_EQ(Account.GenObfuscationList()->GetCount(), 4);
    Probe(Account).AccessToken() = "later";
    m_Cloud.Reply(204, "");
    Send(Account, METHOD_READ, CMD_LOCATIONS_LIST);
    EXPECT_THAT(m_Journal.TakeTraces().at(0),
                AllOf(HasSubstr("GET /locations HTTP/1.1\r\n"), HasSubstr("Bearer later\r\n")));

    EXPECT_EQ(Account.GenObfuscationList(), Account.GenObfuscationList());
    const CQXObList& List = Probe(Account).ObfuscationList();
    EXPECT_EQ(List.GetCount(), 4);
    EXPECT_EQ(std::string(*static_cast<CQXString*>(List.GetAt(List.GetHeadPosition()))), "later");
    EXPECT_EQ(Account.PurgeObfuscationList(), 0);
    EXPECT_EQ(List.GetCount(), 0);
}

} // namespace
