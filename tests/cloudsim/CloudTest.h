#pragma once

#include "cloudsim/model/Cloud.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace cloudsim::test
{

// The time at which every test starts: 2026-03-01T12:00:00Z.
TimePoint StartTime();

// A small world, as fixture text and loaded: one location, two locks with a heartbeat each 20 s, and one
// person with access to the first.
std::string SmallFixture();
World SmallWorld();

inline constexpr std::string_view kRedirectUri = "http://127.0.0.1:8123/oauth";

// A cloud on a clock that is moved by hand, spoken to with the bytes that a controller sends.
class CloudTest : public testing::Test
{
protected:
    explicit CloudTest(Options options = {}) : cloud(SmallWorld(), std::move(options), SeededRandom(1)) {}

    // A request's bytes: its line without the version, the headers that every request has, and the rest.
    std::string Bytes(const std::string& line, const std::string& rest = "\r\n") const;
    static std::string PostForm(const std::string& target, const std::string& host, const std::string& form);

    // Parses and handles the bytes of one request.
    Response Send(const std::string& bytes);
    Response Get(const std::string& path) { return Send(Bytes("GET " + path)); }
    Response Delete(const std::string& path) { return Send(Bytes("DELETE " + path)); }
    // A POST or PUT with the CR LF that controllers send behind a body.
    Response Write(const std::string& line, const std::string& body = "");
    Response RequestToken(const std::string& form);
    Response Admin(const std::string& method, const std::string& target, const std::string& body = "");

    std::string CodeForm(const std::string& code) const;
    std::string RefreshForm(const std::string& refreshToken) const;
    std::string AuthorizeTarget(std::string_view redirectUri = kRedirectUri) const;

    // Goes through the consent page as a browser does and gives the code.
    std::string ObtainCode();
    // The same up to the tokens; the access token is used from then on.
    Json Authorize();

    const Lock& FirstLock() const { return cloud.CurrentWorld().locks.at(0); }

    Cloud cloud;
    TimePoint now = StartTime();
    std::string accessToken;
};

class AuthorizedTest : public CloudTest
{
protected:
    AuthorizedTest() { Authorize(); }
};

// The value of a header of a reply; empty when it is not there.
std::string HeaderValue(const Response& response, std::string_view name);

// The text between two marks; empty when they are not there.
std::string Between(const std::string& text, const std::string& before, const std::string& after);

// The text with its first occurrence of a part replaced; a failed check when there is none.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

} // namespace cloudsim::test
