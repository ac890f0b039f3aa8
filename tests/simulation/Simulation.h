#pragma once
// The driver against the simulated cloud, both in one process, on one thread and on one hand-moved clock.

#include "cloudsim/model/Cloud.h"
#include "cloudsim/model/Fixture.h"
#include "devhost/framework/network/HttpReplyReader.h"
#include "support/TestHost.h"

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
        m_Cloud.OnRequest = [this](const std::string& Request) { Answer(Request); };
        m_OnPass = [] { throw PassEnded(); };
        CVestaraInterface& Account = AddReadyAccount();
        AddLock(Account, "front", "Front");
        AddLock(Account, "back", "Back");
    }

    /// Lets time pass: each round is one pass of the worker's loop and one of the main loop.
    /// @param Extra added to the 100 ms of each round, as on a host that is slow.
    void Live(std::chrono::milliseconds Time, std::chrono::milliseconds Extra = 0ms)
    {
        const std::uint64_t End = m_Clock.UptimeMs() + static_cast<std::uint64_t>(Time.count());
        while (m_Clock.UptimeMs() < End) {
            try {
                // It returns only when a restart in place has stopped the workers; then it starts again.
                Account().Run();
                Account().NetworkBridge()->ShuttingDown(0);
            } catch (const PassEnded&) {
            }
            m_pSystem->RunOnce();
            m_Clock.Advance(static_cast<std::uint64_t>(Extra.count()));
        }
    }
    /// Stops the host and starts it again from what it has stored.
    void Restart()
    {
        EXPECT_EQ(m_pSystem->Stop(), "");
        StartSystem();
    }
    /// Sends a request to the simulator's admin routes; a refusal fails the test.
    void Admin(const std::string& Target, const std::string& Body)
    {
        cloudsim::Request Request;
        Request.method = "POST";
        Request.target = "/admin/" + Target;
        Request.headers = {{"Host", "127.0.0.1"}, {"Content-Type", "application/json"}};
        Request.body = Body;
        EXPECT_EQ(m_Model.HandleAdmin(Request, Now()).status, 200) << Target;
    }

    CVestaraInterface& Account()
    {
        return dynamic_cast<CVestaraInterface&>(*m_pSystem->Bridge(0)->DeviceInterface());
    }
    CPortivo& Lock(const char* DeviceID) { return *Account().FindDoorLock(DeviceID); }
    /// "METHOD PATH STATUS" of the exchanges since the last call; no status when nothing came back.
    Lines Exchanges() { return std::exchange(m_Exchanges, {}); }
    /// The reports since the last call, each text once, in order of their first appearance.
    Lines Reports()
    {
        Lines Found;
        for (std::string& Report : m_Journal.TakeReports()) {
            if (std::ranges::find(Found, Report) == Found.end())
                Found.push_back(std::move(Report));
        }
        m_Journal.Take();
        return Found;
    }

    bool m_Reachable = true; ///< false: no reply comes
    /// Its ids and tokens can be predicted: id-1, id-2 and so on.
    cloudsim::Cloud m_Model{cloudsim::LoadWorld(kLakeHouse, Now()), {}, [n = 0](std::size_t) mutable {
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
    void Answer(const std::string& Request)
    {
        m_Cloud.TakeRequests();
        if (!m_Reachable)
            return;
        const std::string Reply = m_Model.HandleRaw(Request, Now());
        m_Exchanges.push_back(Request.substr(0, Request.find(" HTTP/")));
        devhost::HttpReplyReader Reader;
        Reader.Feed(Reply);
        if (Reader.EndOfStream() != devhost::HttpReplyReader::State::Complete)
            return;
        m_Exchanges.back() += Reply.substr(8, 4);
        m_Cloud.ReplyRaw(Reader.Take());
    }

    Lines m_Exchanges;
};

} // namespace support
