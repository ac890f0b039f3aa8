// The configurator: who is let in, what each route answers, the OAuth redirect.

#include "devhost/controller/ConfiguratorApi.h"
#include "devhost/controller/RequestGuard.h"
#include "tests/devhost/FakePlugin.h"

namespace
{

using devhost::ApiResponse;
using nlohmann::json;

// What is stored into a lock's status page: the answers to its two choosers.
std::string StatusPage(const std::string& Choosers)
{
    return R"({"items":[{"string":""},{"string":""},{"string":""},)" + Choosers + "]}";
}

class ApiTest : public SystemTest
{
protected:
    void SetUp() override
    {
        Restart();
        m_pAccount = &AddInterface();
        m_pLock = &AddLock(*m_pAccount, "Front door");
        devhost::ConfiguratorApi::Options Options;
        Options.AuthorizeBase = "https://127.0.0.1:8443";
        Options.pLog = &m_Log;
        m_pApi = std::make_unique<devhost::ConfiguratorApi>(*m_pSystem, std::move(Options));
    }

    // A request like "GET /api/v1/locks".
    ApiResponse Ask(const std::string& MethodAndTarget, const std::string& Body = "")
    {
        const std::size_t Space = MethodAndTarget.find(' ');
        auto Request = devhost::ParseTarget(MethodAndTarget.substr(Space + 1));
        Request->Method = MethodAndTarget.substr(0, Space);
        Request->Body = Body;
        return m_pApi->Serve(*Request);
    }
    json AskJson(const std::string& Request) { return json::parse(Ask(Request).Body); }
    std::string LockPath() const { return "/api/v1/locks/" + std::to_string(m_pLock->ID()); }
    std::string AccountPath() const { return "/api/v1/interfaces/" + std::to_string(m_pAccount->BridgeID()); }

    FakeInterface* m_pAccount = nullptr;
    FakeLock* m_pLock = nullptr;
    devhost::DiagnosticLog m_Log{{}};
    std::unique_ptr<devhost::ConfiguratorApi> m_pApi;
};

} // namespace

TEST(RequestGuard, LetsInOnlyWhatNoForeignPageCanSend)
{
    // clang-format off
    struct {
        std::string Host;
        int Status; // 0: let in
        std::string Origin = "", Method = "GET", Type = "", Path = "/x", Site = "";
    } const Rows[] = {
        {"127.0.0.1:8080", 0}, {"LOCALHOST:8080", 0}, {"[::1]:8080", 0}, {"127.0.0.1:8081", 421},
        {"127.0.0.1", 421}, {"", 421}, {"127.0.0.1:8080@evil.example:8080", 421},
        {"localhost:8080", 0, "http://localhost:8080"}, {"localhost:8080", 403, "https://localhost:8080"},
        {"localhost:8080", 403, "http://evil.example"}, {"localhost:8080", 403, "null"},
        {"localhost:8080", 0, "null", "GET", "", "/oauth/redirect"},
        {"evil.example:8080", 421, "", "GET", "", "/oauth/redirect"}, {"localhost:8080", 0, "", "DELETE"},
        {"localhost:8080", 0, "", "PUT", "Application/JSON ; charset=utf-8"}, {"localhost:8080", 415, "", "POST"},
        {"localhost:8080", 415, "", "POST", "application/jsonx"}, {"localhost:8080", 415, "", "DELETE", "text/plain"},
        {"localhost:8080", 0, "", "GET", "", "/x", "none"}, {"localhost:8080", 403, "", "GET", "", "/x", "same-site"},
        {"localhost:8080", 403, "", "GET", "", "/x", "cross-site"},
        {"localhost:8080", 0, "http://localhost:8080", "PUT", "application/json", "/x", "same-origin"},
        {"localhost:8080", 0, "", "GET", "", "/oauth/redirect", "cross-site"},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        const auto Refusal = devhost::CheckRequest(
            {Row.Method, Row.Path, Row.Host, Row.Origin, Row.Site, Row.Type, !Row.Type.empty()}, 8080);
        EXPECT_EQ(Refusal ? Refusal->Status : 0, Row.Status)
            << "row " << &Row - Rows << ", host " << Row.Host;
    }
}

TEST_F(ApiTest, BadRequestsAreAnsweredWithWhatIsWrongAndChangeNothing)
{
    const std::string Lock = "PUT " + LockPath(), Account = "PUT " + AccountPath();
    const std::string Command = "POST " + LockPath() + "/commands", User = "PUT /api/v1/users/0";
    const auto Deep = [](std::size_t n) { return std::string(n, '[') + std::string(n, ']'); };
    const std::string kNone = "404 not_found", kBody = "400 bad_body", kUser = "400 bad_user";
    // clang-format off
    const std::string Rows[][3] = {
        {"GET /api/v1/nothing", "", kNone}, {"GET /api/v1/locks/-1", "", kNone},
        {"GET /api/v1/locks/99999999999", "", kNone}, {"DELETE /api/v1/users/0", "", kNone},
        {"PUT /api/v1/status", "{}", "405 method_not_allowed"},
        {Command, "[]", "400 bad_json"}, {Command, R"({"command":)" + Deep(31) + "}", "400 bad_body"},
        {Command, R"({"command":)" + Deep(32) + "}", "400 bad_json"},
        {Command, R"({"command":)" + Deep(32'000) + "}", "400 bad_json"},
        {Command, std::string("{}\0x", 4), "400 bad_json"}, {Command, "{}", "400 bad_command"},
        {Command, R"({"command":1})", kBody}, {Command, R"({"command":"unlock"})", kUser},
        {Command, R"({"user":0,"command":"unlock"})", kUser},
        {Command, R"({"user":31,"command":"unlock"})", kUser},
        {Command, R"({"user":1e99,"command":"unlock"})", kUser},
        {Command, R"({"command":"unlock","user":7})", "409 no_user"},
        {Command, R"({"command":"lock"})", "409 refused"}, {Command, R"({"command":"lock","x":1})", kBody},
        {Lock + "/users/31", R"({"enabled":true})", kNone}, {Lock + "/users/3", R"({"enabled":1})", kBody},
        {Lock + "/status-page", R"({"items":[{"int":1}]})", kBody}, {Lock + "/status-page", "{}", kBody},
        {Lock + "/status-page", StatusPage(R"({"int":0},{"int":4294967296})"), kBody},
        {Lock + "/status-page", StatusPage(R"({"int":2},{"int":0})"), "400 bad_page"},
        {Account + "/page", R"({"properties":{"2001":2}})", "400 bad_page"},
        {Account + "/page", R"({"properties":{"x":0}})", kBody}, {Account + "/page", "{}", kBody},
        {Account + "/page", R"({"properties":{},"list":0})", kBody},
        {Account + "/page", R"({"properties":{"2001":-1}})", kBody},
        {Account + "/extended-page", R"({"selected":0})", "409 no_page"},
        {"POST " + AccountPath() + "/actions/20004", "", "409 no_action"},
        {"POST /api/v1/interfaces", R"({"type":99})", "400 bad_type"},
        {"PUT /api/v1/users/30", R"({"name":"A","pin":"1234"})", kNone},
        {User, R"({"name":"A","pin":"123"})", kUser}, {User, R"({"name":"A","pin":"12a4"})", kUser},
        {User, R"({"name":"A","pin":"12345678901234567"})", kUser},
        {User, R"({"name":"A\r\nB","pin":"1234"})", kUser}, {User, R"({"name":"A ","pin":"1234"})", kUser},
        {User, R"({"name":"A","pin":"1234","email":"no address"})", kUser},
        {User, R"({"name":"Eve","pin":"4321"})", "409 duplicate_user"},
        {User, R"({"name":"A","pin":"8765"})", "409 duplicate_user"},
        {User, R"({"name":"A","pin":"1234","Email":""})", kBody}, {"POST /api/v1/save", R"({"x":0})", kBody},
        {"PUT /api/v1/trace-switches", R"({"Fake":1})", kBody},
        {"PUT /api/v1/trace-switches", R"({"Fake":true,"Nobody":true})", "400 bad_producer"},
        {"GET /api/v1/traces?since=x", "", "400 bad_parameter"},
        {"POST /api/v1/events", "{}", "405 method_not_allowed"},
        {"POST /oauth/redirect", "{}", "405 method_not_allowed"},
    };
    // clang-format on
    EXPECT_EQ(Ask(Account + "/page", R"({"properties":{"2001":1}})").Status, 409) << "not shown yet";
    ASSERT_EQ(Ask("PUT /api/v1/users/9", R"({"name":"Eve","pin":"8765"})").Status, 200);
    m_pLock->RegisterLockSecured(1);
    m_pLock->Slots.clear();
    const json Before = AskJson("GET /api/v1/locks");
    Ask("GET " + AccountPath() + "/page");
    for (const auto& [Request, Body, Expected] : Rows) {
        const ApiResponse Answer = Ask(Request, Body);
        const std::string Code = json::parse(Answer.Body)["error"]["code"];
        EXPECT_EQ(std::to_string(Answer.Status) + " " + Code, Expected) << Request << " " << Body;
        EXPECT_EQ(Answer.Body.find("json."), std::string::npos) << "a library's words: " << Answer.Body;
    }
    EXPECT_EQ(AskJson("GET /api/v1/locks"), Before);
    EXPECT_EQ(m_pLock->Commands, std::vector<std::string>());
    EXPECT_EQ(m_pLock->Slots, std::vector<int>());
}

TEST_F(ApiTest, CommandsPagesAndActionsReachTheDriver)
{
    Ask("PUT /api/v1/users/2", R"({"name":"Ann","pin":"1234"})");
    Ask("POST " + LockPath() + "/commands", R"({"command":"unlock","user":3})");
    Ask("POST " + LockPath() + "/commands", R"({"command":"lock"})");
    EXPECT_EQ(m_pLock->Commands, (std::vector<std::string>{"1271/3", "1270/0"}));

    EXPECT_EQ(Ask("PUT " + LockPath() + "/status-page", StatusPage(R"({"int":1},{"int":0})")).Status, 200);
    EXPECT_EQ(m_pLock->Commands.back(), "page");

    int House = -1, Builds = 0;
    m_pAccount->OnBuild = [&] { ++Builds; };
    m_pAccount->OnStore = [&](int Selected) { House = Selected; };
    EXPECT_TRUE(AskJson("GET /api/v1/interfaces")["interfaces"][0]["master"].is_null());
    EXPECT_EQ(Builds, 0) << "a page asks the cloud, and a list shows no page";
    Ask("GET " + AccountPath() + "/page");
    EXPECT_EQ(AskJson("GET " + AccountPath())["master"], true);
    EXPECT_EQ(Builds, 1);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/page", R"({"properties":{"2001":1}})").Status, 200);
    EXPECT_EQ(House, 1);
    EXPECT_EQ(AskJson("GET " + AccountPath() + "/extended-page")["master"], true);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/extended-page", R"({"selected":2})").Status, 400);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/extended-page", R"({"selected":0})").Status, 200);
    EXPECT_EQ(m_pAccount->ExtendedChoice, 0);

    EXPECT_EQ(AskJson("POST " + AccountPath() + "/actions/20003")["result"], 1);
    EXPECT_EQ(AskJson("POST " + AccountPath() + "/actions/20002")["browser_url"],
              "https://127.0.0.1:8443/authorize?state=1");
    EXPECT_EQ(AskJson("POST /api/v1/restart")["restarts"], 1);
    EXPECT_EQ(AskJson("GET /api/v1/status")["save"]["kept_aside"], json::array());
    EXPECT_EQ(m_pAccount->Inits, 2);
}

TEST_F(ApiTest, AnAnswerToAListThatHasChangedIsRefused)
{
    m_pAccount->OnStore = [&](int Selected) { m_pAccount->ExtendedChoice = Selected; };
    const std::string kPages[][2] = {{"/page", R"("properties":{"2001":1})"},
                                     {"/extended-page", R"("selected":1)"}};
    for (const auto& Row : kPages) {
        const std::string &Page = Row[0], &Answer = Row[1];
        SCOPED_TRACE(Page);
        const auto Get = [&] { return AskJson("GET " + AccountPath() + Page)["list"].dump(); };
        const auto Put = [&](const std::string& Named) {
            return Ask("PUT " + AccountPath() + Page, "{" + Answer + Named + "}").Status;
        };
        m_pAccount->Houses = {"Lake House", "Cabin"};
        const std::string First = Get();
        m_pAccount->Houses = {"Cabin", "Flat"};
        m_pAccount->ExtendedChoice = -1;
        EXPECT_EQ(Put(""), 409);
        m_pSystem->Pages().Open(m_pAccount->BridgeID(), *m_pAccount); // as after a notice
        EXPECT_EQ(Put(""), 409) << "a page that was built again was not seen yet";
        const std::string Second = Get();
        EXPECT_EQ(Put(",\"list\":" + First), 409) << "shown since, but to somebody else";
        EXPECT_EQ(m_pAccount->ExtendedChoice, -1);
        EXPECT_EQ(Put(",\"list\":" + Second), 200);
        EXPECT_EQ(m_pAccount->ExtendedChoice, 1);
    }
}

TEST_F(ApiTest, SecretsAreShownOnlyWhenAskedFor)
{
    ASSERT_EQ(Ask("PUT /api/v1/users/0", R"({"name":"A","pin":"4711"})").Status, 200);
    const std::string kRows[][2] = {
        {"/api/v1/users", "4711"}, {"/api/v1/users/0", "4711"}, {LockPath() + "/status-page", "778899"}};
    for (const auto& [Target, Secret] : kRows) {
        EXPECT_EQ(Ask("GET " + Target).Body.find(Secret), std::string::npos) << Target;
        EXPECT_NE(Ask("GET " + Target + "?secrets=1").Body.find(Secret), std::string::npos) << Target;
    }
}

TEST_F(ApiTest, AFollowerThatAsksForNoEntriesIsNotSentBack)
{
    for (int i = 0; i < 3; ++i)
        m_Log.OnTrace("Fake", "line");
    EXPECT_EQ(AskJson("GET /api/v1/traces?limit=0")["last"], 3);
    EXPECT_EQ(AskJson("GET /api/v1/traces?since=2&limit=0")["last"], 2) << "the third was not read yet";
}

TEST_F(ApiTest, ChangesOfUsersAreReportedToInstalledLocksAndRightsEndWithTheUser)
{
    FakeInterface& Other = AddInterface();
    FakeLock& Orphan = AddLock(Other, "Shed");
    Ask("DELETE /api/v1/interfaces/" + std::to_string(Other.BridgeID()));

    Ask("PUT /api/v1/users/2", R"({"name":"Ann","email":"ann@example.com","pin":"1234"})");
    Ask("PUT " + LockPath() + "/users/3", R"({"enabled":true})");
    EXPECT_EQ(m_pLock->IsUserEnabled(3), 1) << "the user at slot 2 is user 3";
    Ask("PUT /api/v1/users/2", R"({"name":"Anna"})");
    EXPECT_EQ(AskJson("GET /api/v1/users/2?secrets=1")["pin"], "1234") << "what is left out stays";
    Ask("DELETE /api/v1/users/2");
    EXPECT_EQ(m_pLock->Slots, (std::vector<int>{2, 2, 2, 2}));
    EXPECT_EQ(m_pLock->IsUserEnabled(3), 0);
    EXPECT_TRUE(Orphan.Slots.empty()) << "a lock without an account has no cloud to tell";
}

TEST_F(ApiTest, TheRedirectHandsACodeOverOnceAndExplainsEveryRefusal)
{
    const auto NewState = [&] { return "&state=" + m_pAccount->NewState(); };
    const std::string Used = NewState();
    // clang-format off
    struct {
        std::string Query;
        int Status;
        const char* Says;
    } const Rows[] = {
        {"code=abc%2F1" + Used, 200, "Authorised"}, {"code=abc" + Used, 400, "used already"},
        {"code=abc", 400, "no state"}, {NewState(), 400, "no authorisation code"},
        {"code=a%0D%0Ab" + NewState(), 400, "no code has"}, {"code=a%C3%A9" + NewState(), 400, "no code has"},
        {"code=" + std::string(2049, 'a') + NewState(), 400, "2048"},
        {"code=a%26grant_type" + NewState(), 400, "&#38;"}, {"code=a=b" + NewState(), 400, "holds &#34;="},
        {"code=a+b" + NewState(), 400, "form"}, {"code=a%2Bb" + NewState(), 400, "form"},
        {"code=a%25b" + NewState(), 400, "form"}, {"code=a%3Bb" + NewState(), 400, "form"},
        {"code=~%21%3A%23" + NewState(), 200, "Authorised"},
        {"code=a&code=b" + NewState(), 400, "twice"},
        {"error=access_denied" + NewState(), 403, "access_denied"},
        {"error=%3Cscript%3E" + NewState(), 400, "&#60;script&#62;"},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        const ApiResponse Answer = Ask("GET /oauth/redirect?" + Row.Query);
        EXPECT_EQ(Answer.Status, Row.Status) << Row.Query;
        EXPECT_NE(Answer.Body.find(Row.Says), std::string::npos) << Row.Query << "\n" << Answer.Body;
        EXPECT_EQ(Answer.Body.find("<script"), std::string::npos);
    }
    EXPECT_EQ(m_pAccount->Codes, (std::vector<std::string>{"abc/1", "~!:#"}));
}
