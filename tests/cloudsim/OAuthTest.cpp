// Checks codes, tokens, their terms and their single use, and the consent page.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

const std::string kRedirectUri = "http://127.0.0.1:8123/oauth";
const std::string kClient =
    "client_id=" + std::string(kClientId) + "&client_secret=" + std::string(kClientSecret);

class OAuthTest : public CloudTest
{
protected:
    using CloudTest::CloudTest;
    Response Browse(const std::string& target, const std::string& host = "127.0.0.1:4433")
    {
        return Send("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    }
    Response Post(const std::string& target, const std::string& host, const std::string& form)
    {
        return Send("POST " + target + " HTTP/1.1\r\nAccept: application/json\r\nHost: " + host +
                    "\r\nContent-Length: " + std::to_string(form.size()) +
                    "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + form + "\r\n");
    }
    Response RequestToken(const std::string& form) { return Post("/oauth/token", VESTARA_OAUTH_HOST, form); }
    Response Refresh(const std::string& token)
    {
        return RequestToken(kClient + "&refresh_token=" + token + "&grant_type=refresh_token");
    }

    static std::string AuthorizeTarget(const std::string& redirectUri = kRedirectUri)
    {
        return "/oauth/authorize?client_id=" + std::string(kClientId) +
               "&response_type=code&redirect_uri=" + redirectUri + "&state=s1";
    }
    // Opens the consent page and gives the form that one of its buttons sends.
    std::string Decision(const std::string& target, const std::string& decision)
    {
        const std::string page = Browse(target).body;
        EXPECT_THAT(page, HasSubstr("name=\"csrf\" value=\"" + m_drawn + "\""));
        return "csrf=" + m_drawn + "&decision=" + decision;
    }
    // The form with which a controller redeems a new code.
    std::string CodeForm()
    {
        const std::string target = AuthorizeTarget();
        const Response redirect = Post(target, "127.0.0.1:4433", Decision(target, "approve"));
        EXPECT_THAT(SerializeReply(redirect),
                    HasSubstr("Location: " + kRedirectUri + "?code=" + m_drawn + "&state=s1\r\n"));
        return "code=" + m_drawn + "&" + kClient + "&redirect_uri=" + kRedirectUri +
               "&grant_type=authorization_code";
    }
};

TEST_F(OAuthTest, CodesBuyTokensOnceWithinTenMinutes)
{
    const std::string first = CodeForm(), late = CodeForm();
    m_now += 10min - 1ms;
    Expect(RequestToken(first), "200");
    Expect(RequestToken(first), "400 invalid_grant");
    m_now += 1ms;
    Expect(RequestToken(late), "400 invalid_grant");
}

TEST_F(OAuthTest, RefreshTokensRotateAndAccessTokensEnd)
{
    const Json reply = Json::parse(Refresh("refresh-1").body);
    EXPECT_EQ(reply.at("expires_in"), 7200);
    m_accessToken = reply.at("access_token");
    EXPECT_EQ(m_accessToken.size(), 64U);
    m_now += 7200s - 1ms;
    Expect(Get("/locations"), "200");
    m_now += 1ms;
    Expect(Get("/locations"), "401 expired_token");
    Expect(Refresh("refresh-1"), "400 invalid_grant");
    Expect(Refresh(reply.at("refresh_token")), "200");
}

class GraceTest : public OAuthTest
{
protected:
    static Options WithGrace()
    {
        Options options;
        options.refreshGrace = 60s;
        return options;
    }
    GraceTest() : OAuthTest(WithGrace()) {}
};

TEST_F(GraceTest, ARefreshTokenThatWasReplacedIsBorneForItsGraceUnlessTheGrantIsRevoked)
{
    const std::string second = Json::parse(Refresh("refresh-1").body).at("refresh_token");
    m_now += 60s - 1ms;
    const std::string third = Json::parse(Refresh("refresh-1").body).at("refresh_token");
    Expect(Refresh(second), "200");
    m_now += 1ms;
    Expect(Refresh("refresh-1"), "400 invalid_grant");
    Expect(Refresh(third), "200");
    Expect(Admin("POST /admin/tokens/revoke", R"({"refresh":true})"), "200");
    Expect(Refresh(third), "400 invalid_grant");
}

TEST_F(OAuthTest, WrongTokenRequestsAreRefusedAndNamed)
{
    const std::string rows[][3] = {
        {"client_id=90", "client_id=91", "401 invalid_client client_id"},
        {"client_secret=93", "client_secret=94", "401 invalid_client client_secret"},
        {"&grant_type=authorization_code", "", "400 invalid_request grant_type"},
        {"grant_type=authorization_code", "grant_type=password", "400 unsupported_grant_type"},
        {"code=", "code=&x=", "400 invalid_request field 'x'"},
        {"code=", "code", "400 malformed_form"},
        {"&grant_type", "&grant_type=a&grant_type", "400 duplicate_field form field 'grant_type'"},
        {":8123/oauth", ":8124/oauth", "400 invalid_grant redirect_uri"},
    };
    std::string form;
    for (const auto& [from, to, outcome] : rows) {
        form = CodeForm();
        Expect(RequestToken(Replaced(form, from, to)), outcome, to);
    }
    const Response spent = RequestToken(form);
    Expect(spent, "400 invalid_grant the code is unknown", "a wrong redirect address spends the code");
    EXPECT_EQ(Json::parse(spent.body).at("error"), "invalid_grant");
    Expect(Send("POST /oauth/token HTTP/1.1\r\nHost: " VESTARA_OAUTH_HOST "\r\n\r\n"), "406 missing_accept");
    Expect(RequestToken(Replaced(CodeForm(), "http://", "http%3A%2F%2f")), "200");
}

TEST_F(OAuthTest, ConsentPageEscapesAndIsAnsweredOnce)
{
    const std::string page = Browse(AuthorizeTarget() + "'<b>").body;
    EXPECT_THAT(page, HasSubstr("Robin &lt;Example&gt;"));
    EXPECT_THAT(page, HasSubstr("state=s1&#39;&lt;b&gt;\""));

    const std::string target = AuthorizeTarget("http://[::1]:80/x?y=1") + "%22%3Cb";
    EXPECT_THAT(SerializeReply(Post(target, "localhost", Decision(target, "deny"))),
                HasSubstr("Location: http://[::1]:80/x?y=1&error=access_denied&state=s1%22%3Cb\r\n"));
    const std::string approval = Decision(target, "approve");
    Expect(Post(AuthorizeTarget() + "%22%3Cb", "localhost", approval), "403 invalid_consent");
    Expect(Post(target, "localhost", approval), "302");
    Expect(Post(target, "localhost", approval), "403 invalid_consent");
}

TEST_F(OAuthTest, OnlyLoopbackAndRegisteredAddressesAreTakenAndWrongRequestsNeverRedirect)
{
    const std::string target = AuthorizeTarget();
    const std::string rows[][3] = {
        {AuthorizeTarget("https://127.0.0.1/x"), "localhost", "400 invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1.example.com/"), "localhost", "400 invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1:8@evil.test/"), "localhost", "400 invalid_redirect_uri"},
        {AuthorizeTarget("http://evil.test%23@127.0.0.1/"), "localhost", "400 invalid_redirect_uri"},
        {AuthorizeTarget("http://127.0.0.1/%0d%0aX:1"), "localhost", "400 invalid_redirect_uri"},
        {target, "evil.test", "421 wrong_host"},
        {Replaced(target, "&state=s1", ""), "localhost", "400 invalid_request state"},
        {Replaced(target, "client_id=9", "client_id=8"), "localhost", "400 invalid_client"},
    };
    for (const auto& [address, host, outcome] : rows) {
        const Response reply = Browse(address, host);
        Expect(reply, outcome, address);
        EXPECT_THAT(SerializeReply(reply), Not(HasSubstr("Location: "))) << address;
    }
    const std::string address = "https://hub.example/cb",
                      line = "GET " + AuthorizeTarget(address) + " HTTP/1.1\r\n";
    Cloud approving(SmallWorld(), {.autoApprove = true, .redirectUris = {address}}, SeededRandom(1));
    EXPECT_THAT(approving.HandleRaw(line + "Host: localhost\r\n\r\n", m_now),
                HasSubstr("Location: " + address + "?code="));
}

} // namespace cloudsim::test
