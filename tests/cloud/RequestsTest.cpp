// The bytes of each request, and the requests that are refused before anything is sent, and what traces show
// of secrets.

#include "cloud/CloudConstants.h"
#include "tests/cloud/CloudTest.h"

namespace support
{

using RequestsTest = CloudTest;

TEST_F(RequestsTest, GoOutByteForByte)
{
    CVestaraInterface& account = AddReadyAccount();
    Probe(account).AuthCode() = "c 1%s&=+";
    Probe(account).RedirectSchema() = OAUTH_REDIRECT_LEGACY;
    AddPerson(account, 4, "", "Ann \"A\" \\ 100%s \xC3\xA9", "0042", "ann@x.example");
    AddPerson(account, 5, "", "Bob", "2222");
    AddPerson(account, 6, "per-1", "Cy", "0003", "cy@x.example");

    const std::string api = " HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\n"
                            "Authorization: Bearer access-1\r\nHost: ";
    const auto plain = [&](const std::string& target) { return target + api + kApiHost + "\r\n\r\n"; };
    const auto write = [&](const std::string& target, int bytes = 0, const std::string& body = "") {
        return target + api + kApiHost + "\r\nContent-Length: " + std::to_string(bytes) +
               "\r\nContent-Type: application/json\r\n\r\n" + body + "\r\n";
    };
    const auto token = [](const std::string& path, const std::string& body) {
        return "POST " + path + " HTTP/1.1\r\nAccept: application/json\r\nHost: " + kOAuthHost +
               "\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + body + "\r\n";
    };
    const std::string client = std::string("client_id=") + kClientID + "&client_secret=" + kClientSecret;
    const std::string codeForm = "code=c 1%s&=+&" + client + "&redirect_uri=https://host.example/redirect/" +
                                 std::to_string(OAUTH_REDIRECT_LEGACY) + "&grant_type=authorization_code";
    const std::string refreshForm = client + "&refresh_token=refresh-1&grant_type=refresh_token";
    const std::string noHost = api + "\r\nContent-Length: 0\r\n\r\n\r\n\r\n";
    const std::string noUser = ": Could not ID user by index: ";

    struct {
        int method, command;
        std::string bytes;
        const char* userId = "per-1";
        Lines reports = {};
        // clang-format off
    } const rows[] = {
        // The method decides on the form, the command on the path.
        {0, 0, token("/oauth/token", codeForm)},
        {1, 11, token("/access_persons/%s/accesses", refreshForm)},
        {2, 2, plain("GET /locations")},
        {2, 3, plain("GET /locations/loc-1")},
        {2, 4, plain("GET /devices")},
        {2, 6, plain("GET /devices/dev-1")},
        {2, 7, plain("GET /access_persons")},
        {2, 12, plain("GET /access_persons/p%s%n/accesses"), "p%s%n"},
        // Reads of what cannot be read have no path.
        {2, 0, plain("GET ")},
        {3, 8, write("POST /access_persons", 105, R"({"type":"access_user","attributes":)"
         R"({"name":"Ann \"A\" \\ 100%s é","email":"ann@x.example","pin":"0042"}})"), "4"},
        {3, 8, write("POST /access_persons", 63,
         R"({"type":"access_user","attributes":{"name":"Bob","pin":"2222"}})"), "5 and more"},
        {3, 9, write("PUT /access_persons/per-1", 41, R"({"attributes":{"name":"Cy","pin":"0003"}})")},
        {3, 13, write("POST /access_persons/per-1/accesses", 65,
         R"({"attributes":{"accessible_id":"dev-1","accessible_type":"lock"}})")},
        {3, 15, write("POST /access_persons/per-1/email/notify")},
        {3, 17, write("PUT /devices/dev-1/unlock")},
        {4, 10, plain("DELETE /access_persons/per-1")},
        {4, 14, plain("DELETE /access_persons/per-1/accesses/acc-%n1")},
        // The command chooses verb and path, the method the headers of the body.
        {3, 10, write("DELETE /access_persons/per-1")},
        {4, 16, plain("PUT /devices/dev-1/lock")},
        {3, 11, write("", 2, "{}")},
        // Any other method is an API request without host, target and type, also a negative one.
        {5, 2, noHost},
        {-1, 16, noHost},
        // A body that cannot be built stays empty; the request goes out.
        {3, 8, write("POST /access_persons"), "7", {"report vestarai 2102" + noUser + "[7]"}},
        {3, 8, write("POST /access_persons"), "6",
         {"report vestarai 2107: User by this index [6] already has an ID - not creating duplicate"}},
        {3, 9, write("PUT /access_persons/4"), "4", {"report vestarai 2129" + noUser + "[4]"}},
        {3, 13, write("POST /access_persons/%d/accesses"), "%d", {"report vestarai 2145" + noUser + "[%d]"}},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.command) + " of " + row.userId + ": " + row.bytes);
        m_cloud.Reply(204, "");
        EXPECT_EQ(Send(account, row.method, row.command, "loc-1", "dev-1", row.userId), 1);
        EXPECT_EQ(TakeEffects(), row.reports);
        const auto sent = m_cloud.TakeRequests();
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].bytes, row.bytes);
        EXPECT_NE(row.bytes.find("\r\nHost: " + sent[0].host + "\r\n"), std::string::npos) << sent[0].host;
        EXPECT_EQ(sent[0].port, 443);
    }
    CVestaraInterface& withoutPersons = AddReadyAccount();
    for (const int command : {8, 9}) {
        m_cloud.Reply(204, "");
        EXPECT_EQ(Send(withoutPersons, METHOD_WRITE, command, "loc-1", "dev-1", "4"), 1);
    }
    EXPECT_EQ(TakeEffects(),
              (Lines{"report vestarai 3204: AccessPersons list has not yet been initialzied "
                     "or there are no users",
                     "report vestarai 2102" + noUser + "[4]", "report vestarai 2129" + noUser + "[4]"}));
}

TEST_F(RequestsTest, AreRefusedWithTheFirstThingThatIsMissing)
{
    CVestaraInterface& account = AddAccount();
    account.TraceEnabled(1);
    const auto refused = [&](int method, int command, const char* locationId, const char* deviceId,
                             const Lines& effects) {
        SCOPED_TRACE(testing::PrintToString(effects));
        Probe(account).Authorized() = 1;
        EXPECT_EQ(Send(account, method, command, locationId, deviceId), 0);
        EXPECT_EQ(TakeEffects(), effects);
    };
    const std::string data = "report vestarai 830: Data could not be assembled";
    const std::string header = "report vestarai 837: Header could not be assembled";
    const std::string unknown = "report vestarai 3090: Unknown CommandID: ";
    const std::string broadcast = "trace: ClientBroadcast message: [0] to [0] clients";
    refused(3, 16, "", "",
            {"report vestarai 1807: Missing/bad AccessToken - Cannot read/write to server", data});
    Probe(account).AccessToken() = "A";
    refused(0, 0, "l", "d",
            {broadcast, "report vestarai 1832: Missing AuthCode - cannot authenticate", data});
    refused(1, 1, "l", "d",
            {broadcast, "report vestarai 1851: Missing RefreshToken - cannot refresh AccessToken", data});
    refused(3, 16, "", "", {"report vestarai 1860: Missing DeviceID on WRITE", data});
    refused(4, 14, "", "d", {"report vestarai 1865: Missing LocationID on WRITE", data});
    refused(2, 18, "", "", {unknown + "18", "report vestarai 1914: Missing DataPath on READ", header});
    refused(3, -1, "l", "d",
            {"trace: {}", unknown + "-1", "report vestarai 1947: Missing DataPath on WRITE", header});
    EXPECT_TRUE(m_cloud.TakeRequests().empty());
}

TEST_F(RequestsTest, TracesHideTheSnapshotOfTheSecrets)
{
    CVestaraInterface& account = AddReadyAccount();
    account.TraceEnabled(1);
    account.GenObfuscationList();
    Probe(account).RefreshToken() = "refresh-1%s";
    m_cloud.ReplyRaw({"HTTP/1.1 204 X\r\n\r\n", "%d refresh-1"});
    Send(account, METHOD_READ, CMD_ACCESSES_LIST, "loc-1", "dev-1", "%s%n");
    EXPECT_EQ(m_journal.TakeTraces(),
              (Lines{"HTTPS message [GET /access_persons/%s%n/accesses HTTP/1.1\r\n"
                     "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer ***\r\n"
                     "Host: " VESTARA_API_HOST "\r\n\r\n]",
                     "Got [HTTP/1.1 204 X\r\n\r\n%d ***]", "Deletion Handled", "Command successful"}));
    m_cloud.Reply(204, "access-1");
    Send(account, METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH);
    const Lines traces = m_journal.TakeTraces();
    const std::string masked = "client_id=***&client_secret=***&refresh_token=***%s&grant_type=refresh_token";
    ASSERT_EQ(traces.size(), 4u);
    EXPECT_NE(traces[0].find("\r\n\r\n" + masked), std::string::npos) << traces[0];
    EXPECT_EQ(traces[1], "HTTPS data [" + masked + "]");

    // The list is made anew on each call, of the secrets of that time.
    Probe(account).AccessToken() = "later";
    m_cloud.Reply(204, "");
    Send(account, METHOD_READ, CMD_LOCATIONS_LIST);
    EXPECT_NE(m_journal.TakeTraces().at(0).find("Bearer later\r\n"), std::string::npos);
    const CQXObList& list = *account.GenObfuscationList();
    EXPECT_EQ(list.GetCount(), 4);
    EXPECT_EQ(std::string(*static_cast<CQXString*>(list.GetAt(list.GetHeadPosition()))), "later");
}

} // namespace support
