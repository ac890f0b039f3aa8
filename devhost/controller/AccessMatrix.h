#pragma once
// Who should have access, who has it in the cloud, and why the two differ.

#include "devhost/controller/CloudPersons.h"
#include "devhost/framework/system/System.h"

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace devhost
{

/// Compares what the controller wants of its users with what the cloud is known to have. It learns from what
/// the locks were told of a slot and from the traffic, and so can say of each difference where it comes from:
/// a driver sends a change once, and most of what looks like a fault is a rule of when it does. Host thread;
/// the system and the knowledge outlive it.
class AccessMatrix
{
public:
    using Time = CloudPersons::Time;

    /// How long something that was told may take from one sign of it to the next. The driver sends a request
    /// in about 1.5 s, one after the other, and a whole exchange ends within 30 s.
    static constexpr std::chrono::seconds kPatience{30};

    enum class Sync {
        Agrees,  ///< the cloud has what is wanted
        Waiting, ///< on its way
        Refused, ///< the cloud did not want it
        Lost,    ///< it was sent, or was to be, and no reply came
        NotSent, ///< by the driver's rules nothing is sent until the user changes
        Unknown, ///< the cloud did not show what it has
    };
    struct Verdict {
        Sync sync = Sync::Agrees;
        std::optional<bool> inCloud; ///< nothing when that is not known
        std::string cause;           ///< for people, a sentence; empty when all agrees
        std::string advice;          ///< what to do, a sentence; empty when there is nothing to do
        bool giveAccess = false;     ///< the guided step would mend it
        Time since = {};             ///< of this sync
    };
    struct Cell {
        unsigned lock = 0;
        bool wanted = false;
        Verdict verdict;
    };
    struct Row {
        int slot = 0;
        std::string name;
        bool wanted = false; ///< false: the slot is empty, but its last user is still in the cloud
        Verdict person;      ///< name, PIN and address
        std::vector<Cell> locks;
        bool Agrees() const;
        bool Waits() const;
    };

    AccessMatrix(System& system, const CloudPersons& cloud) : m_system(system), m_cloud(cloud) {}

    /// Notes that the locks were told of a slot. @param news what each made of it, in their order.
    void Told(int slot, const std::vector<System::SlotNews>& news);
    /// Notes that a slot's user is about to go, as long as it is still there.
    void Leaving(int slot);

    /// The slots that have something to compare, in their order.
    std::vector<Row> Rows();
    std::optional<Row> RowOf(int slot);
    /// The id of the cloud's person of this name; empty when there is none, or none is known.
    static std::string PersonByName(const CloudPersons::Knowledge& known, const std::string& name);

private:
    struct Note {
        Time time;
        std::map<unsigned, bool> handled; // by lock
        std::set<unsigned> wanted;        // locks that the user was enabled on
    };
    struct Gone {
        std::string name;
        std::string person; // id; empty when the cloud's was not known
    };
    using Knowledge = CloudPersons::Knowledge;
    using Outcome = CloudPersons::Outcome;
    struct Case;

    Row JudgeSlot(const Knowledge& known, int slot, const CUser& user);
    std::optional<Row> JudgeGone(const Knowledge& known, int slot);
    Verdict JudgePerson(const Case& slot) const;
    Verdict JudgeRight(const Case& slot, const Verdict& person, CDoorLock& lock, bool wanted) const;
    Verdict Follow(const Case& slot, const Outcome* last, bool mayWait, Verdict otherwise) const;
    void Date(int slot, unsigned lock, Verdict& verdict);

    System& m_system;
    const CloudPersons& m_cloud;
    std::map<int, Note> m_told;
    std::map<int, Gone> m_gone;
    std::map<std::pair<int, unsigned>, std::pair<Sync, Time>> m_since; // by slot and lock; lock 0: the person
};

} // namespace devhost
