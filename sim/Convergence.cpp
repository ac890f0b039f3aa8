// What controller and cloud must agree on when nobody acts and nothing fails, and what excuses a difference.

#include "sim/Rules.h"
#include "tests/support/Probes.h"

#include <algorithm>
#include <malloc.h>

// The sanitizer's allocator keeps its own count; without it the symbol is null.
extern "C" std::size_t __attribute__((weak)) __sanitizer_get_current_allocated_bytes();

namespace sim
{

namespace
{

// The first calms fill what has a bound of its own: logs, caches, the heap's bins.
constexpr int kCalmsToFill = 4;
constexpr std::size_t kHeapMargin = std::size_t{1} << 20;

// News of a slot that are younger may still wait in a queue when the queues are dropped.
constexpr std::uint64_t kUnderWayMs = 120'000;

// What a command waits for its lock, beyond the heartbeat.
constexpr std::uint32_t kGivesUpMs = 240'000;

std::size_t HeapBytes()
{
    return &__sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes()
                                                    : mallinfo2().uordblks;
}

} // namespace

void Rules::Cause(int slot, const char* exception)
{
    if (slot >= 0 && slot < kSlots)
        m_causes[static_cast<std::size_t>(slot)].insert(exception);
}

void Rules::CauseAll(const char* exception)
{
    for (int slot = 0; slot < kSlots; ++slot)
        Cause(slot, exception);
}

void Rules::Except(const char* exception)
{
    m_journal.Count(std::string("exception: ") + exception);
}

void Rules::BeforeAnnouncement(int slot)
{
    const auto place = static_cast<std::size_t>(slot);
    m_toldMs[place] = m_scheduler.NowMs();
    CUser* const user = m_controller.System().Security().GetUserAtDoorLockSlot(slot);
    bool told = false;
    for (CVestaraInterface* account : m_controller.Accounts()) {
        if (account->NClients() == 0)
            continue;
        told = true;
        if (!Controller::HasUsableToken(*account))
            Cause(slot, "not-authorised");
        CAccessPersonList& persons = CVestaraInterfaceProbe(*account).AccessPersons();
        const CAccessPerson* person = persons.AtIndex(slot);
        if (!user) {
            if (!person)
                Cause(slot, "unknown-is-not-deleted");
            else if (person->NeedsID())
                Cause(slot, "no-id-no-change");
            continue;
        }
        if (!person) {
            if (persons.WithName(user->Name()))
                Cause(slot, "takes-the-person-over");
            continue;
        }
        const bool same =
            person->Name().Compare(user->Name()) == 0 && person->PinCode().Compare(user->PIN_DoorLock()) == 0;
        if (person->Email().Compare(user->Email()) != 0)
            Cause(slot, "no-address-in-changes");
        else if (same)
            Cause(slot, "unchanged-is-not-sent");
        if (person->NeedsID())
            Cause(slot, "no-id-no-change");
        // The first lock's call changes the person, so those of the others find nothing new.
        Cause(slot, "first-lock-only");
    }
    if (!told)
        Cause(slot, "nobody-is-told");
}

void Rules::OnEnabled(int slot)
{
    Cause(slot, "enabling-sends-nothing");
}

void Rules::OnDropped(const char* why)
{
    m_journal.Count(std::string("dropped by ") + why);
    for (int slot = 0; slot < kSlots; ++slot) {
        const std::uint64_t told = m_toldMs[static_cast<std::size_t>(slot)];
        if (told > 0 && m_scheduler.NowMs() - told < kUnderWayMs)
            Cause(slot, "dropped-with-the-account");
    }
}

void Rules::OnLocksGone()
{
    CauseAll("rights-go-with-the-lock");
}

void Rules::OnCloudPersonChanged(const std::string& name)
{
    for (int slot = 0; slot < kSlots; ++slot) {
        const CUser* user = m_controller.System().Security().GetUserAtDoorLockSlot(slot);
        if (name.empty() || (user && Plain(user->Name()) == name))
            Cause(slot, "changed-in-the-cloud");
    }
}

void Rules::CheckConvergence()
{
    m_cloud.Advance();
    ++m_calms;
    m_journal.Count("calms");
    for (CVestaraInterface* account : m_controller.Accounts())
        ConvergeAccount(*account);
    ConvergeSlots();
    CheckMemory();
}

void Rules::CheckMemory()
{
    const std::size_t heap = HeapBytes();
    if (m_calms <= kCalmsToFill)
        m_calmHeap = std::max(m_calmHeap, heap);
    else if (heap > m_calmHeap + kHeapMargin)
        m_journal.Break("memory-is-flat", std::to_string(heap) + " bytes, and there were " +
                                              std::to_string(m_calmHeap) + " in the first calms");
}

void Rules::ConvergeAccount(CVestaraInterface& account)
{
    if (CQXString(CVestaraInterfaceProbe(account).AccessToken()).IsEmpty())
        return Except("needs-authorisation");
    if (!Controller::HasUsableToken(account))
        return Except("token-cannot-be-sent");
    const std::string house = Plain(account.LocationID());
    if (house.empty())
        return Except("needs-a-choice");
    for (int i = 0; i < account.NClients(); ++i) {
        if (auto* lock = dynamic_cast<CPortivo*>(account.Client(i)))
            ConvergeLock(account, *lock);
    }
    if (account.FindInterface(account.LocationID()) != &account)
        return Except("house-served-twice");
    CheckTies(account);
    for (const cloudsim::Lock& lock : m_cloud.World().locks) {
        if (lock.locationId == house && !account.FindDoorLock(lock.id.c_str()))
            Except("polls-install-nothing");
    }
}

void Rules::CheckTies(CVestaraInterface& account)
{
    const auto& persons = CVestaraInterfaceProbe(account).AccessPersons().All();
    for (int slot = 0; slot < kSlots; ++slot) {
        const CUser* user = m_controller.System().Security().GetUserAtDoorLockSlot(slot);
        const auto person = std::ranges::find_if(persons, [user](const auto& candidate) {
            return user && candidate->Name().Compare(user->Name()) == 0;
        });
        if (person != persons.end() && (*person)->Index() != slot)
            m_journal.Break("registry-holds", "the person of slot " + std::to_string(slot) + " is at " +
                                                  std::to_string((*person)->Index()));
    }
}

void Rules::ConvergeLock(CVestaraInterface& account, CPortivo& lock)
{
    const auto& locks = m_cloud.World().locks;
    const auto far = std::ranges::find(locks, Plain(lock.DeviceID()), &cloudsim::Lock::id);
    if (far == locks.end())
        return Except("lists-remove-nothing");
    // A house that was chosen by itself leaves the locks of the one before.
    if (far->locationId != Plain(account.LocationID()))
        return Except("locks-of-the-house-before");
    if (account.FindInterface(account.LocationID()) != &account)
        return Except("house-served-twice");
    if (lock.Working()) {
        const std::uint32_t waits = CPortivoProbe::HeartbeatInterval(lock) + kGivesUpMs;
        if (CPortivoProbe::WorkingTimer(lock).QXTickCount() > waits + 1000)
            m_journal.Break("convergence", "lock " + Plain(lock.DeviceID()) + " waits for ever");
        return Except("waits-for-its-heartbeat");
    }
    const auto differs = [&](const char* what, const std::string& shown, const std::string& held) {
        m_journal.Break("convergence", "lock " + Plain(lock.DeviceID()) + " shows the " + what + " " + shown +
                                           " and the cloud has " + held);
    };
    const auto compare = [&](const char* what, int shown, int held) {
        if (shown != held)
            differs(what, std::to_string(shown), std::to_string(held));
    };
    const bool unlocked = far->reported.state == cloudsim::LockState::Unlocked;
    if (lock.State() != (unlocked ? CDoorLock::STATE_UNSECURED : CDoorLock::STATE_SECURED)) {
        // 1: a lock command was the last one, 2: an unlock command.
        if (CPortivoProbe::LastCommand(lock) == (unlocked ? 1 : 2))
            Except("last-command-sticks");
        else
            compare("state", lock.State(), unlocked ? 2 : 1);
    }
    compare("battery", lock.BatteryLevel(), far->reported.powerLevel);
    compare("signal", lock.SignalStrength(), far->reported.wifiLevel);
    compare("online state", lock.Online(), far->alive ? 1 : 0);
    if (Plain(lock.Name()) != far->name)
        differs("name", Plain(lock.Name()), far->name);
}

void Rules::ConvergeSlots()
{
    for (int slot = 0; slot < kSlots; ++slot) {
        std::set<std::string>& causes = m_causes[static_cast<std::size_t>(slot)];
        std::string difference;
        if (SlotIsMirrored(slot, &difference)) {
            causes.clear();
            continue;
        }
        m_journal.Count("slots not mirrored");
        if (causes.empty())
            m_journal.Break("convergence", "slot " + std::to_string(slot) + ": " + difference);
        for (const std::string& cause : causes)
            Except(cause.c_str());
    }
}

bool Rules::SlotIsMirrored(int slot, std::string* difference)
{
    const cloudsim::World& world = m_cloud.World();
    CUser* const user = m_controller.System().Security().GetUserAtDoorLockSlot(slot);
    const std::string name = user ? Plain(user->Name()) : "";
    for (const auto& [id, owner] : m_slotOfPerson) {
        const auto left = std::ranges::find(world.persons, id, &cloudsim::AccessPerson::id);
        if (owner == slot && left != world.persons.end() && left->name != name) {
            *difference = "the cloud still has " + left->name;
            return false;
        }
    }
    if (!user)
        return true;
    const auto person = std::ranges::find(world.persons, name, &cloudsim::AccessPerson::name);
    if (person == world.persons.end()) {
        *difference = "the cloud has no " + name;
        return false;
    }
    if (person->pin != Plain(user->PIN_DoorLock()) || person->email.value_or("") != Plain(user->Email())) {
        *difference = name + " has another PIN or address in the cloud";
        return false;
    }
    std::set<std::string> wanted;
    for (CPortivo* lock : m_controller.Locks()) {
        if (lock->IsUserEnabled(user->ID()))
            wanted.insert(Plain(lock->DeviceID()));
    }
    std::set<std::string> held;
    for (const cloudsim::Access& access : world.accesses) {
        if (access.personId == person->id)
            held.insert(access.lockId);
    }
    *difference = name + " has access to " + std::to_string(held.size()) + " locks in the cloud and to " +
                  std::to_string(wanted.size()) + " here";
    return held == wanted;
}

} // namespace sim
