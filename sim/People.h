#pragma once
// Installers, users, and what happens around them: each operation by chance, each with its number.

#include "sim/Controller.h"
#include "sim/Journal.h"
#include "sim/Rules.h"
#include "sim/Settings.h"
#include "sim/SimulatedCloud.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace sim
{

/// Acts on the host thread between its rounds, as calls of the configurator's do. When operation n comes and
/// what it is depends on the seed and on n only, so that leaving one out moves no other.
class People
{
public:
    /// All are borrowed.
    People(const Settings& settings, Scheduler& scheduler, Controller& controller, SimulatedCloud& cloud,
           Rules& rules, Journal& journal);

    /// Does what is due. @return whether anything was done.
    bool Act();
    /// The next step of an installer who sets all accounts up and does nothing else; does nothing when all is
    /// done or under way.
    void SetUp();
    /// While they rest nothing begins; what was begun is ended.
    void Rest(bool resting) { m_resting = resting; }
    /// Whether something that was begun goes on later.
    bool Busy() const { return !m_later.empty(); }
    /// The numbers of the operations that were begun so far.
    const std::vector<int>& Begun() const { return m_begun; }

private:
    struct Kind {
        const char* name;
        int weight;  ///< among those of its faults and below
        Faults from; ///< the mildest faults with which it happens
        void (People::*act)(Random& chance);
    };
    static const std::vector<Kind>& Kinds();

    void Begin(int number);
    void Later(std::uint64_t ms, std::function<void()> function);

    // Installers.
    void Visit(Random& chance);
    void AddAccount(Random& chance);
    void RemoveAccount(Random& chance);
    void Authorise(Random& chance);
    void RefuseConsent(Random& chance);
    void Choose(Random& chance);
    void Reset(Random& chance);
    void Discover(Random& chance);
    void RemoveLock(Random& chance);
    void ReadPages(Random& chance);
    void LockPage(Random& chance);
    void SwitchTrace(Random& chance);
    // Users.
    void StoreUser(Random& chance);
    void DeleteUser(Random& chance);
    void EnableUser(Random& chance);
    void Lock(Random& chance);
    void Unlock(Random& chance);
    // The machine.
    void Restart(Random& chance);
    void Kill(Random& chance);
    void KillInSave(Random& chance);
    void SetClock(Random& chance);
    void FillDisk(Random& chance);
    // The cloud and the doors.
    void TurnKnob(Random& chance);
    void EnterPin(Random& chance);
    void Measure(Random& chance);
    void GoOffline(Random& chance);
    void Rename(Random& chance);
    void ChangePersons(Random& chance);
    void ChangeLocks(Random& chance);
    void ChangeHouses(Random& chance);
    void RevokeTokens(Random& chance);
    void Storm(Random& chance);

    CVestaraInterface* AnyAccount(Random& chance);
    CPortivo* AnyLock(Random& chance);
    CVestaraInterface* Master();
    void BeginConsent(CVestaraInterface& account, bool refuse, std::uint64_t afterMs);
    void ChooseHouse(CVestaraInterface& account, Random& chance, bool own);
    void PutUser(int slot, const devhost::UserData& user);
    void Announce(int slot);

    const Settings& m_settings;
    Scheduler& m_scheduler;
    Controller& m_controller;
    SimulatedCloud& m_cloud;
    Rules& m_rules;
    Journal& m_journal;
    Random m_pace;
    bool m_resting = false;
    int m_next = 0;
    std::uint64_t m_nextMs = 0;
    struct Action {
        std::uint64_t atMs;
        std::function<void()> act;
    };
    std::vector<Action> m_later; // in the order of their beginning
    std::vector<int> m_begun;
};

} // namespace sim
