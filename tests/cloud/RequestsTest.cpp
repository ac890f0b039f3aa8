// The bytes of each request, and the requests that are refused before anything is sent, and what traces show
// of secrets.

#include "cloud/CloudConstants.h"
#include "cloud/CloudTest.h"

namespace support
{

using Requests = CloudTest;

TEST_F(Requests, GoOutByteForByte)
{
    CVestaraInterface& Account = AddReadyAccount();
    Probe(Account).AuthCode() = "c 1%s&=+";
    Probe(Account).RedirectSchema() = OAUTH_REDIRECT_LEGACY;
    AddPerson(Account, 4, "", "Ann \"A\" \\ 100%s \xC3\xA9", "0042", "ann@x.example");
    AddPerson(Account, 5, "", "Bob", "2222");
    AddPerson(Account, 6, "per-1", "Cy", "0003", "cy@x.example");

    const std::string Api = " HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\n"
                            "Authorization: Bearer access-1\r\nHost: ";
    const auto Plain = [&](const std::string& Target) { return Target + Api + kApiHost + "\r\n\r\n"; };
    const auto Write = [&](const std::string& Target, int Bytes = 0, const std::string& Body = "") {
        return Target + Api + kApiHost + "\r\nContent-Length: " + std::to_string(Bytes) +
               "\r\nContent-Type: application/json\r\n\r\n" + Body + "\r\n";
    };
    const auto Token = [](const std::string& Path, const std::string& Body) {
        return "POST " + Path + " HTTP/1.1\r\nAccept: application/json\r\nHost: " + kOAuthHost +
               "\r\nContent-Length: " + std::to_string(Body.size()) +
               "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + Body + "\r\n";
    };
    const std::string Client = std::string("client_id=") + kClientID + "&client_secret=" + kClientSecret;
    const std::string CodeForm = "code=c 1%s&=+&" + Client + "&redirect_uri=https://host.example/redirect/" +
                                 std::to_string(OAUTH_REDIRECT_LEGACY) + "&grant_type=authorization_code";
    const std::string RefreshForm = Client + "&refresh_token=refresh-1&grant_type=refresh_token";
    const std::string NoHost = Api + "\r\nContent-Length: 0\r\n\r\n\r\n\r\n";
    const std::string NoUser = ": Could not ID user by index: ";

    struct {
        int Method, Command;
        std::string Bytes;
        const char* UserID = "per-1";
        Lines Reports = {};
        // clang-format off
    } const Rows[] = {
        // The method decides on the form, the command on the path.
        {0, 0, Token("/oauth/token", CodeForm)},
        {1, 16, Token("/devices/%s/lock", RefreshForm)},
        {2, 2, Plain("GET /locations")},
        {2, 3, Plain("GET /locations/loc-1")},
        {2, 4, Plain("GET /devices")},
        {2, 6, Plain("GET /devices/dev-1")},
        {2, 7, Plain("GET /access_persons")},
        {2, 12, Plain("GET /access_persons/p%s%n/accesses"), "p%s%n"},
        // Reads of what cannot be read have no path.
        {2, 0, Plain("GET ")},
        {3, 8, Write("POST /access_persons", 105, R"({"type":"access_user","attributes":)"
         R"({"name":"Ann \"A\" \\ 100%s é","email":"ann@x.example","pin":"0042"}})"), "4"},
        {3, 8, Write("POST /access_persons", 63,
         R"({"type":"access_user","attributes":{"name":"Bob","pin":"2222"}})"), "5 and more"},
        {3, 9, Write("PUT /access_persons/per-1", 41, R"({"attributes":{"name":"Cy","pin":"0003"}})")},
        {3, 13, Write("POST /access_persons/per-1/accesses", 65,
         R"({"attributes":{"accessible_id":"dev-1","accessible_type":"lock"}})")},
        {3, 15, Write("POST /access_persons/per-1/email/notify")},
        {3, 17, Write("PUT /devices/dev-1/unlock")},
        {4, 10, Plain("DELETE /access_persons/per-1")},
        {4, 14, Plain("DELETE /access_persons/per-1/accesses/acc-%n1")},
        // The command chooses verb and path, the method the headers of the body.
        {3, 10, Write("DELETE /access_persons/per-1")},
        {4, 16, Plain("PUT /devices/dev-1/lock")},
        {3, 11, Write("", 2, "{}")},
        // Any other method is an API request without host, target and type, also a negative one.
        {5, 2, NoHost},
        {-1, 16, NoHost},
        // A body that cannot be built stays empty; the request goes out.
        {3, 8, Write("POST /access_persons"), "7", {"report vestarai 2102" + NoUser + "[7]"}},
        {3, 8, Write("POST /access_persons"), "6",
         {"report vestarai 2107: User by this index [6] already has an ID - not creating duplicate"}},
        {3, 9, Write("PUT /access_persons/4"), "4", {"report vestarai 2129" + NoUser + "[4]"}},
        {3, 13, Write("POST /access_persons/%d/accesses"), "%d", {"report vestarai 2145" + NoUser + "[%d]"}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(std::to_string(Row.Command) + " of " + Row.UserID + ": " + Row.Bytes);
        m_Cloud.Reply(204, "");
        EXPECT_EQ(Send(Account, Row.Method, Row.Command, "loc-1", "dev-1", Row.UserID), 1);
        EXPECT_EQ(TakeEffects(), Row.Reports);
        const auto Sent = m_Cloud.TakeRequests();
        ASSERT_EQ(Sent.size(), 1u);
        EXPECT_EQ(Sent[0].Bytes, Row.Bytes);
        EXPECT_NE(Row.Bytes.find("\r\nHost: " + Sent[0].Host + "\r\n"), std::string::npos) << Sent[0].Host;
        EXPECT_EQ(Sent[0].Port, 443);
    }
}

TEST_F(Requests, AreRefusedWithTheFirstThingThatIsMissing)
{
    CVestaraInterface& Account = AddAccount();
    Account.TraceEnabled(1);
    const auto Refused = [&](int Method, int Command, const char* LocationID, const char* DeviceID,
                             const Lines& Effects) {
        SCOPED_TRACE(testing::PrintToString(Effects));
        Probe(Account).Authorized() = 1;
        EXPECT_EQ(Send(Account, Method, Command, LocationID, DeviceID), 0);
        EXPECT_EQ(TakeEffects(), Effects);
    };
    const std::string Data = "report vestarai 830: Data could not be assembled";
    const std::string Header = "report vestarai 837: Header could not be assembled";
    const std::string Unknown = "report vestarai 3090: Unknown CommandID: ";
    const std::string Broadcast = "trace: ClientBroadcast message: [0] to [0] clients";
    Refused(3, 16, "", "",
            {"report vestarai 1807: Missing/bad AccessToken - Cannot read/write to server", Data});
    Probe(Account).AccessToken() = "A";
    Refused(0, 0, "l", "d",
            {Broadcast, "report vestarai 1832: Missing AuthCode - cannot authenticate", Data});
    Refused(1, 1, "l", "d",
            {Broadcast, "report vestarai 1851: Missing RefreshToken - cannot refresh AccessToken", Data});
    Refused(3, 16, "", "", {"report vestarai 1860: Missing DeviceID on WRITE", Data});
    Refused(4, 14, "", "d", {"report vestarai 1865: Missing LocationID on WRITE", Data});
    Refused(2, 18, "", "", {Unknown + "18", "report vestarai 1914: Missing DataPath on READ", Header});
    Refused(3, -1, "l", "d",
            {"trace: {}", Unknown + "-1", "report vestarai 1947: Missing DataPath on WRITE", Header});
    EXPECT_TRUE(m_Cloud.TakeRequests().empty());
}

TEST_F(Requests, TracesHideTheSnapshotOfTheSecrets)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.TraceEnabled(1);
    Account.GenObfuscationList();
    Probe(Account).RefreshToken() = "refresh-1%s";
    m_Cloud.ReplyRaw({"HTTP/1.1 204 X\r\n\r\n", "%d refresh-1"});
    Send(Account, METHOD_READ, CMD_ACCESSES_LIST, "loc-1", "dev-1", "%s%n");
    EXPECT_EQ(m_Journal.TakeTraces(),
              (Lines{"HTTPS message [GET /access_persons/%s%n/accesses HTTP/1.1\r\n"
                     "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer ***\r\n"
                     "Host: " VESTARA_API_HOST "\r\n\r\n]",
                     "Got [HTTP/1.1 204 X\r\n\r\n%d ***]", "Deletion Handled", "Command successful"}));
    m_Cloud.Reply(204, "access-1");
    Send(Account, METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH);
    const Lines Traces = m_Journal.TakeTraces();
    const std::string Masked = "client_id=***&client_secret=***&refresh_token=***%s&grant_type=refresh_token";
    ASSERT_EQ(Traces.size(), 4u);
    EXPECT_NE(Traces[0].find("\r\n\r\n" + Masked), std::string::npos) << Traces[0];
    EXPECT_EQ(Traces[1], "HTTPS data [" + Masked + "]");

    // The list is made anew on each call, of the secrets of that time.
    Probe(Account).AccessToken() = "later";
    m_Cloud.Reply(204, "");
    Send(Account, METHOD_READ, CMD_LOCATIONS_LIST);
    EXPECT_NE(m_Journal.TakeTraces().at(0).find("Bearer later\r\n"), std::string::npos);
    const CQXObList& List = *Account.GenObfuscationList();
    EXPECT_EQ(List.GetCount(), 4);
    EXPECT_EQ(std::string(*static_cast<CQXString*>(List.GetAt(List.GetHeadPosition()))), "later");
}

} // namespace support
