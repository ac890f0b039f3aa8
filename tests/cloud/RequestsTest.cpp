// The bytes of each request, and the requests that are refused before anything is sent, and what traces show
// of secrets.

#include "support/TestHost.h"

namespace support
{

const std::string kApi = "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer access-1\r\n"
                         "Host: " VESTARA_API_HOST "\r\n";
const std::string kOAuth = "Accept: application/json\r\nHost: " VESTARA_OAUTH_HOST "\r\n";
const std::string kJson = "Content-Type: application/json\r\n\r\n";
const std::string kForm = "Content-Type: application/x-www-form-urlencoded\r\n\r\n";
const std::string kClient =
    "client_id=90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb"
    "&client_secret=93c31de54668d0d386c03267084debd35cf0a7303fb7bf07d80fa3e86177828b&";

struct Row {
    int Method;
    int Command;
    std::string Bytes;
    std::string UserID = "per-1";
    Lines Reports = {};
};

class Requests : public DriverTest
{
protected:
    CVestaraInterface& AddAccountWithPersons()
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).AuthCode() = "c 1%s&=+";
        Probe(Account).RedirectSchema() = OAUTH_REDIRECT_LEGACY;
        AddPerson(Account, 4, "", "Ann \"A\" \\ 100%s \xC3\xA9", "0042", "ann@x.example");
        AddPerson(Account, 5, "", "Bob", "2222");
        AddPerson(Account, 6, "per-1", "Cy", "0003", "cy@x.example");
        return Account;
    }

    int Send(CVestaraInterface& Account, int Method, int Command, const char* LocationID,
             const char* DeviceID, const char* UserID = "per-1")
    {
        return Account.SendCommand(std::make_unique<CVestaraCommand>(
            static_cast<VestaraMethod>(Method), static_cast<CommandID>(Command), LocationID, DeviceID, UserID,
            "acc-%n1"));
    }
};

TEST_F(Requests, GoOutByteForByte)
{
    CVestaraInterface& Account = AddAccountWithPersons();
    const std::string CodeForm = "code=c 1%s&=+&" + kClient + "redirect_uri=https://host.example/redirect/" +
                                 std::to_string(OAUTH_REDIRECT_LEGACY) + "&grant_type=authorization_code";
    const std::string RefreshForm = kClient + "refresh_token=refresh-1&grant_type=refresh_token";
    const std::string Ann =
        R"({"type":"access_user","attributes":{"name":"Ann \"A\" \\ 100%s é","email":"ann@x.example","pin":"0042"}})";
    const auto Length = [](const std::string& Body) {
        return "Content-Length: " + std::to_string(Body.size()) + "\r\n";
    };
    const auto Read = [](const std::string& Path) { return "GET " + Path + " HTTP/1.1\r\n" + kApi + "\r\n"; };
    const auto Write = [](const std::string& Target, int Bytes = 0, const std::string& Body = "") {
        return Target + " HTTP/1.1\r\n" + kApi + "Content-Length: " + std::to_string(Bytes) + "\r\n" + kJson +
               Body + "\r\n";
    };
    const auto Delete = [](const std::string& Target) { return Target + " HTTP/1.1\r\n" + kApi + "\r\n"; };
    const std::string NoBlank = "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer "
                                "access-1\r\nHost: \r\nContent-Length: 0\r\n\r\n\r\n\r\n";

    // clang-format off
    const Row Rows[] = {
        // Token requests: the method decides on the form, the command on the path.
        {0, 0, "POST /oauth/token HTTP/1.1\r\n" + kOAuth + Length(CodeForm) + kForm + CodeForm + "\r\n"},
        {1, 1, "POST /oauth/token HTTP/1.1\r\n" + kOAuth + Length(RefreshForm) + kForm + RefreshForm +
         "\r\n"},
        {1, 16, "POST /devices/%s/lock HTTP/1.1\r\n" + kOAuth + Length(RefreshForm) + kForm + RefreshForm +
         "\r\n"},
        {2, 2, Read("/locations")},
        {2, 3, Read("/locations/loc-1")},
        {2, 4, Read("/devices")},
        {2, 6, Read("/devices/dev-1")},
        {2, 7, Read("/access_persons")},
        {2, 12, Read("/access_persons/p%s%n/accesses"), "p%s%n"},
        // Reads of what cannot be read have no path.
        {2, 0, Read("")},
        {3, 8, Write("POST /access_persons", 105, Ann), "4"},
        {3, 8, Write("POST /access_persons", 63,
         R"({"type":"access_user","attributes":{"name":"Bob","pin":"2222"}})"), "5 and more"},
        {3, 9, Write("PUT /access_persons/per-1", 41, R"({"attributes":{"name":"Cy","pin":"0003"}})")},
        {3, 13, Write("POST /access_persons/per-1/accesses", 65,
         R"({"attributes":{"accessible_id":"dev-1","accessible_type":"lock"}})")},
        {3, 15, Write("POST /access_persons/per-1/email/notify")},
        {3, 16, Write("PUT /devices/dev-1/lock")},
        {3, 17, Write("PUT /devices/dev-1/unlock")},
        {4, 10, Delete("DELETE /access_persons/per-1")},
        {4, 14, Delete("DELETE /access_persons/per-1/accesses/acc-%n1")},
        // The command chooses verb and path, the method the headers of the body.
        {3, 10, Write("DELETE /access_persons/per-1")},
        {4, 16, Delete("PUT /devices/dev-1/lock")},
        {3, 11, Write("", 2, "{}")},
        // Any other method is an API request without host, target and type, also a negative one.
        {5, 2, " HTTP/1.1\r\n" + NoBlank},
        {-1, 16, " HTTP/1.1\r\n" + NoBlank},
        // A body that cannot be built stays empty; the request goes out.
        {3, 8, Write("POST /access_persons"), "7", {"report vestarai 2102: Could not ID user by index: [7]"}},
        {3, 8, Write("POST /access_persons"), "6",
         {"report vestarai 2107: User by this index [6] already has an ID - not creating duplicate"}},
        {3, 9, Write("PUT /access_persons/4"), "4",
         {"report vestarai 2129: Could not ID user by index: [4]"}},
        {3, 13, Write("POST /access_persons/%d/accesses"), "%d",
         {"report vestarai 2145: Could not ID user by index: [%d]"}},
    };
    // clang-format on
    for (const Row& Row : Rows) {
        SCOPED_TRACE("method " + std::to_string(Row.Method) + ", command " + std::to_string(Row.Command) +
                     ", user " + Row.UserID);
        m_Cloud.Reply(204, "");
        EXPECT_EQ(Send(Account, Row.Method, Row.Command, "loc-1", "dev-1", Row.UserID.c_str()), 1);
        EXPECT_EQ(TakeEffects(), Row.Reports);
        const auto Sent = m_Cloud.TakeRequests();
        ASSERT_EQ(Sent.size(), 1u);
        EXPECT_EQ(Sent[0].Bytes, Row.Bytes);
        EXPECT_EQ(Sent[0].Port, 443);
        const bool bApi = Row.Method >= 2 && Row.Method <= 4;
        const bool bToken = Row.Method == 0 || Row.Method == 1;
        EXPECT_EQ(Sent[0].Host, bApi ? VESTARA_API_HOST : bToken ? VESTARA_OAUTH_HOST : "");
    }
}

TEST_F(Requests, AreRefusedWithTheFirstThingThatIsMissing)
{
    const std::string Data = "report vestarai 830: Data could not be assembled";
    const std::string Header = "report vestarai 837: Header could not be assembled";
    const std::string Token = "report vestarai 1807: Missing/bad AccessToken - Cannot read/write to server";
    const std::string Device = "report vestarai 1860: Missing DeviceID on WRITE";
    const std::string Location = "report vestarai 1865: Missing LocationID on WRITE";
    const std::string Broadcast = "~trace: ClientBroadcast message: [0] to [0] clients";
    struct {
        int Method, Command;
        const char *LocationID, *DeviceID;
        bool Tokens;
        Lines Effects;
        // clang-format off
    } const Rows[] = {
        {2, 4, "", "", false, {Token, Data}},
        {3, 16, "", "", false, {Token, Data}},
        {0, 0, "", "", false, {Broadcast, "report vestarai 1832: Missing AuthCode - cannot authenticate",
         Data}},
        {1, 1, "", "", false, {Broadcast,
         "report vestarai 1851: Missing RefreshToken - cannot refresh AccessToken", Data}},
        {3, 16, "", "", true, {Device, Data}},
        {4, 10, "loc-1", "", true, {Device, Data}},
        {4, 14, "", "dev-1", true, {Location, Data}},
        {2, 18, "", "", true, {"report vestarai 3090: Unknown CommandID: 18",
         "report vestarai 1914: Missing DataPath on READ", Header}},
        {3, -1, "loc-1", "dev-1", true, {"~trace: {}", "report vestarai 3090: Unknown CommandID: -1",
         "report vestarai 1947: Missing DataPath on WRITE", Header}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE("method " + std::to_string(Row.Method) + ", command " + std::to_string(Row.Command) +
                         (Row.Tokens ? ", tokens" : "") + (bTracing ? ", traced" : ""));
            CVestaraInterface& Account = Row.Tokens ? AddReadyAccount() : AddAccount();
            Probe(Account).Authorized() = 1;
            Account.TraceEnabled(bTracing);
            EXPECT_EQ(Send(Account, Row.Method, Row.Command, Row.LocationID, Row.DeviceID), 0);
            EXPECT_EQ(TakeEffects(), WithTracing(bTracing, Row.Effects));
            EXPECT_EQ(Probe(Account).Authorized(), Row.Method > 1);
            EXPECT_TRUE(m_Cloud.TakeRequests().empty());
        }
    }
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
    Send(Account, METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH, "", "");
    const Lines Traces = m_Journal.TakeTraces();
    const std::string Masked = "client_id=***&client_secret=***&refresh_token=***%s&grant_type=refresh_token";
    ASSERT_EQ(Traces.size(), 4u);
    EXPECT_NE(Traces[0].find("\r\n\r\n" + Masked), std::string::npos) << Traces[0];
    EXPECT_EQ(Traces[1], "HTTPS data [" + Masked + "]");

    // The list is made anew on each call, of the secrets of that time.
    Probe(Account).AccessToken() = "later";
    m_Cloud.Reply(204, "");
    Send(Account, METHOD_READ, CMD_LOCATIONS_LIST, "", "");
    EXPECT_NE(m_Journal.TakeTraces().at(0).find("Bearer later\r\n"), std::string::npos);
    const CQXObList& List = Probe(Account).ObfuscationList();
    EXPECT_EQ(Account.GenObfuscationList(), Account.GenObfuscationList());
    EXPECT_EQ(List.GetCount(), 4);
    EXPECT_EQ(std::string(*static_cast<CQXString*>(List.GetAt(List.GetHeadPosition()))), "later");
    EXPECT_EQ(Account.PurgeObfuscationList() + List.GetCount(), 0);
}

} // namespace support
