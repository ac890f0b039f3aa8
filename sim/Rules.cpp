// The rules of every step. Convergence.cpp has what is compared when all is calm.

#include "sim/Rules.h"

#include "cloudsim/model/Options.h"
#include "sim/Commands.h"
#include "tests/support/Probes.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace sim
{

namespace
{

// A round takes one reply for each time that the loop was woken, and a reply some hundred allocations for
// each of its entries. What the cloud does between two rounds for its locks counts too.
constexpr std::uint64_t kAllocationsOfARound = 400'000;
constexpr std::uint64_t kAllocationsOfALock = 1'000;

// A queue that has been there for so long, with a network that is well, does not drain.
constexpr std::uint64_t kDrainMs = 180'000;

constexpr std::size_t kUnlocksKept = 16;

bool IsPersonCommand(CommandID id)
{
    switch (id) {
    case CMD_ACCESS_PERSON_CREATE:
    case CMD_ACCESS_PERSON_UPDATE:
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESSES_LIST:
    case CMD_ACCESS_GRANT:
    case CMD_ACCESS_REVOKE:
        return true;
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
    case CMD_DEVICE_GET:
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESS_PERSON_NOTIFY:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        break;
    }
    return false;
}

} // namespace

Rules::Rules(const Settings& settings, Scheduler& scheduler, Controller& controller, SimulatedCloud& cloud,
             Journal& journal)
    : m_settings(settings), m_scheduler(scheduler), m_controller(controller), m_cloud(cloud),
      m_journal(journal), m_foreign(Foreign())
{
    m_cloud.onDelivery = [this](const Delivery& delivery) { OnDelivery(delivery); };
    Commands::OnEnd([this](const CommandSeen& seen) { OnCommandEnd(seen); });
}

Rules::~Rules()
{
    m_cloud.onDelivery = [](const Delivery&) {};
    Commands::OnEnd({});
}

// What belongs to others, but for what the cloud does by itself.
std::string Rules::Foreign() const
{
    std::string text;
    for (const cloudsim::Lock& lock : m_cloud.World().locks) {
        if (lock.id == kForeignLock)
            text += lock.id + lock.name + lock.locationId + (lock.pending ? " pending" : "");
    }
    for (const cloudsim::AccessPerson& person : m_cloud.World().persons) {
        if (person.name.starts_with(kStranger))
            text += person.id + person.name + person.pin + person.email.value_or("") + ";";
    }
    for (const cloudsim::Access& access : m_cloud.World().accesses) {
        if (access.lockId == kForeignLock || access.personId.starts_with("stranger"))
            text += access.id;
    }
    return text;
}

void Rules::CheckForeign()
{
    if (const std::string now = Foreign(); now != m_foreign)
        m_journal.Break("others-untouched", "was " + m_foreign + ", is " + now);
}

void Rules::OnDelivery(const Delivery& delivery)
{
    if (!delivery.line.starts_with("GET "))
        CheckForeign();
    if (delivery.line.starts_with("PUT /devices/")) {
        constexpr std::size_t kPrefix = std::string_view("PUT /devices/").size();
        const std::string device = delivery.line.substr(kPrefix, delivery.line.rfind('/') - kPrefix);
        if (--m_lockCommands[device] < 0)
            m_journal.Break("others-untouched", "nobody asked for " + delivery.line);
    }
    if (delivery.status == 401 || (delivery.status == 0 && delivery.line == "POST /oauth/token")) {
        OnDropped("a refusal");
        OnLocksGone();
    }
    NotePersonRequest(delivery);
}

// What became of a change that was on its way: the driver repeats nothing.
void Rules::NotePersonRequest(const Delivery& delivery)
{
    if (!delivery.command || !IsPersonCommand(delivery.command->id))
        return;
    const CommandSeen& command = *delivery.command;
    const bool creation = command.id == CMD_ACCESS_PERSON_CREATE;
    if (creation && delivery.acted)
        m_slotOfPerson[m_cloud.World().persons.back().id] = std::atoi(command.userId.c_str());
    const int slot = creation ? std::atoi(command.userId.c_str()) : SlotOfPerson(command.userId);
    if (delivery.harmed || delivery.status == 0)
        Cause(slot, "nothing-is-retried");
    else if (delivery.status / 100 != 2)
        Cause(slot, "refused-by-the-cloud");
}

int Rules::SlotOfPerson(const std::string& id)
{
    const auto found = m_slotOfPerson.find(id);
    return found == m_slotOfPerson.end() ? -1 : found->second;
}

void Rules::OnCommandEnd(const CommandSeen& seen)
{
    if (seen.sent)
        m_journal.Count("commands answered or lost");
    else if (seen.line.empty())
        m_journal.Count("device objects taken in");
    else
        m_journal.Count("commands dropped unsent");
}

void Rules::AfterRound(int wakes, bool acted)
{
    CheckCommands();
    const std::uint64_t allocations = Allocations();
    const auto locks =
        static_cast<std::uint64_t>(m_settings.accounts) * static_cast<std::uint64_t>(m_settings.locks);
    const std::uint64_t most = kAllocationsOfARound + kAllocationsOfALock * locks;
    if (allocations - m_allocations > most * static_cast<std::uint64_t>(std::max(wakes, 1)) && !acted)
        m_journal.Break("idle-is-bounded",
                        std::to_string(allocations - m_allocations) + " allocations in one round");
    m_allocations = allocations;
    if (wakes == 0 && !acted)
        return;
    CheckRegistries();
    CheckTokens();
    CheckCredits();
}

// Every command is in one queue or in one worker's hands, or it is gone.
void Rules::CheckCommands()
{
    std::size_t queued = 0;
    for (CVestaraInterface* account : m_controller.Accounts())
        queued += static_cast<std::size_t>(account->NCommands() + account->NResponses());
    const std::size_t living = Commands::Living();
    if (living < queued || living > queued + Commands::InHands())
        m_journal.Break("one-place-for-a-command", std::to_string(living) + " commands live, and " +
                                                       std::to_string(queued) + " are queued");
}

void Rules::CheckRegistries()
{
    for (CVestaraInterface* account : m_controller.Accounts()) {
        std::set<int> slots;
        for (const auto& person : CVestaraInterfaceProbe(*account).AccessPersons().All()) {
            const int index = person->Index();
            const bool flags = (person->Indexed() != 0) == (index != -1) &&
                               (person->NeedsID() != 0) == (person->ID().IsEmpty() != 0) &&
                               (person->HasEmail() != 0) == (person->Email().IsEmpty() == 0);
            if (index < -1 || index >= kSlots || !flags)
                m_journal.Break("registry-holds", "a person at index " + std::to_string(index));
            if (index >= 0 && !slots.insert(index).second)
                m_journal.Break("registry-holds", "two persons at slot " + std::to_string(index));
        }
    }
}

void Rules::CheckTokens()
{
    std::vector<std::string> secrets{std::string(cloudsim::kClientSecret)};
    for (CVestaraInterface* account : m_controller.Accounts()) {
        CVestaraInterfaceProbe fields(*account);
        for (const std::string& token :
             {std::string(CQXString(fields.AccessToken())), std::string(CQXString(fields.RefreshToken()))}) {
            if (token.empty())
                continue;
            if (!m_cloud.Tokens().contains(token))
                m_journal.Break("tokens-are-given", "an account has a token that no reply brought");
            if (token.size() > 8)
                secrets.push_back(token);
        }
    }
    for (int slot = 0; slot < kSlots; ++slot) {
        if (const CUser* user = m_controller.System().Security().GetUserAtDoorLockSlot(slot))
            secrets.emplace_back(static_cast<char*>(user->PIN_DoorLock()));
    }
    m_controller.WatchSecrets(std::move(secrets));
}

void Rules::OnLockCommand(const CPortivo& lock, int user)
{
    const std::string device(lock.DeviceID());
    ++m_lockCommands[device];
    if (user == 0)
        return;
    std::vector<Unlock>& unlocks = m_unlocks[device];
    unlocks.push_back({user, m_scheduler.NowMs()});
    if (unlocks.size() > kUnlocksKept)
        unlocks.erase(unlocks.begin());
}

// Who is shown to have opened a lock must have asked for it at that lock.
void Rules::CheckCredits()
{
    for (const unsigned id : m_controller.TakeChangedLocks()) {
        auto* lock = dynamic_cast<CPortivo*>(m_controller.System().LockById(id));
        if (!lock || lock->LastUser() == std::exchange(m_lastUsers[id], lock->LastUser()) ||
            lock->LastUser() <= 1)
            continue;
        const std::vector<Unlock>& unlocks = m_unlocks[std::string(lock->DeviceID())];
        const bool asked = std::ranges::any_of(
            unlocks, [&](const Unlock& unlock) { return unlock.user + 100 == lock->LastUser(); });
        if (!asked)
            m_journal.Break("credit-where-due",
                            "lock " + std::to_string(id) + " names user " + std::to_string(lock->LastUser()));
    }
}

void Rules::EverySecond()
{
    const std::uint64_t now = m_scheduler.NowMs();
    for (CVestaraInterface* account : m_controller.Accounts()) {
        const bool empty = account->NCommands() + account->NResponses() == 0;
        std::uint64_t& since = m_queuedSinceMs[account->BridgeID()];
        // An account without an access token turns slowly, and so does the one that refreshes, when it has
        // nothing to refresh with: only people can help.
        CVestaraInterfaceProbe fields(*account);
        const bool slow = CQXString(fields.AccessToken()).IsEmpty() ||
                          (fields.Master() && CQXString(fields.RefreshToken()).IsEmpty());
        if (empty || slow || since == 0)
            since = now;
        if (now > std::max(since, m_cloud.LastTroubleMs()) + kDrainMs)
            m_journal.Break("queues-drain", std::to_string(account->NCommands()) + " commands and " +
                                                std::to_string(account->NResponses()) +
                                                " replies wait although the network is well");
    }
}

} // namespace sim
