#pragma once
// The driver against the simulated cloud, both in one process, on one thread and on one hand-moved clock.

#include "cloudsim/model/Cloud.h"
#include "cloudsim/model/Fixture.h"
#include "devhost/framework/network/HttpReplyReader.h"
#include "tests/support/TestHost.h"

#include <algorithm>
#include <chrono>

namespace support
{

using namespace std::chrono_literals;

/// A house with the locks "front" and "back", whose heartbeats come each hour, and the person Dan, whom no
/// controller has made. Its tokens are those of a ready account.
inline constexpr const char* kLakeHouse = R"({
  "account": {"name": "Robin", "email": "robin@x.example"},
  "locations": [{"id": "loc-1", "name": "Lake House"}],
  "locks": [
    {"id": "front", "name": "Front", "location_id": "loc-1", "serial_number": "S1", "programming_code": "111111",
     "power_source": "battery", "heartbeat_interval": 3600, "state": "locked", "power_level": 90, "wifi_level": 80},
    {"id": "back", "name": "Back", "location_id": "loc-1", "serial_number": "S2", "programming_code": "222222",
     "power_source": "battery", "heartbeat_interval": 3600, "state": "locked", "power_level": 90, "wifi_level": 80}],
  "access_persons": [{"id": "p-dan", "name": "Dan", "email": "dan@x.example", "pin": "4444"}],
  "tokens": {"access": [{"token": "access-1", "expires_at": "2040-01-01T00:00:00Z"}],
             "refresh": [{"token": "refresh-1"}]}})";

/// A ready account with both locks. Runs the worker's loop and the main loop in turns, and hands the bytes of
/// each request to the model, whose reply goes through the framework's reader.
class SimulationTest : public DriverTest
{
protected:
    SimulationTest()
    {
        m_cloud.onRequest = [this](const std::string& request) { Answer(request); };
        m_onPass = [] { throw PassEnded(); };
        CVestaraInterface& account = AddReadyAccount();
        AddLock(account, "front", "Front");
        AddLock(account, "back", "Back");
    }

    /// Lets time pass: each round is one pass of the worker's loop and one of the main loop.
    /// @param extra added to the 100 ms of each round, as on a host that is slow.
    void Live(std::chrono::milliseconds time, std::chrono::milliseconds extra = 0ms)
    {
        const std::uint64_t end = m_clock.UptimeMs() + static_cast<std::uint64_t>(time.count());
        while (m_clock.UptimeMs() < end) {
            try {
                // It returns only when a restart in place has stopped the workers; then it starts again.
                Account().Run();
                Account().NetworkBridge()->ShuttingDown(0);
            } catch (const PassEnded&) {
            }
            m_system->RunOnce();
            m_clock.Advance(static_cast<std::uint64_t>(extra.count()));
        }
    }
    /// Stops the host and starts it again from what it has stored.
    void Restart()
    {
        EXPECT_EQ(m_system->Stop(), "");
        StartSystem();
    }
    /// Sends a request to the simulator's admin routes; a refusal fails the test.
    void Admin(const std::string& target, const std::string& body)
    {
        cloudsim::Request request;
        request.method = "POST";
        request.target = "/admin/" + target;
        request.headers = {{"Host", "127.0.0.1"}, {"Content-Type", "application/json"}};
        request.body = body;
        EXPECT_EQ(m_model.HandleAdmin(request, Now()).status, 200) << target;
    }

    CVestaraInterface& Account()
    {
        return dynamic_cast<CVestaraInterface&>(*m_system->Bridge(0)->DeviceInterface());
    }
    CPortivo& Lock(const char* deviceId) { return *Account().FindDoorLock(deviceId); }
    /// "METHOD PATH STATUS" of the exchanges since the last call; no status when nothing came back.
    Lines Exchanges() { return std::exchange(m_exchanges, {}); }
    /// The reports since the last call, each text once, in order of their first appearance.
    Lines Reports()
    {
        Lines found;
        for (std::string& report : m_journal.TakeReports()) {
            if (std::ranges::find(found, report) == found.end())
                found.push_back(std::move(report));
        }
        m_journal.Take();
        return found;
    }

    /// Its ids and tokens can be predicted: id-1, id-2 and so on.
    cloudsim::Cloud m_model{cloudsim::LoadWorld(kLakeHouse, Now()), {}, [n = 0](std::size_t) mutable {
                                return "id-" + std::to_string(++n);
                            }};

private:
    /// Thrown out of the worker's pause, so that its loop is left without the steps of a shut-down.
    struct PassEnded {
    };

    static cloudsim::TimePoint Now()
    {
        return cloudsim::TimePoint(std::chrono::seconds(ManualClock::CalendarS()));
    }
    void Answer(const std::string& request)
    {
        m_cloud.TakeRequests();
        const std::string reply = m_model.HandleRaw(request, Now());
        m_exchanges.push_back(request.substr(0, request.find(" HTTP/")));
        devhost::HttpReplyReader reader;
        reader.Feed(reply);
        if (reader.EndOfStream() != devhost::HttpReplyReader::State::Complete)
            return;
        m_exchanges.back() += reply.substr(8, 4);
        m_cloud.ReplyRaw(reader.Take());
    }

    Lines m_exchanges;
};

} // namespace support
