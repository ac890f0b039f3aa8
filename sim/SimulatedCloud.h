#pragma once
// The cloud's side of a run: the simulator's model, and a network in between on which things go wrong.

#include "cloudsim/model/Cloud.h"
#include "devhost/framework/seams/Framework.h"
#include "sim/Commands.h"
#include "sim/Journal.h"
#include "sim/Random.h"
#include "sim/Scheduler.h"
#include "sim/Settings.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sim
{

/// The houses, locks and persons at the start of a run: for each account a house with its locks, one house
/// more with a lock, which nobody chooses, and persons whom no controller has made.
std::string FixtureText(const Settings& settings);

/// Ids of the house that nobody chooses and of its lock.
inline constexpr const char* kForeignHouse = "house-foreign";
inline constexpr const char* kForeignLock = "lock-foreign";
/// The names of the persons whom no controller has made begin with this.
inline constexpr const char* kStranger = "Stranger";

/// One exchange as the network saw it.
struct Delivery {
    std::string line;    ///< "METHOD PATH" of the request
    std::string body;    ///< of the request
    int status = 0;      ///< that came back; 0: nothing did
    bool acted = false;  ///< the cloud carried the request out with success
    bool harmed = false; ///< a fault hit it
    std::string reply;   ///< body that came back
    std::optional<CommandSeen> command;
};

/// Plugs into the framework's transport. Called from workers; a call from the host thread is a broken rule.
class SimulatedCloud : public devhost::Transport
{
public:
    enum class Fault {
        None,
        Refused,
        NoAnswer,
        LostRequest,
        LostReply,
        LateRequest,
        CutReply,
        Slow,
        TooSlow,
        Status,
        OtherSuccess,
        NoJson,
        HostileJson,
        Duplicates,
        Reordered,
        Last = Reordered,
    };

    SimulatedCloud(const Settings& settings, Scheduler& scheduler, Journal& journal);

    std::unique_ptr<devhost::Connection> Connect(const std::string& host, int port,
                                                 std::chrono::milliseconds timeout) override;
    std::string LastFailure() const override { return m_failure; }

    /// A browser's GET of the authorisation address. @return where it is sent, empty when it is refused.
    std::string Browse(const std::string& url);
    /// One of the simulator's admin routes. @return whether it was carried out.
    bool Admin(const std::string& method, const std::string& target, const std::string& body);

    const cloudsim::World& World() const { return m_model.CurrentWorld(); }
    /// Lets the cloud's own time go on.
    void Advance()
    {
        CarryLate(false);
        m_model.Advance(Now());
    }
    /// The cloud's calendar, which is right whatever the controller's says.
    cloudsim::TimePoint Now() const;

    /// While it is calm no fault hits. @param calm ends storms too.
    void Calm(bool calm);
    /// For so long nearly every exchange meets the same fault.
    void Storm(std::uint64_t lengthMs);
    /// An outage: every exchange meets this fault until it is None again.
    /// @param status of Fault::Status; 0: any.
    void Force(Fault fault, int status = 0);
    /// The controller is cut off for good: nothing of what it does reaches the cloud any more.
    void Cut(bool cut) { m_cut = cut; }
    /// When a fault hit last, or a storm ended.
    std::uint64_t LastTroubleMs() const { return m_lastTroubleMs; }
    /// Every token that came to the controller, and every code that was given out.
    const std::set<std::string>& Tokens() const { return m_tokens; }

    std::function<void(const Delivery&)> onDelivery;
    std::function<void()> onConnect; ///< a connection is asked for; may be empty

private:
    class Link;
    static const char* Name(Fault fault);

    Fault Draw();
    Fault DrawKind(bool beforeConnection);
    std::optional<devhost::HttpReply> Carry(std::string_view bytes, Fault fault);
    std::string Harmed(Fault fault, const std::string& reply);
    std::string StatusReply();
    void NoteTokens(const std::string& body);
    std::optional<devhost::HttpReply> Lost(Delivery& delivery, const char* why);
    void CarryLate(bool all);

    const Settings& m_settings;
    Scheduler& m_scheduler;
    Journal& m_journal;
    Random m_chance;
    Random m_ids;
    cloudsim::Cloud m_model;
    std::uint64_t m_startMs;
    bool m_calm = false;
    bool m_cut = false;
    Fault m_storm = Fault::None;
    Fault m_forced = Fault::None;
    int m_forcedStatus = 0;
    std::uint64_t m_stormEndsMs = 0;
    std::uint64_t m_lastTroubleMs = 0;
    std::string m_failure;
    std::set<std::string> m_tokens;
    struct Late {
        std::uint64_t atMs;
        std::string bytes;
    };
    std::vector<Late> m_late; // requests under way whose clients have gone
};

} // namespace sim
