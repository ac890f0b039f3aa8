// Joins driver, test host and the simulator's model; what is expected of them is left to the tests.

#include "simulation/Simulation.h"

#include "cloudsim/model/Fixture.h"
#include "devhost/framework/HttpReplyReader.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace support
{

const char* const kLakeHouse = R"({
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

namespace
{

constexpr const char* kRedirects[] = {"https://host.example/redirect/0", "https://host.example/redirect/1"};

/// Thrown out of a worker's pause, so that its loop is left without the steps of a shut-down.
struct PassEnded {
};

cloudsim::TimePoint TimeOf(const ManualClock& Clock)
{
    return cloudsim::TimePoint(std::chrono::seconds(Clock.CalendarS()));
}

/// Ids and tokens that a test can predict: id-1, id-2 and so on.
cloudsim::RandomSource CountedIDs()
{
    return [n = 0](std::size_t) mutable { return "id-" + std::to_string(++n); };
}

cloudsim::Options ModelOptions()
{
    cloudsim::Options Options;
    Options.autoApprove = true;
    Options.redirectUris.assign(std::begin(kRedirects), std::end(kRedirects));
    return Options;
}

std::string Before(const std::string& Text, const std::string& Mark)
{
    return Text.substr(0, Text.find(Mark));
}

std::string After(const std::string& Text, const std::string& Mark)
{
    const std::size_t Found = Text.find(Mark);
    return Found == std::string::npos ? std::string() : Text.substr(Found + Mark.size());
}

} // namespace

class SimulatedConnection : public devhost::Connection
{
public:
    SimulatedConnection(SimulatedCloud& Cloud, std::string Host) : m_Cloud(Cloud), m_Host(std::move(Host)) {}

    std::optional<devhost::HttpReply> Exchange(std::string_view Request) override
    {
        const std::string Text(Request);
        EXPECT_NE(Text.find("\r\nHost: " + m_Host + "\r\n"), std::string::npos)
            << "another host is connected";
        const std::string Reply = m_Cloud.m_Model.HandleRaw(Request, m_Cloud.Now());
        m_Cloud.m_Exchanges.push_back({Before(Text, " HTTP/"), Before(After(Text, "\r\n\r\n"), "\r\n"),
                                       Reply.substr(0, Reply.find("\r\n"))});
        devhost::HttpReplyReader Reader;
        Reader.Feed(Reply);
        if (Reader.EndOfStream() != devhost::HttpReplyReader::State::Complete)
            return std::nullopt;
        return Reader.Take();
    }

private:
    SimulatedCloud& m_Cloud;
    std::string m_Host;
};

SimulatedCloud::SimulatedCloud(const ManualClock& Clock, const std::string& Fixture)
    : m_Clock(Clock), m_Model(cloudsim::LoadWorld(Fixture, TimeOf(Clock)), ModelOptions(), CountedIDs())
{
}

cloudsim::TimePoint SimulatedCloud::Now() const
{
    return TimeOf(m_Clock);
}

std::unique_ptr<devhost::Connection> SimulatedCloud::Connect(const std::string& Host, int Port,
                                                             std::chrono::milliseconds)
{
    EXPECT_EQ(Port, 443);
    return Reachable ? std::make_unique<SimulatedConnection>(*this, Host) : nullptr;
}

cloudsim::Response SimulatedCloud::Browse(const std::string& Address)
{
    const std::string Rest = After(Address, "https://");
    cloudsim::Request Request;
    Request.method = "GET";
    Request.target = Rest.substr(Rest.find('/'));
    Request.headers = {{"Host", Before(Rest, "/")}};
    return m_Model.Handle(Request, Now());
}

void SimulatedCloud::Admin(const std::string& Method, const std::string& Target, const std::string& Body)
{
    cloudsim::Request Request;
    Request.method = Method;
    Request.target = Target;
    Request.headers = {{"Host", "127.0.0.1"}, {"Content-Type", "application/json"}};
    Request.body = Body;
    const cloudsim::Response Reply = m_Model.HandleAdmin(Request, Now());
    EXPECT_EQ(Reply.status, 200) << Target << " " << Reply.reason;
}

const cloudsim::Lock& SimulatedCloud::Lock(const std::string& ID) const
{
    return *std::ranges::find(World().locks, ID, &cloudsim::Lock::id);
}

Lines SimulatedCloud::Persons() const
{
    Lines Found;
    for (const cloudsim::AccessPerson& Person : World().persons) {
        std::string Line = Person.name + " " + Person.pin + " " + Person.email.value_or("-");
        for (const cloudsim::Access& Access : World().accesses) {
            if (Access.personId == Person.id)
                Line += " " + Access.lockId;
        }
        Found.push_back(Line);
    }
    return Found;
}

SimulationTest::SimulationTest(const std::string& Fixture) : m_Simulated(m_Clock, Fixture)
{
    devhost::TheFramework().pTransport = &m_Simulated;
    m_Sleeper.OnPass = [] { throw PassEnded(); };
}

SimulationTest::~SimulationTest()
{
    devhost::TheFramework().pTransport = &m_Cloud;
}

void SimulationTest::Live(std::chrono::milliseconds Time, std::chrono::milliseconds Extra)
{
    const std::uint64_t End = m_Clock.UptimeMs() + static_cast<std::uint64_t>(Time.count());
    while (m_Clock.UptimeMs() < End) {
        for (int i = 0; i < m_pSystem->NBridges(); ++i) {
            try {
                // It returns only when a restart in place has stopped the workers; then it starts again.
                Account(i).Run();
                Account(i).NetworkBridge()->ShuttingDown(0);
            } catch (const PassEnded&) {
            }
        }
        m_pSystem->RunOnce();
        m_Clock.Advance(static_cast<std::uint64_t>(Extra.count()));
    }
}

void SimulationTest::Authorise(CVestaraInterface& Account)
{
    const cloudsim::Response Reply = m_Simulated.Browse(std::string(Account.GetAuthURL()));
    ASSERT_EQ(Reply.status, 302) << Reply.reason;
    const auto Location = std::ranges::find(Reply.headers, "Location", &cloudsim::Header::name);
    ASSERT_NE(Location, Reply.headers.end());
    const std::string Code = Before(After(Location->value, "code="), "&");
    CNetworkBridge* pBridge = m_pSystem->TakeOAuthState(After(Location->value, "state="));
    ASSERT_EQ(pBridge, Account.NetworkBridge()) << "the state belongs to the account";
    pBridge->DeviceInterface()->ProcessAuthCode(Code.c_str());
}

void SimulationTest::Restart()
{
    EXPECT_EQ(m_pSystem->Stop(), "");
    StartSystem();
}

CVestaraInterface& SimulationTest::Account(int i)
{
    return dynamic_cast<CVestaraInterface&>(*m_pSystem->Bridge(i)->DeviceInterface());
}

CPortivo& SimulationTest::Lock(const char* DeviceID)
{
    CPortivo* pLock = Account(0).FindDoorLock(DeviceID);
    if (!pLock)
        throw std::runtime_error(std::string("there is no lock ") + DeviceID);
    return *pLock;
}

Lines SimulationTest::Reports()
{
    Lines Found;
    for (std::string& Report : m_Journal.TakeReports()) {
        if (std::ranges::find(Found, Report) == Found.end())
            Found.push_back(std::move(Report));
    }
    m_Journal.Take();
    return Found;
}

std::string SimulationTest::Shown(const char* DeviceID)
{
    CPortivo& Shown = Lock(DeviceID);
    return std::to_string(Shown.State()) + " " + std::to_string(Shown.BatteryLevel()) + " " +
           std::to_string(Shown.SignalStrength()) + " " + std::to_string(Shown.Online()) + " " +
           std::string(Shown.Name());
}

Lines SimulationTest::Changes()
{
    Lines Found;
    for (const SimulatedCloud::Exchange& Exchange : m_Simulated.Take()) {
        if (Exchange.Line != "GET /devices" && Exchange.Line != "GET /access_persons")
            Found.push_back(Exchange.Line + " " + Exchange.Body + (Exchange.Body.empty() ? "" : " ") +
                            After(Exchange.Status, "HTTP/1.1 ").substr(0, 3));
    }
    return Found;
}

} // namespace support
