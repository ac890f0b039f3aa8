// The configurator: who is let in, and what each route answers.

#include "devhost/controller/ConfiguratorApi.h"
#include "devhost/controller/RequestGuard.h"
#include "tests/devhost/FakePlugin.h"

namespace
{

using devhost::ApiResponse;
using nlohmann::json;

// What is stored into a lock's status page: the answers to its two choosers.
std::string StatusPage(const std::string& choosers)
{
    return R"({"items":[{"string":""},{"string":""},{"string":""},)" + choosers + "]}";
}

class ApiTest : public SystemTest
{
protected:
    void SetUp() override
    {
        Restart();
        m_account = &AddInterface();
        m_lock = &AddLock(*m_account, "Front door");
        devhost::ConfiguratorApi::Options options;
        options.authorizeBase = "https://127.0.0.1:8443";
        options.log = &m_log;
        options.persons = &m_persons;
        m_api = std::make_unique<devhost::ConfiguratorApi>(*m_system, std::move(options));
    }

    // A request like "GET /api/v1/locks".
    ApiResponse Ask(const std::string& methodAndTarget, const std::string& body = "")
    {
        const std::size_t space = methodAndTarget.find(' ');
        auto request = devhost::ParseTarget(methodAndTarget.substr(space + 1));
        request->method = methodAndTarget.substr(0, space);
        request->body = body;
        return m_api->Serve(*request);
    }
    json AskJson(const std::string& request) { return json::parse(Ask(request).body); }
    std::string LockPath() const { return "/api/v1/locks/" + std::to_string(m_lock->ID()); }
    std::string AccountPath() const { return "/api/v1/interfaces/" + std::to_string(m_account->BridgeID()); }

    FakeInterface* m_account = nullptr;
    FakeLock* m_lock = nullptr;
    devhost::DiagnosticLog m_log{{}};
    devhost::CloudPersons m_persons;
    std::unique_ptr<devhost::ConfiguratorApi> m_api;
};

} // namespace

TEST(RequestGuardTest, LetsInOnlyWhatNoForeignPageCanSend)
{
    // clang-format off
    struct {
        std::string host;
        int status; // 0: let in
        std::string origin = "", method = "GET", type = "", path = "/x", site = "";
    } const rows[] = {
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
    for (const auto& row : rows) {
        const auto refusal = devhost::CheckRequest(
            {row.method, row.path, row.host, row.origin, row.site, row.type, !row.type.empty()}, 8080);
        EXPECT_EQ(refusal ? refusal->status : 0, row.status)
            << "row " << &row - rows << ", host " << row.host;
    }
}

TEST(RequestGuardTest, WithATokenOnlyThePageAndTheRedirectAreOpen)
{
    const char* const kRight = "bearer  0123456789abcdef";
    struct {
        const char *path, *authorization;
        int status;
    } const rows[] = {
        {"/", "", 0},
        {"/assets/main.js", "", 0},
        {"/oauth/redirect", "", 0},
        {"/api/v1/status", kRight, 0},
        {"/api/v1/status", "", 401},
        {"api/v1/status", "", 401}, // the router takes it for the one above
        {"/api/v1/events", "Bearer ", 401},
        {"/api/v1/events", "Bearer 0123456789abcdee", 401},
        {"/api/v1/events", "Bearer 0123456789abcdef0", 401},
        {"/api/v1/events", "Basic 0123456789abcdef", 401},
    };
    for (const auto& row : rows) {
        const auto refusal =
            devhost::CheckRequest({"GET", row.path, "localhost:80", "", "", "", false, row.authorization}, 80,
                                  {"0123456789abcdef", "/state/api-token"});
        EXPECT_EQ(refusal ? refusal->status : 0, row.status) << row.path << " " << row.authorization;
        EXPECT_TRUE(!refusal || refusal->body.find("/state/api-token") != std::string::npos) << refusal->body;
    }
}

TEST_F(ApiTest, BadRequestsAreAnsweredWithWhatIsWrongAndChangeNothing)
{
    const std::string lock = "PUT " + LockPath(), account = "PUT " + AccountPath();
    const std::string command = "POST " + LockPath() + "/commands", user = "PUT /api/v1/users/0";
    const auto deep = [](std::size_t n) { return std::string(n, '[') + std::string(n, ']'); };
    const std::string kNone = "404 not_found", kBody = "400 bad_body", kUser = "400 bad_user";
    // clang-format off
    const std::string rows[][3] = {
        {"GET /api/v1/nothing", "", kNone}, {"GET /api/v1/locks/-1", "", kNone},
        {"GET /api/v1/locks/99999999999", "", kNone}, {"DELETE /api/v1/users/0", "", kNone},
        {"PUT /api/v1/status", "{}", "405 method_not_allowed"},
        {command, "[]", "400 bad_json"}, {command, R"({"command":)" + deep(31) + "}", "400 bad_body"},
        {command, R"({"command":)" + deep(32) + "}", "400 bad_json"},
        {command, R"({"command":)" + deep(32'000) + "}", "400 bad_json"},
        {command, std::string("{}\0x", 4), "400 bad_json"}, {command, "{}", "400 bad_command"},
        {command, R"({"command":1})", kBody}, {command, R"({"command":"unlock"})", kUser},
        {command, R"({"user":0,"command":"unlock"})", kUser},
        {command, R"({"user":31,"command":"unlock"})", kUser},
        {command, R"({"user":1e99,"command":"unlock"})", kUser},
        {command, R"({"command":"unlock","user":7})", "409 no_user"},
        {command, R"({"command":"lock"})", "409 refused"}, {command, R"({"command":"lock","x":1})", kBody},
        {lock + "/users/31", R"({"enabled":true})", kNone}, {lock + "/users/3", R"({"enabled":1})", kBody},
        {lock + "/status-page", R"({"items":[{"int":1}]})", kBody}, {lock + "/status-page", "{}", kBody},
        {lock + "/status-page", StatusPage(R"({"int":0},{"int":4294967296})"), kBody},
        {lock + "/status-page", StatusPage(R"({"int":2},{"int":0})"), "400 bad_page"},
        {lock + "/status-page", R"({"fields":{"user_codes_enabled":1}})", kBody},
        {lock + "/status-page", R"({"fields":{"serial_number":"1"}})", kBody},
        {lock + "/status-page", R"({"fields":{"low_battery_warning":{"selected":2}}})", "400 bad_page"},
        {lock + "/status-page", R"({"fields":{},"items":[]})", kBody},
        {account + "/page", R"({"properties":{"2001":2}})", "400 bad_page"},
        {account + "/page", R"({"properties":{"x":0}})", kBody}, {account + "/page", "{}", kBody},
        {account + "/page", R"({"properties":{},"list":0})", kBody},
        {account + "/page", R"({"properties":{"2001":-1}})", kBody},
        {account + "/extended-page", R"({"selected":0})", "409 no_page"},
        {"POST " + AccountPath() + "/actions/20004", "", "409 no_action"},
        {"POST /api/v1/interfaces", R"({"type":99})", "400 bad_type"},
        {"PUT /api/v1/users/30", R"({"name":"A","pin":"1234"})", kNone},
        {user, R"({"name":"A","pin":"123"})", kUser}, {user, R"({"name":"A","pin":"12a4"})", kUser},
        {user, R"({"name":"A","pin":"12345678901234567"})", kUser},
        {user, R"({"name":"A\r\nB","pin":"1234"})", kUser}, {user, R"({"name":"A ","pin":"1234"})", kUser},
        {user, R"({"name":"A","pin":"1234","email":"no address"})", kUser},
        {user, R"({"name":"Eve","pin":"4321"})", "409 duplicate_user"},
        {user, R"({"name":"A","pin":"8765"})", "409 duplicate_user"},
        {user, R"({"name":"A","pin":"1234","Email":""})", kBody}, {"POST /api/v1/save", R"({"x":0})", kBody},
        {"PUT /api/v1/trace-switches", R"({"Fake":1})", kBody},
        {"PUT /api/v1/trace-switches", R"({"Fake":true,"Nobody":true})", "400 bad_producer"},
        {"GET /api/v1/traces?since=x", "", "400 bad_parameter"},
        {"POST /api/v1/events", "{}", "405 method_not_allowed"},
        {"POST /oauth/redirect", "{}", "405 method_not_allowed"},
    };
    // clang-format on
    EXPECT_EQ(Ask(account + "/page", R"({"properties":{"2001":1}})").status, 409) << "not shown yet";
    ASSERT_EQ(Ask("PUT /api/v1/users/9", R"({"name":"Eve","pin":"8765"})").status, 200);
    m_lock->RegisterLockSecured(1);
    m_lock->slots.clear();
    const json before = AskJson("GET /api/v1/locks");
    Ask("GET " + AccountPath() + "/page");
    for (const auto& [request, body, expected] : rows) {
        const ApiResponse answer = Ask(request, body);
        const std::string code = json::parse(answer.body)["error"]["code"];
        EXPECT_EQ(std::to_string(answer.status) + " " + code, expected) << request << " " << body;
        EXPECT_EQ(answer.body.find("json."), std::string::npos) << "a library's words: " << answer.body;
    }
    EXPECT_EQ(AskJson("GET /api/v1/locks"), before);
    EXPECT_EQ(m_lock->commands, std::vector<std::string>());
    EXPECT_EQ(m_lock->slots, std::vector<int>());
}

TEST_F(ApiTest, CommandsPagesAndActionsReachTheDriver)
{
    Ask("PUT /api/v1/users/2", R"({"name":"Ann","pin":"1234"})");
    Ask("POST " + LockPath() + "/commands", R"({"command":"unlock","user":3})");
    Ask("POST " + LockPath() + "/commands", R"({"command":"lock"})");
    EXPECT_EQ(m_lock->commands, (std::vector<std::string>{"1271/3", "1270/0"}));

    EXPECT_EQ(Ask("PUT " + LockPath() + "/status-page", StatusPage(R"({"int":1},{"int":0})")).status, 200);
    const std::string both = R"({"fields":{"user_codes_enabled":true,"low_battery_warning":{"selected":1}}})";
    for (const std::string& body : {std::string(R"({"fields":{"user_codes_enabled":false}})"), both})
        EXPECT_EQ(Ask("PUT " + LockPath() + "/status-page", body).status, 200);
    m_lock->commands.erase(m_lock->commands.begin(), m_lock->commands.begin() + 2);
    EXPECT_EQ(m_lock->commands, (std::vector<std::string>{"page 10", "page 10", "page 01"}));
    EXPECT_EQ(AskJson("GET " + LockPath() + "/status-page")["fields"], json::parse(R"({
        "user_codes_enabled":true,"programming_code":"***","serial_number":null,
        "low_battery_warning":{"selected":0,"entries":["Yes","No"]}})"));

    int house = -1, builds = 0;
    m_account->onBuild = [&] { ++builds; };
    m_account->onStore = [&](int selected) { house = selected; };
    EXPECT_TRUE(AskJson("GET /api/v1/interfaces")["interfaces"][0]["master"].is_null());
    EXPECT_EQ(builds, 0) << "a page asks the cloud, and a list shows no page";
    Ask("GET " + AccountPath() + "/page");
    EXPECT_EQ(AskJson("GET " + AccountPath())["master"], true);
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/page", R"({"properties":{"2001":1}})").status, 200);
    EXPECT_EQ(house, 1);
    EXPECT_EQ(AskJson("GET " + AccountPath() + "/extended-page")["master"], true);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/extended-page", R"({"selected":2})").status, 400);
    EXPECT_EQ(Ask("PUT " + AccountPath() + "/extended-page", R"({"selected":0})").status, 200);
    EXPECT_EQ(m_account->extendedChoice, 0);

    EXPECT_EQ(AskJson("POST " + AccountPath() + "/actions/20003")["result"], 1);
    EXPECT_EQ(AskJson("POST " + AccountPath() + "/actions/20002")["browser_url"],
              "https://127.0.0.1:8443/authorize?state=1");
    EXPECT_EQ(AskJson("POST /api/v1/restart")["restarts"], 1);
    EXPECT_EQ(AskJson("GET /api/v1/status")["save"]["kept_aside"], json::array());
    EXPECT_EQ(m_account->inits, 2);
}

TEST_F(ApiTest, AnAnswerToAListThatHasChangedIsRefused)
{
    m_account->onStore = [&](int selected) { m_account->extendedChoice = selected; };
    const std::string kPages[][2] = {{"/page", R"("properties":{"2001":1})"},
                                     {"/extended-page", R"("selected":1)"}};
    for (const auto& row : kPages) {
        const std::string &page = row[0], &answer = row[1];
        SCOPED_TRACE(page);
        const auto get = [&] { return AskJson("GET " + AccountPath() + page)["list"].dump(); };
        const auto put = [&](const std::string& named) {
            return Ask("PUT " + AccountPath() + page, "{" + answer + named + "}").status;
        };
        m_account->houses = {"Lake House", "Cabin"};
        const std::string first = get();
        m_account->houses = {"Cabin", "Flat"};
        m_account->extendedChoice = -1;
        EXPECT_EQ(put(""), 409);
        m_system->Pages().Open(m_account->BridgeID(), *m_account); // as after a notice
        EXPECT_EQ(put(""), 409) << "a page that was built again was not seen yet";
        const std::string second = get();
        EXPECT_EQ(put(",\"list\":" + first), 409) << "shown since, but to somebody else";
        EXPECT_EQ(m_account->extendedChoice, -1);
        EXPECT_EQ(put(",\"list\":" + second), 200);
        EXPECT_EQ(m_account->extendedChoice, 1);
    }
}

TEST_F(ApiTest, SecretsAreShownOnlyWhenAskedFor)
{
    ASSERT_EQ(Ask("PUT /api/v1/users/0", R"({"name":"A","pin":"4711"})").status, 200);
    const std::string kRows[][2] = {
        {"/api/v1/users", "4711"}, {"/api/v1/users/0", "4711"}, {LockPath() + "/status-page", "778899"}};
    for (const auto& [target, secret] : kRows) {
        EXPECT_EQ(Ask("GET " + target).body.find(secret), std::string::npos) << target;
        EXPECT_NE(Ask("GET " + target + "?secrets=1").body.find(secret), std::string::npos) << target;
    }
}

TEST_F(ApiTest, AFollowerThatAsksForNoEntriesIsNotSentBack)
{
    for (int i = 0; i < 3; ++i)
        m_log.OnTrace("Fake", "line");
    EXPECT_EQ(AskJson("GET /api/v1/traces?limit=0")["last"], 3);
    EXPECT_EQ(AskJson("GET /api/v1/traces?since=2&limit=0")["last"], 2) << "the third was not read yet";
}

TEST_F(ApiTest, ChangesOfUsersAreReportedToInstalledLocksAndRightsEndWithTheUser)
{
    FakeInterface& other = AddInterface();
    FakeLock& orphan = AddLock(other, "Shed");
    Ask("DELETE /api/v1/interfaces/" + std::to_string(other.BridgeID()));

    Ask("PUT /api/v1/users/2", R"({"name":"Ann","email":"ann@example.com","pin":"1234"})");
    Ask("PUT " + LockPath() + "/users/3", R"({"enabled":true})");
    EXPECT_EQ(m_lock->IsUserEnabled(3), 1) << "the user at slot 2 is user 3";
    Ask("PUT /api/v1/users/2", R"({"name":"Anna"})");
    EXPECT_EQ(AskJson("GET /api/v1/users/2?secrets=1")["pin"], "1234") << "what is left out stays";
    Ask("DELETE /api/v1/users/2");
    EXPECT_EQ(m_lock->slots, (std::vector<int>{2, 2, 2, 2}));
    EXPECT_EQ(m_lock->IsUserEnabled(3), 0);
    EXPECT_TRUE(orphan.slots.empty()) << "a lock without an account has no cloud to tell";
}
