// Checks the admin routes: what they show and hide, whom they refuse, and the injected faults.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

class AdminTest : public AuthorizedTest
{
protected:
    void Inject(const std::string& faults) { ASSERT_EQ(Admin("POST", "/admin/faults", faults).status, 200); }
};

TEST_F(AdminTest, SecretsAreShownInTheWorldWhenAskedForAndNeverInTheLog)
{
    const std::string open = Admin("GET", "/admin/world").body;
    const std::string full = Admin("GET", "/admin/world?secrets=1").body;
    for (const std::string& secret : {std::string("\"1234\""), std::string("111222"), accessToken}) {
        EXPECT_EQ(open.find(secret), std::string::npos) << secret;
        EXPECT_NE(full.find(secret), std::string::npos) << secret;
    }
    Get("/devices");
    Send("GET /devices?token=" + accessToken + " HTTP/1.1\r\nHost: api.vestara.example\r\n\r\n");
    const Response log = Admin("GET", "/admin/requests?limit=2");
    EXPECT_EQ(log.body.find(accessToken), std::string::npos);
    const Json requests = Json::parse(log.body).at("requests");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].at("status"), 200);
    EXPECT_EQ(requests[1].at("errorcode"), "unexpected_query");
}

TEST_F(AdminTest, RevokedTokensAndDeletedLocksAreGone)
{
    const std::string refresh = Authorize().at("refresh_token");
    EXPECT_EQ(Admin("DELETE", "/admin/locks/front").status, 200);
    EXPECT_EQ(Get("/devices/front").errorcode, "unknown_device");
    EXPECT_TRUE(cloud.CurrentWorld().accesses.empty());
    EXPECT_EQ(Admin("POST", "/admin/tokens/revoke").body, R"({"access":2,"refresh":0})");
    EXPECT_EQ(Get("/devices").errorcode, "invalid_token");
    EXPECT_EQ(Admin("POST", "/admin/tokens/revoke", R"({"refresh":true})").body,
              R"({"access":0,"refresh":2})");
    EXPECT_EQ(RequestToken(RefreshForm(refresh)).errorcode, "invalid_grant");
}

TEST_F(AdminTest, WrongAdminRequestsAreRefusedAndNamed)
{
    const struct {
        std::string method, target, body;
        int status;
        std::string errorcode;
    } rows[] = {
        {"GET", "/admin/save", "", 405, "method_not_allowed"},
        {"POST", "/admin/locks/nobody/turn", R"({"state":"locked"})", 404, "unknown_lock"},
        {"POST", "/admin/locks/front/turn", R"({"state":"open"})", 422, "bad_value"},
        {"POST", "/admin/locks/front/battery", R"({"level":101})", 422, "bad_value"},
        {"POST", "/admin/locks/front/battery", R"({"level":18446744073709551615})", 422, "bad_value"},
        {"POST", "/admin/locks/front/battery", R"({"level":1.5})", 422, "wrong_type"},
        {"POST", "/admin/locks/front/wifi", R"({"level":1,"x":1})", 422, "unknown_field"},
        {"POST", "/admin/locks/front/heartbeat", "{", 400, "malformed_json"},
        {"POST", "/admin/faults", R"([{"kind":"cut"},{"kind":"cut","match":{"x":1}}])", 422, "unknown_field"},
        {"GET", "/admin/requests?limit=x", "", 400, "bad_query"},
    };
    for (const auto& row : rows) {
        const Response reply = Admin(row.method, row.target, row.body);
        EXPECT_EQ(reply.status, row.status) << row.target << row.body;
        EXPECT_EQ(reply.errorcode, row.errorcode) << row.target << row.body;
    }
    EXPECT_EQ(Json::parse(Admin("GET", "/admin/faults").body).at("faults").size(), 0U);
}

TEST_F(AdminTest, ForeignPagesAreRefused)
{
    const struct {
        std::vector<Header> headers;
        const char *body, *errorcode;
    } rows[] = {{{{"Host", "127.0.0.1:1"}, {"Origin", "http://evil.test"}}, "", "foreign_origin"},
                {{{"Host", "evil.test:1"}}, "", "wrong_host"},
                {{{"Host", "localhost"}, {"Content-Type", "text/plain"}}, "{}", "wrong_content_type"}};
    for (const auto& row : rows) {
        const Request request{"POST", "/admin/tokens/revoke", 11, row.headers, row.body, {}};
        EXPECT_EQ(cloud.HandleAdmin(request, now).errorcode, row.errorcode);
    }
    EXPECT_EQ(Get("/devices").status, 200);
}

TEST_F(AdminTest, FaultsHitMatchingRequestsInOrderAndRunOut)
{
    const std::string whole = Get("/devices").body;
    Inject(R"([{"kind":"status","status":500,"match":{"method":"GET","path":"/devices"},"count":2},
               {"kind":"bad_json","match":{"path":"/dev"}}, {"kind":"truncate"},
               {"kind":"body","body":"[1]","status":201}, {"kind":"status","status":503}, {"kind":"close"},
               {"kind":"cut"}])");
    EXPECT_EQ(Get("/devices").status, 500);
    EXPECT_EQ(Get("/devices/front").status, 500);
    EXPECT_TRUE(Json::parse(Get("/devices").body, nullptr, false).is_discarded());
    EXPECT_EQ(Get("/devices").body, whole.substr(0, whole.size() / 2));
    const std::string replaced = cloud.HandleRaw(Bytes("GET /devices"), now);
    EXPECT_TRUE(replaced.starts_with("HTTP/1.1 201 Created\r\n") && replaced.ends_with("\r\n\r\n[1]"))
        << replaced;
    EXPECT_EQ(Write("PUT /devices/front/unlock").errorcode, "injected_fault");
    EXPECT_TRUE(Write("PUT /devices/front/unlock").closeWithoutReply);
    EXPECT_FALSE(FirstLock().pending) << "what replaces the reply keeps the request from taking effect";
    EXPECT_TRUE(Write("PUT /devices/front/unlock").cutAfterBytes);
    EXPECT_TRUE(FirstLock().pending);
    EXPECT_EQ(Get("/devices").status, 200);
}

} // namespace
} // namespace cloudsim::test
