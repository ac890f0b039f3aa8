// Checks the admin routes: what they show and hide, whom they refuse, and the injected faults.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

class AdminTest : public CloudTest
{
protected:
    AdminTest() { Authorize(); }

    void Inject(const std::string& faults)
    {
        const Response reply = Admin("POST", "/admin/faults", faults);
        ASSERT_EQ(reply.status, 200) << reply.body;
    }
};

TEST_F(AdminTest, WorldShowsSecretsOnlyWhenAsked)
{
    const std::string open = Admin("GET", "/admin/world").body;
    const std::string full = Admin("GET", "/admin/world?secrets=1").body;
    for (const std::string& secret : {std::string("\"1234\""), std::string("111222"), accessToken}) {
        EXPECT_EQ(open.find(secret), std::string::npos) << secret;
        EXPECT_NE(full.find(secret), std::string::npos) << secret;
    }
}

TEST_F(AdminTest, RequestLogHoldsNoSecret)
{
    Get("/devices");
    Send("GET /devices?token=" + accessToken + " HTTP/1.1\r\nHost: api.vestara.example\r\n\r\n");
    const Response log = Admin("GET", "/admin/requests?limit=2");
    EXPECT_EQ(log.body.find(accessToken), std::string::npos);
    const Json requests = Json::parse(log.body).at("requests");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].at("status"), 200);
    EXPECT_EQ(requests[1].at("errorcode"), "unexpected_query");
}

TEST_F(AdminTest, RevokedTokensAreRefused)
{
    const std::string refresh = Authorize().at("refresh_token");
    EXPECT_EQ(Json::parse(Admin("POST", "/admin/tokens/revoke").body),
              Json::parse(R"({"access":2,"refresh":0})"));
    EXPECT_EQ(Get("/devices").errorcode, "invalid_token");
    EXPECT_EQ(Json::parse(Admin("POST", "/admin/tokens/revoke", R"({"refresh":true})").body)["refresh"], 2);
    EXPECT_EQ(RequestToken(RefreshForm(refresh)).errorcode, "invalid_grant");
}

TEST_F(AdminTest, DeletedLockTakesItsAccessesAlong)
{
    EXPECT_EQ(Admin("DELETE", "/admin/locks/front").status, 200);
    EXPECT_EQ(Get("/devices/front").errorcode, "unknown_device");
    EXPECT_TRUE(cloud.CurrentWorld().accesses.empty());
    EXPECT_EQ(Admin("DELETE", "/admin/locks/front").status, 404);
}

TEST_F(AdminTest, WrongAdminRequestsAreRefusedAndNamed)
{
    struct Row {
        std::string method, target, body;
        int status;
        std::string errorcode;
    };
    const Row rows[] = {
        {"GET", "/admin", "", 404, "unknown_path"},
        {"GET", "/admin/save", "", 405, "method_not_allowed"},
        {"POST", "/admin/locks/nobody/turn", R"({"state":"locked"})", 404, "unknown_lock"},
        {"POST", "/admin/locks/front/turn", R"({"state":"open"})", 422, "bad_value"},
        {"POST", "/admin/locks/front/turn", "", 422, "missing_field"},
        {"POST", "/admin/locks/front/battery", R"({"level":101})", 422, "bad_value"},
        {"POST", "/admin/locks/front/battery", R"({"level":18446744073709551615})", 422, "bad_value"},
        {"POST", "/admin/locks/front/battery", R"({"level":1.5})", 422, "wrong_type"},
        {"POST", "/admin/locks/front/wifi", R"({"level":1,"x":1})", 422, "unknown_field"},
        {"POST", "/admin/locks/front/online", R"({"online":1})", 422, "wrong_type"},
        {"POST", "/admin/locks/front/heartbeat", "{", 400, "malformed_json"},
        {"POST", "/admin/faults", R"([{"kind":"flood"}])", 422, "bad_value"},
        {"POST", "/admin/faults", R"([{"kind":"cut"},{"kind":"cut","match":{"x":1}}])", 422, "unknown_field"},
        {"GET", "/admin/requests?limit=x", "", 400, "bad_query"},
    };
    for (const Row& row : rows) {
        const Response reply = Admin(row.method, row.target, row.body);
        EXPECT_EQ(reply.status, row.status) << row.target << row.body;
        EXPECT_EQ(reply.errorcode, row.errorcode) << row.target << row.body;
    }
    EXPECT_EQ(Json::parse(Admin("GET", "/admin/faults").body).at("faults").size(), 0U);
}

TEST_F(AdminTest, ForeignPagesAreRefused)
{
    Request request{.method = "POST",
                    .target = "/admin/tokens/revoke",
                    .headers = {{"Host", "127.0.0.1:1"}},
                    .body = {},
                    .trailing = {}};
    request.headers.push_back({"Origin", "http://evil.test"});
    EXPECT_EQ(cloud.HandleAdmin(request, now).errorcode, "foreign_origin");
    request.headers = {{"Host", "evil.test:1"}};
    EXPECT_EQ(cloud.HandleAdmin(request, now).errorcode, "wrong_host");
    request.headers = {{"Host", "localhost"}, {"Content-Type", "text/plain"}};
    request.body = "{}";
    EXPECT_EQ(cloud.HandleAdmin(request, now).errorcode, "wrong_content_type");
    EXPECT_EQ(Get("/devices").status, 200);
}

TEST_F(AdminTest, FaultsHitMatchingRequestsInOrderAndRunOut)
{
    Inject(R"([{"kind":"status","status":500,"match":{"method":"GET","path":"/devices"},"count":2},
               {"kind":"bad_json","match":{"path":"/dev"}}])");
    EXPECT_EQ(Get("/locations").status, 200);
    EXPECT_EQ(Get("/devices").status, 500);
    EXPECT_EQ(Get("/devices/front").status, 500);
    EXPECT_TRUE(Json::parse(Get("/devices").body, nullptr, false).is_discarded());
    EXPECT_EQ(Get("/devices").status, 200);
}

TEST_F(AdminTest, FaultsThatReplaceTheReplyKeepTheRequestFromTakingEffect)
{
    Inject(R"([{"kind":"status","status":503},{"kind":"close"},{"kind":"cut"}])");
    EXPECT_EQ(Write("PUT", "/devices/front/unlock", "").errorcode, "injected_fault");
    EXPECT_TRUE(Write("PUT", "/devices/front/unlock", "").closeWithoutReply);
    EXPECT_FALSE(FirstLock().pending);
    EXPECT_TRUE(Write("PUT", "/devices/front/unlock", "").cutAfterBytes);
    EXPECT_TRUE(FirstLock().pending);
}

TEST_F(AdminTest, FaultsShapeTheBytesOnTheWire)
{
    const std::string bytes =
        "GET /locations HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\nAuthorization: "
        "Bearer " +
        accessToken + "\r\nHost: api.vestara.example\r\n\r\n";
    const std::string whole = cloud.HandleRaw(bytes, now);
    EXPECT_TRUE(whole.starts_with("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"));
    const std::string length = "\r\nContent-Length: 90\r\nConnection: close\r\n\r\n";
    ASSERT_NE(whole.find(length), std::string::npos) << whole;
    ASSERT_TRUE(whole.ends_with("\"meta\":{\"count\":1}}"));

    Inject(
        R"([{"kind":"cut"},{"kind":"truncate"},{"kind":"close"},{"kind":"body","body":"[1]","status":201}])");
    EXPECT_EQ(cloud.HandleRaw(bytes, now), whole.substr(0, whole.size() - 45));
    const std::string truncated = cloud.HandleRaw(bytes, now);
    EXPECT_NE(truncated.find("\r\nContent-Length: 45\r\n"), std::string::npos);
    EXPECT_EQ(cloud.HandleRaw(bytes, now), "");
    const std::string replaced = cloud.HandleRaw(bytes, now);
    EXPECT_TRUE(replaced.starts_with("HTTP/1.1 201 Created\r\n") && replaced.ends_with("\r\n\r\n[1]"))
        << replaced;
    EXPECT_EQ(cloud.HandleRaw(bytes, now), whole);
}

} // namespace
} // namespace cloudsim::test
