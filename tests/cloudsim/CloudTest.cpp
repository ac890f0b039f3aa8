// Speaks to a cloud in the same process with a controller's bytes; the cases stand in the other files.
#include "tests/cloudsim/CloudTest.h"

#include "cloudsim/model/Fixture.h"

namespace cloudsim::test
{
namespace
{

const std::string kClient =
    "client_id=" + std::string(kClientId) + "&client_secret=" + std::string(kClientSecret);

} // namespace

TimePoint StartTime()
{
    return *ParseTimestamp("2026-03-01T12:00:00Z");
}

std::string SmallFixture()
{
    return R"({"account": {"name": "Robin <Example>", "email": "robin@vestara.example"},
"locations": [{"id": "home", "name": "Home"}],
"locks": [
  {"id": "front", "name": "Front", "location_id": "home", "serial_number": "S1",
   "programming_code": "111222", "power_source": "battery", "heartbeat_interval": 20,
   "state": "locked", "power_level": 80, "wifi_level": 60},
  {"id": "back", "name": "Back", "location_id": "home", "serial_number": "S2",
   "programming_code": "333444", "power_source": "battery", "heartbeat_interval": 20,
   "state": "locked", "power_level": 70, "wifi_level": 50}],
"access_persons": [{"id": "alex", "name": "Alex", "email": null, "pin": "1234"}],
"accesses": [{"id": "alex-front", "access_person_id": "alex", "accessible_id": "front"}]})";
}

World SmallWorld()
{
    return LoadWorld(SmallFixture(), StartTime());
}

Response CloudTest::Send(const std::string& bytes)
{
    const auto parsed = ParseRawRequest(bytes);
    if (const auto* refusal = std::get_if<Refusal>(&parsed))
        return cloud.HandleUnreadable(*refusal, now);
    return cloud.Handle(std::get<Request>(parsed), now);
}

std::string CloudTest::Bytes(const std::string& line, const std::string& rest) const
{
    return line + " HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer " +
           accessToken + "\r\nHost: api.vestara.example\r\n" + rest;
}

Response CloudTest::Write(const std::string& line, const std::string& body)
{
    return Send(Bytes(line, "Content-Length: " + std::to_string(body.size()) +
                                "\r\nContent-Type: application/json\r\n\r\n" + body + "\r\n"));
}

std::string CloudTest::PostForm(const std::string& target, const std::string& host, const std::string& form)
{
    return "POST " + target + " HTTP/1.1\r\nAccept: application/json\r\nHost: " + host +
           "\r\nContent-Length: " + std::to_string(form.size()) +
           "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + form;
}

Response CloudTest::RequestToken(const std::string& form)
{
    return Send(PostForm("/oauth/token", "oauth.vestara.example", form) + "\r\n");
}

Response CloudTest::Admin(const std::string& method, const std::string& target, const std::string& body)
{
    Request request{method, target, 11, {{"Host", "127.0.0.1:80"}}, body, {}};
    if (!body.empty())
        request.headers.push_back({"Content-Type", "application/json"});
    return cloud.HandleAdmin(request, now);
}

std::string CloudTest::CodeForm(const std::string& code) const
{
    return "code=" + code + "&" + kClient + "&redirect_uri=" + std::string(kRedirectUri) +
           "&grant_type=authorization_code";
}

std::string CloudTest::RefreshForm(const std::string& refreshToken) const
{
    return kClient + "&refresh_token=" + refreshToken + "&grant_type=refresh_token";
}

std::string CloudTest::AuthorizeTarget(std::string_view redirectUri) const
{
    return "/oauth/authorize?client_id=" + std::string(kClientId) +
           "&response_type=code&redirect_uri=" + std::string(redirectUri) + "&state=s1";
}

std::string CloudTest::ObtainCode()
{
    const std::string host = "127.0.0.1:4433";
    const Response page = Send("GET " + AuthorizeTarget() + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    const std::string csrf = Between(page.body, "name=\"csrf\" value=\"", "\"");
    const Response redirect = Send(PostForm(AuthorizeTarget(), host, "csrf=" + csrf + "&decision=approve"));
    return Between(HeaderValue(redirect, "Location"), std::string(kRedirectUri) + "?code=", "&state=s1");
}

Json CloudTest::Authorize()
{
    const Json reply = Json::parse(RequestToken(CodeForm(ObtainCode())).body);
    accessToken = reply.at("access_token");
    return reply;
}

std::string HeaderValue(const Response& response, std::string_view name)
{
    for (const Header& header : response.headers) {
        if (header.name == name)
            return header.value;
    }
    return {};
}

std::string Between(const std::string& text, const std::string& before, const std::string& after)
{
    const auto begin = text.find(before);
    const auto end = begin == std::string::npos ? begin : text.find(after, begin + before.size());
    return end == std::string::npos ? "" : text.substr(begin + before.size(), end - begin - before.size());
}

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const auto at = text.find(from);
    if (at == std::string::npos)
        ADD_FAILURE() << from << " is not in " << text;
    else
        text.replace(at, from.size(), to);
    return text;
}

} // namespace cloudsim::test
