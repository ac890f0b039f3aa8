#pragma once
// What must hold after every step, and what the two sides must agree on when all is calm.

#include "sim/Controller.h"
#include "sim/Journal.h"
#include "sim/Settings.h"
#include "sim/SimulatedCloud.h"

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace sim
{

/// Watches one run. Each rule and each exception bears the name that docs/simulation.md explains it under.
/// Host thread, but for OnDelivery, which comes on a worker.
class Rules
{
public:
    /// All are borrowed.
    Rules(const Settings& settings, Scheduler& scheduler, Controller& controller, SimulatedCloud& cloud,
          Journal& journal);
    ~Rules();

    /// After each round of the host. @param wakes of the round. @param acted whether somebody did something.
    void AfterRound(int wakes, bool acted);
    /// Everything that is looked at now and then only.
    void EverySecond();

    /// When all has been calm for long enough: the controller shows what the cloud holds, and the cloud holds
    /// what the slots say, but for the exceptions, each of which is counted.
    void CheckConvergence();

    // What people and chance do, from which the exceptions follow.

    void OnLockCommand(const CPortivo& lock, int user);
    /// Before a slot's change is told to the locks.
    void BeforeAnnouncement(int slot);
    void OnEnabled(int slot);
    /// Queues and lists of accounts were dropped, by a person, a refusal or the end of the host.
    void OnDropped(const char* why);
    /// Locks left the controller, or are other ones now.
    void OnLocksGone();
    /// Somebody changed a person of this name in the cloud; of any name when it is empty.
    void OnCloudPersonChanged(const std::string& name);

private:
    static constexpr int kSlots = devhost::SecurityServer::kSlots;

    void OnDelivery(const Delivery& delivery);
    void OnCommandEnd(const CommandSeen& seen);
    void NotePersonRequest(const Delivery& delivery);
    void CheckForeign();
    void CheckCommands();
    void CheckRegistries();
    void CheckTokens();
    void CheckCredits();
    void CheckMemory();
    void ConvergeAccount(CVestaraInterface& account);
    void CheckTies(CVestaraInterface& account);
    void ConvergeLock(CVestaraInterface& account, CPortivo& lock);
    void ConvergeSlots();
    bool SlotIsMirrored(int slot, std::string* difference);
    void Cause(int slot, const char* exception);
    void CauseAll(const char* exception);
    void Except(const char* exception);
    int SlotOfPerson(const std::string& id);
    std::string Foreign() const;

    const Settings& m_settings;
    Scheduler& m_scheduler;
    Controller& m_controller;
    SimulatedCloud& m_cloud;
    Journal& m_journal;

    std::string m_foreign;                     // the house and persons that nobody may touch
    std::map<std::string, int> m_lockCommands; // by device: commands given and not sent yet
    struct Unlock {
        int user = 0;
        std::uint64_t atMs = 0;
    };
    std::map<std::string, std::vector<Unlock>> m_unlocks; // by device, the newest few
    std::map<unsigned, int> m_lastUsers;                  // by component
    std::map<std::string, int> m_slotOfPerson;            // by id
    std::array<std::set<std::string>, kSlots> m_causes;   // since the slot was last seen mirrored
    std::array<std::uint64_t, kSlots> m_toldMs{};         // when its last news went out
    std::map<unsigned, std::uint64_t> m_queuedSinceMs;    // by bridge
    std::size_t m_calmHeap = 0;
    int m_calms = 0;
    std::uint64_t m_allocations = Allocations();
};

} // namespace sim
