#pragma once
// The guided step that gives a user access to several locks.

#include "devhost/controller/AccessMatrix.h"

#include <functional>
#include <optional>
#include <set>
#include <string>

namespace devhost
{

/// Brings a user and its rights into the cloud in the one way that is certain with a driver that grants
/// several locks at a person's creation only: the user is deleted, and when the cloud has deleted the person,
/// its number is enabled on the locks and the user is stored again. It takes its time, so it is a step with
/// progress and not a request. Meanwhile the slot is empty; whatever happens, the user comes back to it. Host
/// thread.
class AccessGuide
{
public:
    enum class Phase {
        Deleting, ///< until the cloud has deleted the person
        Reading,  ///< the persons are read anew, because the driver may know one that is gone, or miss one
        Giving,   ///< until the cloud has the person with all rights
        Done,
        Failed,
    };
    struct Progress {
        int slot = 0;
        std::string name; ///< the user's
        Phase phase = Phase::Deleting;
        std::string text; ///< for people, a sentence
        bool Runs() const { return phase != Phase::Done && phase != Phase::Failed; }
    };
    /// What it does through the configurator, so that every change is noted and told like a person's own.
    struct Actions {
        std::function<void(int slot)> deleteUser;
        std::function<void(int slot, const UserData&)> storeUser;
        std::function<void(int slot, const std::set<unsigned>& locks)> enable; ///< on these and on no others
        std::function<void()> discover;                                        ///< on every account
        std::function<void()> changed;                                         ///< the progress did
    };
    /// How long a phase may take. A deletion and a list of persons each wait for what is queued before them.
    static constexpr std::chrono::seconds kPhaseTime{60};

    AccessGuide(System& system, const CloudPersons& cloud, AccessMatrix& matrix, Actions actions);

    /// Begins. @param slot has a user. @param locks that the user shall have access to, and no others.
    void Begin(int slot, std::set<unsigned> locks);
    /// Goes on as far as it can; to be called about once a second.
    void GoOn();
    /// Puts the user back at once, as before a save that ends the host.
    void GiveUp(const std::string& why);
    /// How the last one goes or went; nothing when there was none.
    const std::optional<Progress>& Last() const { return m_progress; }
    /// Whether a slot is empty only until its user comes back.
    bool Holds(int slot) const { return m_progress && m_progress->Runs() && m_progress->slot == slot; }
    /// The user who is not in its slot now; null when there is none. Its PIN is a secret like that of the
    /// others.
    const UserData* Held() const { return m_held ? &*m_held : nullptr; }

private:
    using Time = CloudPersons::Time;
    void Enter(Phase phase, const std::string& text);
    void Delete();
    void Read();
    void Give();
    void PutBack();
    void GoOnDeleting(const CloudPersons::Knowledge& known);
    void GoOnGiving();

    System& m_system;
    const CloudPersons& m_cloud;
    AccessMatrix& m_matrix;
    Actions m_actions;
    std::optional<Progress> m_progress;
    std::optional<UserData> m_held;
    UserData m_user;
    std::set<unsigned> m_locks;
    std::string m_person; // id in the cloud; empty when it has none
    bool m_hasRead = false;
    Time m_deletedAt; // when the driver was told
    Time m_phaseBegan;
};

} // namespace devhost
