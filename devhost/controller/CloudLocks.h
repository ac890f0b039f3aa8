#pragma once
// What the cloud says of each lock, learned from the requests that the host carries for its driver and never
// from the driver itself.

#include <nlohmann/json_fwd.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace devhost
{

struct Exchange;

/// One lock as the cloud has it. Nothing stands for what was not heard yet, or made no sense.
struct CloudLock {
    using Time = std::chrono::system_clock::time_point;

    enum class Outcome {
        Sent,       ///< given to the driver; the cloud has not answered
        Accepted,   ///< the cloud keeps it for the lock's next heartbeat
        Done,       ///< the lock woke since, and is as it was wanted
        Refused,    ///< by the cloud
        Lost,       ///< sent, but no reply came
        Unanswered, ///< the driver waits no longer for the lock
    };
    struct Command {
        bool unlocks = false;
        Time time = {};
        Outcome outcome = Outcome::Sent;
        std::string text = {}; ///< why it was refused or lost, in others' words
        /// A heartbeat after this one may show that it is done; nothing when the cloud cannot have it.
        std::optional<Time> heardBefore = {};
        bool operator==(const Command&) const = default;
    };

    std::optional<Time> readAt; ///< when the cloud told of the lock last, by this machine's clock
    std::optional<bool> online;
    std::optional<Time> lastSeen; ///< its last heartbeat, by the cloud's clock
    std::optional<std::chrono::seconds> interval;
    /// Between its last two heartbeats; only when the cloud was asked so often that none in between was
    /// missed.
    std::optional<std::chrono::seconds> gap;
    std::optional<int> battery, wifi; ///< percent
    std::optional<Time> updatedAt;    ///< when the cloud's record changed last
    std::string state, serial;        ///< empty for nothing
    std::optional<Command> lastCommand;
    bool operator==(const CloudLock&) const = default;
};

/// The locks of all accounts by the cloud's id. Safe by its lock, under which nothing blocks: the accounts'
/// workers write, the host thread reads.
class CloudLocks
{
public:
    using Time = CloudLock::Time;
    static constexpr std::size_t kMaxLocks = 10'000; ///< those that were read last stay
    static constexpr std::size_t kMaxTextBytes = 200;
    /// How often a record that only was read again counts as a change.
    static constexpr std::chrono::seconds kTellReadEvery{30};

    /// Learns from an exchange what it says of locks; others, and what cannot be understood, are passed over.
    /// Never throws.
    void Take(const Exchange& exchange, Time now = std::chrono::system_clock::now()) noexcept;

    /// Notes that a command was given to the driver, unless the cloud has answered it already.
    /// @param time from before it was given.
    void Asked(const std::string& deviceId, bool unlocks, Time time);

    /// Notes that the driver waits no longer for what a command that is still open should have led to.
    void GaveUp(const std::string& deviceId);

    /// The lock; without any fact when it was never heard of.
    CloudLock Find(const std::string& deviceId) const;

    /// What changed since the last call with the same number, which begins with 0; costs next to nothing when
    /// nothing did.
    std::vector<std::pair<std::string, CloudLock>> ChangedSince(std::uint64_t& number) const;

private:
    struct Entry {
        CloudLock lock;
        std::uint64_t change = 0;
        Time told = {}; // its reading of that change
    };

    void Store(std::vector<std::pair<std::string, CloudLock>> read, Time now);
    void Answered(const std::string& deviceId, CloudLock::Command command);
    void Change(Entry& entry, const CloudLock& next);
    void Forget();

    mutable std::mutex m_mutex;
    std::map<std::string, Entry, std::less<>> m_entries;
    std::atomic<std::uint64_t> m_changes{0}; // written under the lock
};

} // namespace devhost
