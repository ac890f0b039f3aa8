// Goes through the phases of giving access.

#include "devhost/controller/AccessGuide.h"

#include <algorithm>
#include <utility>

namespace devhost
{

namespace
{

using Step = CloudPersons::Step;
using Result = CloudPersons::Result;
using Sync = AccessMatrix::Sync;

// A list that came this long before a deletion may still have been on its way through the driver.
constexpr std::chrono::seconds kInFlight{3};

} // namespace

AccessGuide::AccessGuide(System& system, const CloudPersons& cloud, AccessMatrix& matrix, Actions actions)
    : m_system(system), m_cloud(cloud), m_matrix(matrix), m_actions(std::move(actions))
{
}

void AccessGuide::Enter(Phase phase, const std::string& text)
{
    m_phaseBegan = CloudPersons::Clock::now();
    m_progress->phase = phase;
    m_progress->text = text;
    m_actions.changed();
}

void AccessGuide::Begin(int slot, std::set<unsigned> locks)
{
    const CUser& user = *m_system.Security().GetUserAtDoorLockSlot(slot);
    const auto text = [](const CQXString& value) { return std::string(static_cast<char*>(value)); };
    m_user = {text(user.Name()), text(user.Email()), text(user.PIN_DoorLock())};
    m_locks = std::move(locks);
    m_hasRead = false;
    m_progress = Progress{.slot = slot, .name = m_user.name, .phase = Phase::Deleting, .text = {}};
    Delete();
}

void AccessGuide::Delete()
{
    m_person = AccessMatrix::PersonByName(*m_cloud.Now(), m_user.name);
    m_deletedAt = CloudPersons::Clock::now();
    m_held = m_user;
    m_actions.deleteUser(m_progress->slot);
    Enter(Phase::Deleting, "The cloud is asked to delete " + m_user.name + ".");
    GoOn();
}

// The driver's own list of persons begins anew with a discovery.
void AccessGuide::Read()
{
    m_hasRead = true;
    Enter(Phase::Reading, "The cloud is asked for all persons anew.");
    m_actions.discover();
}

void AccessGuide::PutBack()
{
    if (!m_held)
        return;
    // First the locks: a person is granted those that its slot has when the cloud has created it.
    m_actions.enable(m_progress->slot, m_locks);
    const UserData user = *std::exchange(m_held, std::nullopt);
    m_actions.storeUser(m_progress->slot, user);
}

void AccessGuide::Give()
{
    PutBack();
    Enter(Phase::Giving, "The cloud is asked to create " + m_user.name + " with access to the locks.");
}

void AccessGuide::GiveUp(const std::string& why)
{
    if (!m_progress || !m_progress->Runs())
        return;
    PutBack();
    Enter(Phase::Failed, why);
}

void AccessGuide::GoOn()
{
    if (!m_progress || !m_progress->Runs())
        return;
    const auto known = m_cloud.Now();
    switch (m_progress->phase) {
    case Phase::Deleting:
        GoOnDeleting(*known);
        break;
    case Phase::Reading:
        // The reply has a turn of the host to reach the driver before the user is stored.
        if (known->listed && *known->listed > m_phaseBegan &&
            CloudPersons::Clock::now() - *known->listed > std::chrono::seconds(1)) {
            // One whose id the driver did not know is found by its name now, and goes with it.
            if (!AccessMatrix::PersonByName(*known, m_user.name).empty()) {
                PutBack();
                Delete();
            } else {
                Give();
            }
            return;
        }
        break;
    case Phase::Giving:
        return GoOnGiving(); // whose verdicts know how long it may take
    case Phase::Done:
    case Phase::Failed:
        return;
    }
    const bool isWaiting = m_progress->phase == Phase::Deleting || m_progress->phase == Phase::Reading;
    if (isWaiting && CloudPersons::Clock::now() - m_phaseBegan > kPhaseTime)
        GiveUp("The cloud did not answer in time. The user is as before; give access again later.");
}

void AccessGuide::GoOnDeleting(const CloudPersons::Knowledge& known)
{
    const auto isDeletion = [&](const CloudPersons::Outcome& outcome) {
        return outcome.step == Step::Delete && outcome.person == m_person && outcome.time >= m_deletedAt;
    };
    const auto deletion = std::ranges::find_if(known.outcomes, isDeletion);
    if (m_person.empty() || !known.persons.contains(m_person)) {
        // A list of persons that passed the deletion leaves the driver with one that is gone.
        const bool listPassed = known.listed && *known.listed > m_deletedAt - kInFlight &&
                                !m_person.empty() && deletion != known.outcomes.end() &&
                                *known.listed < deletion->time;
        const bool isUnsure = m_person.empty() || listPassed;
        if (isUnsure && !m_hasRead)
            Read();
        else
            Give();
        return;
    }
    if (deletion != known.outcomes.end())
        GiveUp("The cloud did not delete the person (" + deletion->words +
               "). The user is as before; try again later.");
    else if (!m_hasRead && CloudPersons::Clock::now() - m_phaseBegan > AccessMatrix::kPatience)
        Read(); // the driver may not have known the person's id
}

void AccessGuide::GoOnGiving()
{
    const auto row = m_matrix.RowOf(m_progress->slot);
    if (!row)
        return;
    if (row->Agrees())
        return Enter(Phase::Done, m_user.name + " has the access that was asked for.");
    if (row->Waits())
        return;
    const auto differs = [](const AccessMatrix::Cell& cell) { return cell.verdict.sync != Sync::Agrees; };
    const auto cell = std::ranges::find_if(row->locks, differs);
    const AccessMatrix::Verdict& verdict =
        row->person.sync != Sync::Agrees || cell == row->locks.end() ? row->person : cell->verdict;
    Enter(Phase::Failed, verdict.cause);
}

} // namespace devhost
