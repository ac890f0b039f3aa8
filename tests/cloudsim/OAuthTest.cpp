// Checks codes, tokens, their terms and their single use, and the consent page.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

using OAuthTest = CloudTest;
using namespace std::chrono_literals;

std::string GetPage(const std::string& target, const std::string& host)
{
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
}

TEST_F(OAuthTest, CodesBuyTokensOnceWithinTenMinutes)
{
    const std::string first = ObtainCode(), late = ObtainCode();
    ASSERT_EQ(first.size(), 64U);
    now += 10min - 1ms;
    const Response reply = RequestToken(CodeForm(first));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(Json::parse(reply.body).at("expires_in"), 7200);
    EXPECT_EQ(RequestToken(CodeForm(first)).errorcode, "invalid_grant");
    now += 1ms;
    EXPECT_EQ(RequestToken(CodeForm(late)).errorcode, "invalid_grant");
}

TEST_F(OAuthTest, TheOldestOpenCodeGivesWay)
{
    std::string oldest = ObtainCode(), next;
    for (int i = 1; i < 1000; ++i) {
        now += 1ms;
        const std::string code = ObtainCode();
        next = i == 1 ? code : next;
    }
    EXPECT_EQ(RequestToken(CodeForm(next)).status, 200);
    EXPECT_EQ(RequestToken(CodeForm(oldest)).errorcode, "invalid_grant");
}

TEST_F(OAuthTest, WrongTokenRequestsAreRefusedAndNamed)
{
    // clang-format off
    const struct {
        std::string from, to;
        int status;
        std::string errorcode, named;
    } rows[] = {
        {"client_id=90", "client_id=91", 401, "invalid_client", "client_id"},
        {"client_secret=93", "client_secret=94", 401, "invalid_client", "client_secret"},
        {"&grant_type=authorization_code", "", 400, "invalid_request", "grant_type"},
        {"grant_type=authorization_code", "grant_type=password", 400, "unsupported_grant_type", "grant_type"},
        {"code=", "code=&x=", 400, "invalid_request", "'x'"},
        {"code=", "code", 400, "malformed_form", "="},
        {"&grant_type", "&grant_type=a&grant_type", 400, "duplicate_field", "grant_type"},
        {":8123/oauth", ":8124/oauth", 400, "invalid_grant", "redirect_uri"},
    };
    // clang-format on
    std::string form;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.to);
        form = CodeForm(ObtainCode());
        const Response reply = RequestToken(Replaced(form, row.from, row.to));
        EXPECT_EQ(reply.status, row.status);
        EXPECT_EQ(reply.errorcode, row.errorcode);
        const Json body = Json::parse(reply.body);
        EXPECT_NE(body.at("message").get<std::string>().find(row.named), std::string::npos) << body;
        EXPECT_EQ(body.at("error"), row.errorcode);
    }
    EXPECT_EQ(RequestToken(form).status, 400) << "a wrong redirect address spends the code";
    EXPECT_EQ(RequestToken(Replaced(CodeForm(ObtainCode()), "http://", "http%3A%2F%2f")).status, 200);
}

TEST_F(OAuthTest, RefreshTokensRotateAndAccessTokensEnd)
{
    const std::string first = Authorize().at("refresh_token");
    now += 7200s - 1ms;
    EXPECT_EQ(Get("/locations").status, 200);
    now += 1ms;
    const Response expired = Get("/locations");
    EXPECT_EQ(expired.status, 401);
    EXPECT_EQ(expired.errorcode, "expired_token");

    const Response refreshed = RequestToken(RefreshForm(first));
    ASSERT_EQ(refreshed.status, 200);
    const std::string second = Json::parse(refreshed.body).at("refresh_token");
    EXPECT_NE(second, first);
    EXPECT_EQ(RequestToken(RefreshForm(first)).errorcode, "invalid_grant");
    EXPECT_EQ(RequestToken(RefreshForm(second)).status, 200);
}

TEST_F(OAuthTest, ConsentPageEscapesAndIsAnsweredOnce)
{
    const std::string host = "oauth.vestara.example", target = AuthorizeTarget() + "%22%3E%3Cb";
    const Response page = Send(GetPage(target, host));
    ASSERT_EQ(page.status, 200);
    EXPECT_NE(page.body.find("Robin &lt;Example&gt;"), std::string::npos);
    EXPECT_EQ(Send(GetPage(AuthorizeTarget() + "'<b>", host)).body.find("<b>"), std::string::npos);

    const std::string post = PostForm(
        target, host, "csrf=" + Between(page.body, "name=\"csrf\" value=\"", "\"") + "&decision=deny");
    const Response denied = Send(post);
    EXPECT_EQ(denied.status, 302);
    EXPECT_EQ(HeaderValue(denied, "Location"),
              std::string(kRedirectUri) + "?error=access_denied&state=s1%22%3E%3Cb");
    EXPECT_EQ(Send(post).status, 403);
}

TEST_F(OAuthTest, OnlyLoopbackAddressesAreTakenAndWrongRequestsNeverRedirect)
{
    const std::string target = AuthorizeTarget();
    const struct {
        std::string target, host, errorcode; // no errorcode: the page comes
    } rows[] = {
        {AuthorizeTarget("http://127.0.0.1/x"), "127.0.0.1:5", ""},
        {AuthorizeTarget("http://[::1]:80/x?y=1"), "localhost", ""},
        {AuthorizeTarget("https://127.0.0.1/x"), "localhost", "invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1.example.com/"), "localhost", "invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1:8@evil.test/"), "localhost", "invalid_redirect_uri"},
        {AuthorizeTarget("http://evil.test%23@127.0.0.1/"), "localhost", "invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1/%0d%0aX:1"), "localhost", "invalid_redirect_uri"},
        {target, "evil.test", "wrong_host"},
        {target.substr(0, target.find("&state")), "localhost", "invalid_request"},
        {target + "&state=2", "localhost", "duplicate_field"},
        {"/oauth/authorize?client_id=1", "localhost", "invalid_client"},
    };
    for (const auto& row : rows) {
        const Response reply = Send(GetPage(row.target, row.host));
        EXPECT_EQ(reply.errorcode, row.errorcode) << row.target;
        EXPECT_EQ(reply.status >= 400, !row.errorcode.empty()) << row.target;
        EXPECT_EQ(HeaderValue(reply, "Location"), "") << row.target;
    }
}

struct AutoApproveTest : CloudTest {
    AutoApproveTest() : CloudTest({.autoApprove = true, .redirectUris = {"https://hub.example/cb?a=1"}}) {}
};

TEST_F(AutoApproveTest, RedirectsAtOnceAndTakesRegisteredAddresses)
{
    const std::string target = AuthorizeTarget("https%3A%2F%2Fhub.example%2Fcb%3Fa%3D1");
    const std::string location = HeaderValue(Send(GetPage(target, "localhost:1")), "Location");
    EXPECT_TRUE(location.starts_with("https://hub.example/cb?a=1&code=")) << location;
}

} // namespace
} // namespace cloudsim::test
