#pragma once
// Speaks to a cloud in the same process with a controller's bytes; the cases stand in the other files.

#include "cloudsim/model/Cloud.h"
#include "cloudsim/model/Fixture.h"

#include <gmock/gmock.h>
#include <string>
#include <string_view>
#include <utility>

namespace cloudsim::test
{

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The time at which every test starts: 2026-03-01T12:00:00Z.
inline constexpr TimePoint kStart = std::chrono::sys_days{2026y / 3 / 1} + 12h;

// One location, two locks with a heartbeat each 20 s, one person with access to the first, and the tokens of
// a controller.
inline const std::string kSmallFixture =
    R"({"account": {"name": "Robin <Example>", "email": "robin@vestara.example"},
"locations": [{"id": "home", "name": "Home"}],
"locks": [
  {"id": "front", "name": "Front", "location_id": "home", "serial_number": "S1", "programming_code": "111222",
   "power_source": "battery", "heartbeat_interval": 20, "state": "locked", "power_level": 80, "wifi_level": 60},
  {"id": "back", "name": "Back", "location_id": "home", "serial_number": "S2", "programming_code": "333444",
   "power_source": "battery", "heartbeat_interval": 20, "state": "locked", "power_level": 70, "wifi_level": 50}],
"access_persons": [{"id": "alex", "name": "Alex", "email": null, "pin": "1234"}],
"accesses": [{"id": "alex-front", "access_person_id": "alex", "accessible_id": "front"}],
"tokens": {"access": [{"token": "access-1", "expires_at": "2026-03-01T14:00:00Z"}],
           "refresh": [{"token": "refresh-1"}]}})";

inline World SmallWorld()
{
    return LoadWorld(kSmallFixture, kStart);
}

// Checks that status, errorcode and reason of a reply, with blanks in between, begin with a text.
inline void Expect(const Response& reply, const std::string& begin, const std::string& row = "")
{
    const std::string outcome = std::to_string(reply.status) + " " + reply.errorcode + " " + reply.reason;
    EXPECT_THAT(outcome, StartsWith(begin)) << row.substr(0, 200);
}

inline const std::vector<Header> kAdminHeaders = {{"Host", "localhost"},
                                                  {"Content-Type", "application/json"}};

// A request to the admin routes; the line is "METHOD TARGET".
inline Request AdminRequest(const std::string& line, const std::string& body,
                            const std::vector<Header>& headers = kAdminHeaders)
{
    const auto blank = line.find(' ');
    return {line.substr(0, blank), line.substr(blank + 1), 11, headers, body, {}};
}

// The text with its first occurrence of a part replaced; a failed check when there is none.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from << " is not in " << text;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// An array in an array, and so on for that many levels.
inline std::string NestedArrays(std::size_t levels)
{
    return std::string(levels, '[') + std::string(levels, ']');
}

// A cloud on a clock that is moved by hand.
class CloudTest : public testing::Test
{
protected:
    explicit CloudTest(Options options = {}) : m_options(std::move(options)) {}

    // A request's bytes: its line without the version, the headers that every request has, and the rest.
    std::string Bytes(const std::string& line, const std::string& rest = "\r\n") const
    {
        return line + " HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer " +
               m_accessToken + "\r\nHost: " VESTARA_API_HOST "\r\n" + rest;
    }
    Response Send(const std::string& bytes)
    {
        const auto parsed = ParseRawRequest(bytes);
        if (const auto* refusal = std::get_if<Refusal>(&parsed))
            return m_cloud.HandleUnreadable(*refusal, m_now);
        return m_cloud.Handle(std::get<Request>(parsed), m_now);
    }
    Response Get(const std::string& path) { return Send(Bytes("GET " + path)); }
    Response Delete(const std::string& path) { return Send(Bytes("DELETE " + path)); }
    // A POST or PUT with the CR LF that controllers send behind a body.
    Response Write(const std::string& line, const std::string& body = "")
    {
        return Send(Bytes(line, "Content-Length: " + std::to_string(body.size()) +
                                    "\r\nContent-Type: application/json\r\n\r\n" + body + "\r\n"));
    }
    Response Admin(const std::string& line, const std::string& body = "",
                   const std::vector<Header>& headers = kAdminHeaders)
    {
        return m_cloud.HandleAdmin(AdminRequest(line, body, headers), m_now);
    }

    const Lock& FirstLock() const { return m_cloud.CurrentWorld().locks.at(0); }
    std::string WholeWorld() const { return SaveWorld(m_cloud.CurrentWorld()); }

    std::string m_drawn; // the last random text
    Options m_options;
    Cloud m_cloud{SmallWorld(), m_options, [this, random = SeededRandom(1)](std::size_t count) mutable {
                      return m_drawn = random(count);
                  }};
    TimePoint m_now = kStart;
    std::string m_accessToken = "access-1";
};

} // namespace cloudsim::test
