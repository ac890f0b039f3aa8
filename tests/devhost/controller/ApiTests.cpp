// The configurator: who is let in, what each route answers, the OAuth redirect.

#include "devhost/controller/ConfiguratorApi.h"
#include "devhost/controller/RequestGuard.h"
#include "tests/devhost/controller/FakePlugin.h"

#include <array>

namespace
{

using devhost::ApiResponse;
using nlohmann::json;

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
        Options.Shutdown = [this] { ++m_Shutdowns; };
        m_pApi = std::make_unique<devhost::ConfiguratorApi>(*m_pSystem, std::move(Options));
    }

    ApiResponse Ask(const std::string& Method, const std::string& Target, const std::string& Body = "")
    {
        auto Request = devhost::ParseTarget(Target);
        Request->Method = Method;
        Request->Body = Body;
        return m_pApi->Serve(*Request);
    }
    json Get(const std::string& Target) { return json::parse(Ask("GET", Target).Body); }
    std::string LockPath() const { return "/api/v1/locks/" + std::to_string(m_pLock->ID()); }
    std::string AccountPath() const { return "/api/v1/interfaces/" + std::to_string(m_pAccount->BridgeID()); }

    FakeInterface* m_pAccount = nullptr;
    FakeLock* m_pLock = nullptr;
    int m_Shutdowns = 0;
    std::unique_ptr<devhost::ConfiguratorApi> m_pApi;
};

} // namespace

TEST(RequestGuard, LetsInOnlyWhatNoForeignPageCanSend)
{
    // clang-format off
    struct {
        std::string Host;
        int Status; // 0: let in
        std::string Origin = "", Method = "GET", Type = "", Path = "/x";
    } const Rows[] = {
        {"127.0.0.1:8080", 0}, {"LOCALHOST:8080", 0}, {"[::1]:8080", 0}, {"127.0.0.1:8081", 421},
        {"127.0.0.1", 421}, {"", 421}, {"evil.example:8080", 421}, {"127.0.0.1:8080@evil.example:8080", 421},
        {"localhost:8080", 0, "http://localhost:8080"}, {"localhost:8080", 403, "https://localhost:8080"},
        {"localhost:8080", 403, "http://evil.example"}, {"localhost:8080", 403, "null"},
        {"localhost:8080", 0, "null", "GET", "", "/oauth/redirect"},
        {"evil.example:8080", 421, "", "GET", "", "/oauth/redirect"},
        {"localhost:8080", 0, "", "POST", "application/json"},
        {"localhost:8080", 0, "", "PUT", "Application/JSON ; charset=utf-8"},
        {"localhost:8080", 415, "", "POST", "text/plain"}, {"localhost:8080", 415, "", "POST"},
        {"localhost:8080", 415, "", "POST", "application/jsonx"}, {"localhost:8080", 0, "", "DELETE"},
        {"localhost:8080", 415, "", "DELETE", "text/plain"},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        const auto Refusal = devhost::CheckRequest(
            {Row.Method, Row.Path, Row.Host, Row.Origin, Row.Type, !Row.Type.empty()}, 8080);
        EXPECT_EQ(Refusal ? Refusal->Status : 0, Row.Status)
            << Row.Method << " " << Row.Path << " host " << Row.Host << " origin " << Row.Origin << " type "
            << Row.Type;
    }
}

TEST_F(ApiTest, BadRequestsAreAnsweredWithWhatIsWrongAndChangeNothing)
{
    const std::string Users = "PUT /api/v1/users/";
    const char *kNone = "404 not_found", *kBody = "400 bad_body", *kUser = "400 bad_user",
               *kType = "400 bad_type";
    // clang-format off
    struct {
        std::string Request;
        std::vector<std::array<const char*, 2>> Bodies; // each with the answer
    } const Rows[] = {
        {"GET /api/v1/nothing", {{"", kNone}}}, {"GET /api/v1/locks/999", {{"", kNone}}},
        {"GET /api/v1/locks/-1", {{"", kNone}}}, {"GET /api/v1/locks/99999999999", {{"", kNone}}},
        {"PUT /api/v1/status", {{"{}", "405 method_not_allowed"}}},
        {"POST " + LockPath() + "/commands", {
            {"[]", "400 bad_json"}, {"{", "400 bad_json"}, {"{}", "400 bad_command"},
            {R"({"command":1})", kBody}, {R"({"command":"unlock"})", kUser},
            {R"({"user":0,"command":"unlock"})", kUser}, {R"({"user":31,"command":"unlock"})", kUser},
            {R"({"user":1e99,"command":"unlock"})", kUser}}},
        {"PUT " + LockPath() + "/users/31", {{R"({"enabled":true})", kNone}}},
        {"PUT " + LockPath() + "/users/3", {{R"({"enabled":1})", kBody}}},
        {"PUT " + LockPath() + "/status-page", {
            {R"({"items":[{"int":1}]})", kBody}, {"{}", kBody},
            {R"({"items":[{"string":""},{"string":""},{"string":""},{"int":0},{"int":4294967296}]})", kBody}
        }},
        {"PUT " + AccountPath() + "/page", {
            {R"({"properties":{"2001":2}})", "400 bad_page"}, {R"({"properties":{"x":0}})", kBody},
            {R"({"properties":{"2001":-1}})", kBody}}},
        {"PUT " + AccountPath() + "/extended-page", {{R"({"selected":0})", "409 no_page"}}},
        {"POST " + AccountPath() + "/actions/20004", {{"", "409 no_action"}}},
        {"POST /api/v1/interfaces", {{R"({"type":99})", kType}, {R"({"type":4294967303})", kType}}},
        {Users + "30", {{R"({"name":"A","pin":"1234"})", kNone}}},
        {Users + "0", {
            {R"({"name":"A","pin":"123"})", kUser}, {R"({"name":"A","pin":"12a4"})", kUser},
            {R"({"name":"A","pin":"12345678901234567"})", kUser}, {R"({"name":"","pin":"1234"})", kUser},
            {R"({"name":"A\r\nB","pin":"1234"})", kUser},
            {R"({"name":"A","pin":"1234","email":"no address"})", kUser}}},
        {"DELETE /api/v1/users/0", {{"", kNone}}}, {"PUT /api/v1/trace-switches", {{R"({"Fake":1})", kBody}}},
        {"GET /api/v1/traces?since=x", {{"", "400 bad_parameter"}}},
    };
    // clang-format on
    const json Before = Get("/api/v1/locks");
    for (const auto& Row : Rows) {
        for (const auto& [pBody, pResult] : Row.Bodies) {
            const std::size_t Space = Row.Request.find(' ');
            const ApiResponse Answer =
                Ask(Row.Request.substr(0, Space), Row.Request.substr(Space + 1), pBody);
            EXPECT_EQ(std::to_string(Answer.Status) + " " +
                          std::string(json::parse(Answer.Body)["error"]["code"]),
                      pResult)
                << Row.Request << " " << pBody;
        }
    }
    EXPECT_EQ(Get("/api/v1/locks"), Before);
    EXPECT_TRUE(m_pLock->Commands.empty());
    EXPECT_EQ(m_pLock->PagesStored, 0);
}

TEST_F(ApiTest, CommandsPagesAndActionsReachTheDriver)
{
    EXPECT_EQ(Ask("POST", LockPath() + "/commands", R"({"command":"unlock","user":3})").Status, 200);
    EXPECT_EQ(Ask("POST", LockPath() + "/commands", R"({"command":"lock"})").Status, 200);
    EXPECT_EQ(m_pLock->Commands, (std::vector<std::string>{"1271/3", "1270/0"}));

    int House = -1;
    int Builds = 0;
    m_pAccount->OnBuild = [&] { ++Builds; };
    EXPECT_TRUE(Get(AccountPath())["master"].is_null());
    EXPECT_TRUE(Get("/api/v1/interfaces")["interfaces"][0]["master"].is_null());
    EXPECT_EQ(Builds, 0) << "a page asks the cloud, and a list shows no page";
    Get(AccountPath() + "/page");
    EXPECT_EQ(Get(AccountPath())["master"], true);
    EXPECT_EQ(Builds, 1);
    m_pAccount->OnStore = [&](int Selected) { House = Selected; };
    EXPECT_EQ(Ask("PUT", AccountPath() + "/page", R"({"properties":{"2001":1}})").Status, 200);
    EXPECT_EQ(House, 1);
    EXPECT_EQ(Get(AccountPath() + "/extended-page")["master"], true);
    EXPECT_EQ(Ask("PUT", AccountPath() + "/extended-page", R"({"selected":2})").Status, 400);
    EXPECT_EQ(Ask("PUT", AccountPath() + "/extended-page", R"({"selected":1})").Status, 200);
    EXPECT_EQ(m_pAccount->ExtendedChoice, 1);

    const json Reset = json::parse(Ask("POST", AccountPath() + "/actions/20003").Body);
    EXPECT_EQ(Reset["result"], 1);
    const json Authorise = json::parse(Ask("POST", AccountPath() + "/actions/20002").Body);
    EXPECT_TRUE(std::string(Authorise["browser_url"]).starts_with("https://127.0.0.1:8443/authorize?state="));

    Ask("POST", "/api/v1/shutdown");
    EXPECT_EQ(m_Shutdowns, 1);
    EXPECT_EQ(json::parse(Ask("POST", "/api/v1/restart").Body)["restarts"], 1);
    EXPECT_EQ(Ask("DELETE", AccountPath()).Status, 200);
    EXPECT_EQ(Get("/api/v1/interfaces")["interfaces"].size(), 0u);
}

TEST_F(ApiTest, SecretsAreShownOnlyWhenAskedFor)
{
    ASSERT_EQ(Ask("PUT", "/api/v1/users/0", R"({"name":"A","pin":"4711"})").Status, 200);
    const std::string kRows[][2] = {
        {"/api/v1/users", "4711"}, {"/api/v1/users/0", "4711"}, {LockPath() + "/status-page", "778899"}};
    for (const auto& [Target, Secret] : kRows) {
        EXPECT_EQ(Ask("GET", Target).Body.find(Secret), std::string::npos) << Target;
        EXPECT_NE(Ask("GET", Target + "?secrets=1").Body.find(Secret), std::string::npos) << Target;
    }
}

TEST_F(ApiTest, ChangesOfUsersAreReportedToInstalledLocksAndRightsEndWithTheUser)
{
    FakeInterface& Other = AddInterface();
    FakeLock& Orphan = AddLock(Other, "Shed");
    m_pSystem->RemoveInterface(Other.BridgeID());

    Ask("PUT", "/api/v1/users/2", R"({"name":"Ann","email":"ann@example.com","pin":"1234"})");
    Ask("PUT", LockPath() + "/users/3", R"({"enabled":true})");
    EXPECT_EQ(m_pLock->IsUserEnabled(3), 1) << "the user at slot 2 is user 3";
    Ask("PUT", "/api/v1/users/2", R"({"name":"Anna"})");
    EXPECT_EQ(Get("/api/v1/users/2?secrets=1")["pin"], "1234") << "what is left out stays";
    Ask("DELETE", "/api/v1/users/2");
    EXPECT_EQ(m_pLock->Slots, (std::vector<int>{2, 2, 2, 2}));
    EXPECT_EQ(m_pLock->IsUserEnabled(3), 0);
    EXPECT_TRUE(Orphan.Slots.empty()) << "a lock without an account has no cloud to tell";
}

TEST_F(ApiTest, TheRedirectHandsACodeOverOnceAndExplainsEveryRefusal)
{
    const auto NewState = [&] { return std::string(static_cast<char*>(m_pAccount->GetAuthURL())); };
    const std::string Path = "/oauth/redirect?";
    const std::string Used = NewState();
    ApiResponse Answer = Ask("GET", Path + "code=abc%2F1&state=" + Used);
    EXPECT_EQ(Answer.Status, 200);
    EXPECT_EQ(m_pAccount->Codes, std::vector<std::string>{"abc/1"});

    // clang-format off
    struct {
        std::string Query;
        int Status;
        const char* Says;
    } const Rows[] = {
        {"code=abc&state=" + Used, 400, "used already"}, {"code=abc&state=0123", 400, "not known"},
        {"code=abc", 400, "no state"}, {"", 400, "no state"}, {"state=" + NewState(), 400, "no usable"},
        {"code=a%0D%0Ab&state=" + NewState(), 400, "no usable"},
        {"code=" + std::string(2049, 'a') + "&state=" + NewState(), 400, "no usable"},
        {"code=a&code=b&state=" + NewState(), 400, "twice"},
        {"error=access_denied&state=" + NewState(), 403, "access_denied"},
        {"error=%3Cscript%3E&state=" + NewState(), 400, "&#60;script&#62;"},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        Answer = Ask("GET", Path + Row.Query);
        EXPECT_EQ(Answer.Status, Row.Status) << Row.Query;
        EXPECT_NE(Answer.Body.find(Row.Says), std::string::npos) << Row.Query << "\n" << Answer.Body;
        EXPECT_EQ(Answer.Body.find("<script"), std::string::npos);
    }
    EXPECT_EQ(m_pAccount->Codes.size(), 1u);
}
