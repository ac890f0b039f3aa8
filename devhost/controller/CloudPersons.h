#pragma once
// What the cloud holds of persons and their rights, as the traffic shows it.

#include "devhost/framework/network/Exchange.h"

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace devhost
{

/// The persons of the cloud account and their rights to locks, learned from the exchanges that the host
/// carries for its driver and never from the driver itself. Written by the workers, read by the host thread;
/// safe by its lock, under which nothing blocks.
class CloudPersons
{
public:
    using Clock = std::chrono::system_clock;
    using Time = Clock::time_point;

    /// More than the driver has slots for, many times; what a list has beyond it is passed over.
    static constexpr std::size_t kMaxPersons = 2'000;
    static constexpr std::size_t kMaxRights = 2'000; ///< of one person
    static constexpr std::size_t kMaxOutcomes = 500; ///< the oldest go
    static constexpr std::size_t kMaxTextBytes = 200;

    struct Person {
        std::string name;
        std::string pin; ///< a secret
        std::string email;
        bool operator==(const Person&) const = default;
    };

    /// What is known of a person's rights. The cloud is asked for them only when one is taken away.
    struct Rights {
        bool complete = false;                       ///< a device that is not in byDevice has no right
        std::map<std::string, bool> byDevice;        ///< by device id: whether there is one
        std::map<std::string, std::string> accesses; ///< device ids by the access's id
    };

    enum class Step { Create, Change, Delete, ReadRights, Grant, Revoke };
    enum class Result { Accepted, Refused, Lost };

    /// What became of a request about one person.
    struct Outcome {
        Step step;
        Result result;
        Time time;
        unsigned account;
        std::string person; ///< the id; empty for a creation that brought none
        std::string name;   ///< of a creation
        std::string device; ///< of a right; empty when it is not known
        int status;         ///< 0 when it was lost
        std::string words;  ///< the cloud's own, or why it was lost; may be empty
    };

    struct Knowledge {
        std::optional<Time> listed;            ///< when the last list of persons came
        std::map<std::string, Person> persons; ///< by id
        std::map<std::string, Rights> rights;  ///< by person
        std::deque<Outcome> outcomes;          ///< oldest first
        std::optional<Time> noConnection;      ///< when there was none last, so that a request was dropped
        int changes = 0;                       ///< counts what makes a difference to a reader
    };

    /// Takes in what an exchange shows; any other than of persons is passed over. A worker's thread. Never
    /// throws.
    void Take(const Exchange& exchange) noexcept;

    /// Forgets everything, as when other accounts take the place of those that it was learned from. While no
    /// worker runs.
    void Forget();

    /// What is known now. It holds PINs.
    std::shared_ptr<const Knowledge> Now() const;

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<const Knowledge> m_known = std::make_shared<Knowledge>();
};

} // namespace devhost
