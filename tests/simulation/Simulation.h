#pragma once
// The driver against the simulated cloud, both in one process, on one thread and on one hand-moved clock.

#include "cloudsim/model/Cloud.h"
#include "support/TestHost.h"

#include <chrono>
#include <string>
#include <vector>

namespace support
{

using namespace std::chrono_literals;

/// A house with the locks "front" and "back", whose heartbeats come each hour, and the person Dan, whom no
/// controller has made. Its tokens are those of a ready account.
extern const char* const kLakeHouse;

/// A transport that hands the bytes of each request to the model, and its reply to the framework's reader.
class SimulatedCloud : public devhost::Transport
{
public:
    /// @param Fixture the world in JSON; locks were heard of at the clock's time.
    SimulatedCloud(const ManualClock& Clock, const std::string& Fixture);

    std::unique_ptr<devhost::Connection> Connect(const std::string& Host, int Port,
                                                 std::chrono::milliseconds Timeout) override;

    /// What a browser gets for an address of the authorisation host.
    cloudsim::Response Browse(const std::string& Address);
    /// Sends a request to the admin routes; a refusal fails the test.
    void Admin(const std::string& Method, const std::string& Target, const std::string& Body = "");
    /// Injects one fault: the members of its JSON object.
    void Fault(const std::string& Members) { Admin("POST", "/admin/faults", "[{" + Members + "}]"); }

    const cloudsim::World& World() const { return m_Model.CurrentWorld(); }
    const cloudsim::Lock& Lock(const std::string& ID) const;
    /// "NAME PIN EMAIL LOCK..." of each access person, with the locks that it has access to.
    Lines Persons() const;

    struct Exchange {
        std::string Line; ///< "METHOD PATH"
        std::string Body;
        std::string Status; ///< empty when nothing came back
    };
    /// The exchanges since the last call.
    std::vector<Exchange> Take() { return std::exchange(m_Exchanges, {}); }

    bool Reachable = true; ///< false: no connection can be made

private:
    friend class SimulatedConnection;
    cloudsim::TimePoint Now() const;

    const ManualClock& m_Clock;
    cloudsim::Cloud m_Model;
    std::vector<Exchange> m_Exchanges;
};

/// Runs the workers' loops and the main loop in turns.
class SimulationTest : public DriverTest
{
protected:
    explicit SimulationTest(const std::string& Fixture);
    ~SimulationTest() override;

    /// Lets time pass: each round is one pass of every account's worker loop and one of the main loop.
    /// @param Extra added to the 100 ms of each round, as on a host that is slow.
    void Live(std::chrono::milliseconds Time, std::chrono::milliseconds Extra = 0ms);
    /// Goes through the authorize page as a browser does and hands the code to the driver.
    void Authorise(CVestaraInterface& Account);
    /// Stops the host and starts it again from what it has stored.
    void Restart();

    CVestaraInterface& Account(int i);
    CPortivo& Lock(const char* DeviceID);
    /// The reports since the last call, each text once, in order of their first appearance.
    Lines Reports();
    /// "STATE BATTERY SIGNAL ONLINE NAME" of a lock as the host shows it.
    std::string Shown(const char* DeviceID);
    /// The lines of the requests since the last call that do not read the periodic lists.
    Lines Changes();

    SimulatedCloud m_Simulated;
};

} // namespace support
