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

TEST_F(OAuthTest, CodeBuysTokensOnce)
{
    const std::string code = ObtainCode();
    ASSERT_EQ(code.size(), 64U);
    const Response first = RequestToken(CodeForm(code));
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(Json::parse(first.body).at("expires_in"), 7200);
    const Response second = RequestToken(CodeForm(code));
    EXPECT_EQ(second.status, 400);
    EXPECT_EQ(second.errorcode, "invalid_grant");
}

TEST_F(OAuthTest, CodeExpiresAfterTenMinutes)
{
    const std::string early = ObtainCode(), late = ObtainCode();
    now += 10min - 1ms;
    EXPECT_EQ(RequestToken(CodeForm(early)).status, 200);
    now += 1ms;
    EXPECT_EQ(RequestToken(CodeForm(late)).errorcode, "invalid_grant");
}

TEST_F(OAuthTest, TheOldestOpenCodeGivesWay)
{
    const std::string oldest = ObtainCode();
    now += 1ms;
    const std::string next = ObtainCode();
    for (int i = 2; i < 1000; ++i) {
        now += 1ms;
        ObtainCode();
    }
    EXPECT_EQ(RequestToken(CodeForm(next)).status, 200);
    EXPECT_EQ(RequestToken(CodeForm(oldest)).errorcode, "invalid_grant");
}

TEST_F(OAuthTest, WrongTokenRequestsAreRefusedAndNamed)
{
    struct Row {
        std::string from, to;
        int status;
        std::string errorcode, named;
    };
    const Row rows[] = {
        {"redirect_uri=http://127.0.0.1:8123/oauth", "redirect_uri=http://127.0.0.1:8124/oauth", 400,
         "invalid_grant", "redirect_uri"},
        {"client_id=90", "client_id=91", 401, "invalid_client", "client_id"},
        {"client_secret=93", "client_secret=94", 401, "invalid_client", "client_secret"},
        {"&grant_type=authorization_code", "", 400, "invalid_request", "grant_type"},
        {"grant_type=authorization_code", "grant_type=password", 400, "unsupported_grant_type", "grant_type"},
        {"code=", "code=&x=", 400, "invalid_request", "'x'"},
        {"code=", "code", 400, "malformed_form", "="},
        {"&grant_type", "&grant_type=a&grant_type", 400, "duplicate_field", "grant_type"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.to);
        std::string form = CodeForm(ObtainCode());
        form.replace(form.find(row.from), row.from.size(), row.to);
        const Response reply = RequestToken(form);
        EXPECT_EQ(reply.status, row.status);
        EXPECT_EQ(reply.errorcode, row.errorcode);
        const Json body = Json::parse(reply.body);
        EXPECT_NE(body.at("message").get<std::string>().find(row.named), std::string::npos) << body;
        EXPECT_EQ(body.at("error"), row.errorcode);
    }
}

TEST_F(OAuthTest, CodeIsSpentByAWrongRedirectAddress)
{
    const std::string code = ObtainCode();
    std::string form = CodeForm(code);
    form.replace(form.find(":8123"), 5, ":1");
    EXPECT_EQ(RequestToken(form).status, 400);
    EXPECT_EQ(RequestToken(CodeForm(code)).status, 400);
}

TEST_F(OAuthTest, PercentEncodedValuesAreTakenToo)
{
    std::string form = CodeForm(ObtainCode());
    form.replace(form.find("http://"), 7, "http%3A%2F%2f");
    EXPECT_EQ(RequestToken(form).status, 200);
}

TEST_F(OAuthTest, RefreshTokensRotate)
{
    const std::string first = Authorize().at("refresh_token");
    const Response refreshed = RequestToken(RefreshForm(first));
    ASSERT_EQ(refreshed.status, 200);
    const std::string second = Json::parse(refreshed.body).at("refresh_token");
    EXPECT_NE(second, first);
    EXPECT_EQ(RequestToken(RefreshForm(first)).errorcode, "invalid_grant");
    EXPECT_EQ(RequestToken(RefreshForm(second)).status, 200);
}

TEST_F(OAuthTest, AccessTokenEndsWithItsLifetime)
{
    Authorize();
    now += 7200s - 1ms;
    EXPECT_EQ(Get("/locations").status, 200);
    now += 1ms;
    const Response reply = Get("/locations");
    EXPECT_EQ(reply.status, 401);
    EXPECT_EQ(reply.errorcode, "expired_token");
}

TEST_F(OAuthTest, ConsentPageEscapesAndIsAnsweredOnce)
{
    const std::string host = "oauth.vestara.example";
    const Response page = Send(GetPage(AuthorizeTarget() + "%22%3E%3Cb", host));
    ASSERT_EQ(page.status, 200);
    EXPECT_NE(page.body.find("Robin &lt;Example&gt;"), std::string::npos);
    const Response quoted = Send(GetPage(AuthorizeTarget() + "'<b>", host));
    EXPECT_EQ(quoted.body.find("<b>"), std::string::npos);

    const std::string form = "csrf=" + Between(page.body, "name=\"csrf\" value=\"", "\"") + "&decision=deny";
    const std::string post = "POST " + AuthorizeTarget() + "%22%3E%3Cb HTTP/1.1\r\nHost: " + host +
                             "\r\nContent-Length: " + std::to_string(form.size()) +
                             "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + form;
    const Response denied = Send(post);
    EXPECT_EQ(denied.status, 302);
    EXPECT_EQ(HeaderValue(denied, "Location"),
              std::string(kRedirectUri) + "?error=access_denied&state=s1%22%3E%3Cb");
    EXPECT_EQ(Send(post).status, 403);
}

TEST_F(OAuthTest, OnlyLoopbackRedirectAddressesAreTaken)
{
    struct Row {
        std::string uri;
        int status;
    };
    const Row rows[] = {
        {"http://127.0.0.1/x", 200},
        {"http://localhost:1/", 200},
        {"http://[::1]:80/x?y=1", 200},
        {"https://127.0.0.1/x", 400},
        {"http://example.com/", 400},
        {"http://127.0.0.1.example.com/", 400},
        {"http://127.0.0.1:8@evil.test/", 400},
        {"http://evil.test%23@127.0.0.1/", 400},
        {"http://127.0.0.1/%0d%0aX:1", 400},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Send(GetPage(AuthorizeTarget(row.uri), "127.0.0.1:5")).status, row.status) << row.uri;
}

TEST_F(OAuthTest, WrongAuthorizeRequestsNeverRedirect)
{
    const std::string target = AuthorizeTarget();
    struct Row {
        std::string target, host, errorcode;
    };
    const Row rows[] = {
        {target, "evil.test", "wrong_host"},
        {target.substr(0, target.find("&state")), "localhost", "invalid_request"},
        {target + "&state=2", "localhost", "duplicate_field"},
        {"/oauth/authorize", "localhost", "invalid_request"},
        {"/oauth/authorize?client_id=1", "localhost", "invalid_client"},
    };
    for (const Row& row : rows) {
        const Response reply = Send(GetPage(row.target, row.host));
        EXPECT_EQ(reply.errorcode, row.errorcode) << row.target;
        EXPECT_GE(reply.status, 400) << row.target;
        EXPECT_EQ(HeaderValue(reply, "Location"), "") << row.target;
    }
}

class AutoApproveTest : public CloudTest
{
protected:
    AutoApproveTest() : CloudTest({.autoApprove = true, .redirectUris = {"https://hub.example/cb?a=1"}}) {}
};

TEST_F(AutoApproveTest, RedirectsAtOnceAndTakesRegisteredAddresses)
{
    const Response reply =
        Send(GetPage(AuthorizeTarget("https%3A%2F%2Fhub.example%2Fcb%3Fa%3D1"), "localhost:1"));
    EXPECT_EQ(reply.status, 302);
    EXPECT_TRUE(HeaderValue(reply, "Location").starts_with("https://hub.example/cb?a=1&code="));
}

} // namespace
} // namespace cloudsim::test
