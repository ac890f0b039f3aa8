// Bytes of clients to the simulated cloud, one request behind the other between lines of "---"; those to its
// admin routes too. Whatever they ask for, its world can be saved and read.

#include "cloudsim/model/Cloud.h"
#include "cloudsim/model/Fixture.h"
#include "tests/fuzz/Fuzz.h"

using fuzz::Require;

static constexpr const char* kHouse = R"({
  "account": {"name": "Robin", "email": "robin@x.example"},
  "locations": [{"id": "loc-1", "name": "Lake House"}],
  "locks": [
    {"id": "front", "name": "Front", "location_id": "loc-1", "serial_number": "S1", "programming_code": "111111",
     "power_source": "battery", "heartbeat_interval": 20, "state": "locked", "power_level": 90, "wifi_level": 80}],
  "access_persons": [{"id": "dan", "name": "Dan", "email": "dan@x.example", "pin": "4444"}],
  "accesses": [{"id": "dan-front", "access_person_id": "dan", "accessible_id": "front"}],
  "tokens": {"access": [{"token": "access-1", "expires_at": "2040-01-01T00:00:00Z"}],
             "refresh": [{"token": "refresh-1"}]}})";

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace cloudsim;
    constexpr std::string_view kNext = "\n---\n";
    TimePoint now{std::chrono::seconds(1'800'000'000)};
    Cloud cloud(LoadWorld(kHouse, now), {}, SeededRandom(1));
    std::string_view rest = fuzz::Text(data, size);
    for (int n = 0; n < 8 && !rest.empty(); ++n) {
        const std::size_t end = rest.find(kNext);
        const std::string_view bytes = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + kNext.size());
        const std::string reply = cloud.HandleRaw(bytes, now);
        Require(reply.empty() || reply.starts_with("HTTP/1.1 "), "every request gets a reply");
        const auto request = ParseRawRequest(bytes);
        if (const auto* admin = std::get_if<Request>(&request); admin && admin->target.starts_with("/admin/"))
            Require(cloud.HandleAdmin(*admin, now).status >= 200, "the admin routes reply");
        now += std::chrono::seconds(30);
        cloud.Advance(now);
    }
    const std::string saved = SaveWorld(cloud.CurrentWorld());
    Require(SaveWorld(LoadWorld(saved, now)) == saved, "the world is read as it was saved");
    return 0;
}
