// Draws the verdicts on slots and rights.

#include "devhost/controller/AccessMatrix.h"

#include <algorithm>

namespace devhost
{

namespace
{

using Knowledge = CloudPersons::Knowledge;
using Outcome = CloudPersons::Outcome;
using Result = CloudPersons::Result;
using Step = CloudPersons::Step;
using Sync = AccessMatrix::Sync;
using Verdict = AccessMatrix::Verdict;

constexpr const char* kGiveAccess =
    "Give access: the user is deleted, and stored again once the cloud has done so.";

std::string ToText(const CQXString& value)
{
    return static_cast<char*>(value);
}

// The last outcome that a condition holds for; null when there is none.
template <class Condition>
const Outcome* LastOutcome(const Knowledge& known, Condition holds)
{
    const auto found = std::find_if(known.outcomes.rbegin(), known.outcomes.rend(), holds);
    return found == known.outcomes.rend() ? nullptr : &*found;
}

const char* NameOf(Step step)
{
    switch (step) {
    case Step::Create:
        return "to create the person";
    case Step::Change:
        return "to change the person";
    case Step::Delete:
        return "to delete the person";
    case Step::ReadRights:
        return "to read the person's rights";
    case Step::Grant:
        return "to give access";
    case Step::Revoke:
        break;
    }
    return "to take the access away";
}

std::string InBrackets(const std::string& words)
{
    return words.empty() ? "" : " (" + words + ")";
}

// Nothing when it is not known whether the person has a right to a device.
std::optional<bool> HasRight(const Knowledge& known, const std::string& person, const std::string& device)
{
    const auto rights = known.rights.find(person);
    if (rights == known.rights.end())
        return std::nullopt;
    const auto right = rights->second.byDevice.find(device);
    if (right != rights->second.byDevice.end())
        return right->second;
    return rights->second.complete ? std::optional(false) : std::nullopt;
}

} // namespace

// What the verdicts on one slot have in common.
struct AccessMatrix::Case {
    const Knowledge& known;
    const CUser* user;  // null for one that is gone
    std::string name;   // the user's
    std::string person; // id; empty when the cloud has none
    const Note* note;   // null when nothing was told since the host's start

    // Outcomes from before the locks were told last say nothing of what was told.
    bool IsOfThis(const Outcome& outcome) const
    {
        if (note && outcome.time < note->time)
            return false;
        return outcome.step == Step::Create ? outcome.name == name
                                            : !person.empty() && outcome.person == person;
    }
    // Whether a lock took up what is wanted of it.
    bool WasTold(unsigned lock, bool wanted) const
    {
        if (!note || note->wanted.contains(lock) != wanted)
            return false;
        const auto told = note->handled.find(lock);
        return told != note->handled.end() && told->second;
    }
    // When something of this was told or seen last.
    std::optional<Time> LastSign() const
    {
        const Outcome* last = LastOutcome(known, [this](const Outcome& o) { return IsOfThis(o); });
        if (last)
            return last->time;
        return note ? std::optional(note->time) : std::nullopt;
    }
};

bool AccessMatrix::Row::Agrees() const
{
    return person.sync == Sync::Agrees &&
           std::ranges::all_of(locks, [](const Cell& cell) { return cell.verdict.sync == Sync::Agrees; });
}

bool AccessMatrix::Row::Waits() const
{
    return person.sync == Sync::Waiting ||
           std::ranges::any_of(locks, [](const Cell& cell) { return cell.verdict.sync == Sync::Waiting; });
}

std::string AccessMatrix::PersonByName(const Knowledge& known, const std::string& name)
{
    const auto found = std::ranges::find(
        known.persons, name, [](const auto& entry) -> const std::string& { return entry.second.name; });
    return found == known.persons.end() ? "" : found->first;
}

void AccessMatrix::Told(int slot, const std::vector<System::SlotNews>& news)
{
    Note note{.time = CloudPersons::Clock::now(), .handled = {}, .wanted = {}};
    for (const auto& [lock, handled] : news) {
        note.handled[lock] = handled;
        if (m_system.LockById(lock)->IsUserEnabled(slot + 1))
            note.wanted.insert(lock);
    }
    m_told[slot] = std::move(note);
    if (m_system.Security().GetUserAtDoorLockSlot(slot))
        m_gone.erase(slot);
}

void AccessMatrix::Leaving(int slot)
{
    const CUser* user = m_system.Security().GetUserAtDoorLockSlot(slot);
    if (user)
        m_gone[slot] = {ToText(user->Name()), PersonByName(*m_cloud.Now(), ToText(user->Name()))};
}

std::optional<AccessMatrix::Row> AccessMatrix::RowOf(int slot)
{
    const auto known = m_cloud.Now();
    if (const CUser* user = m_system.Security().GetUserAtDoorLockSlot(slot))
        return JudgeSlot(*known, slot, *user);
    return JudgeGone(*known, slot);
}

std::vector<AccessMatrix::Row> AccessMatrix::Rows()
{
    std::vector<Row> rows;
    for (int slot = 0; slot < SecurityServer::kSlots; ++slot) {
        if (auto row = RowOf(slot))
            rows.push_back(std::move(*row));
    }
    return rows;
}

void AccessMatrix::Date(int slot, unsigned lock, Verdict& verdict)
{
    auto& [sync, since] =
        m_since.try_emplace({slot, lock}, verdict.sync, CloudPersons::Clock::now()).first->second;
    if (sync != verdict.sync) {
        sync = verdict.sync;
        since = CloudPersons::Clock::now();
    }
    verdict.since = since;
}

// A difference whose cause the last outcome shows, that is on its way, or that has another cause.
// @param mayWait whether something was told that is not through yet.
Verdict AccessMatrix::Follow(const Case& slot, const Outcome* last, bool mayWait, Verdict otherwise) const
{
    Verdict result;
    result.inCloud = otherwise.inCloud;
    if (last && last->result == Result::Refused) {
        result.sync = Sync::Refused;
        result.cause = std::string("The cloud refused ") + NameOf(last->step) + ": " +
                       (last->words.empty() ? "HTTP " + std::to_string(last->status) : last->words) + ".";
        result.advice =
            std::string("It is not sent again. Change what the cloud does not want, then give access anew.");
        result.giveAccess = slot.user != nullptr;
        return result;
    }
    if (last && last->result == Result::Lost) {
        result.sync = Sync::Lost;
        result.cause = std::string("No reply came to the request ") + NameOf(last->step) +
                       InBrackets(last->words) + ", and it is not sent again.";
        result.advice = slot.user ? kGiveAccess : "";
        result.giveAccess = slot.user != nullptr;
        return result;
    }
    const auto sign = slot.LastSign();
    if (!mayWait || !sign)
        return otherwise;
    if (CloudPersons::Clock::now() - *sign < kPatience) {
        result.sync = Sync::Waiting;
        result.cause = "The driver sends one request after the other.";
        return result;
    }
    result.sync = Sync::Lost;
    result.cause =
        slot.known.noConnection && *slot.known.noConnection >= *sign
            ? "There was no connection to the cloud when it was to be sent, and it is not sent again."
            : "The request was not seen to go out, and is not sent any more.";
    result.advice = slot.user ? kGiveAccess : "";
    result.giveAccess = slot.user != nullptr;
    return result;
}

Verdict AccessMatrix::JudgePerson(const Case& slot) const
{
    const auto isOfPerson = [&](const Outcome& outcome) {
        return slot.IsOfThis(outcome) && (outcome.step == Step::Create || outcome.step == Step::Change);
    };
    const Outcome* last = LastOutcome(slot.known, isOfPerson);
    if (slot.person.empty()) {
        if (!slot.known.listed && !last && !slot.note)
            return {.sync = Sync::Unknown,
                    .inCloud = std::nullopt,
                    .cause = "The cloud's persons were not read yet.",
                    .advice = "They come about a minute after an account is signed in and has its house."};
        return Follow(slot, last, slot.note != nullptr,
                      {.sync = Sync::NotSent,
                       .inCloud = false,
                       .cause = "The cloud has no person of this name, and a creation is not repeated.",
                       .advice = kGiveAccess,
                       .giveAccess = true});
    }
    const CloudPersons::Person& person = slot.known.persons.at(slot.person);
    if (person.pin != ToText(slot.user->PIN_DoorLock())) {
        const bool wasTold = std::ranges::any_of(slot.note ? slot.note->handled : std::map<unsigned, bool>(),
                                                 [](const auto& l) { return l.second; });
        return Follow(slot, last, wasTold,
                      {.sync = Sync::NotSent,
                       .inCloud = true,
                       .cause =
                           "The cloud has another PIN for this name: a person that is taken over by its name "
                           "keeps its own, and a change is sent once only.",
                       .advice = "Change the PIN to another value, or give access anew.",
                       .giveAccess = true});
    }
    if (person.email != ToText(slot.user->Email()))
        return {.sync = Sync::NotSent,
                .inCloud = true,
                .cause = "The cloud has another e-mail address: only the creation of a person carries it.",
                .advice = kGiveAccess,
                .giveAccess = true};
    return {.sync = Sync::Agrees, .inCloud = true, .cause = {}, .advice = {}};
}

Verdict AccessMatrix::JudgeRight(const Case& slot, const Verdict& person, CDoorLock& lock, bool wanted) const
{
    if (slot.person.empty() && (wanted || person.sync == Sync::Unknown))
        return person;
    if (slot.person.empty())
        return {.sync = Sync::Agrees, .inCloud = false, .cause = {}, .advice = {}};
    const auto* client = dynamic_cast<const CBridgeClient*>(&lock);
    const std::string device = client ? ToText(client->DeviceID()) : "";
    const std::optional<bool> has = HasRight(slot.known, slot.person, device);
    if (has == wanted)
        return {.sync = Sync::Agrees, .inCloud = has, .cause = {}, .advice = {}};

    const unsigned account = client ? client->BridgeID() : 0;
    // Each account mirrors the users into the one cloud account; who comes second is refused.
    const auto isCreation = [&](const Outcome& outcome) {
        return slot.IsOfThis(outcome) && outcome.step == Step::Create && outcome.account == account;
    };
    const Outcome* creation = LastOutcome(slot.known, isCreation);
    if (wanted && creation && creation->result == Result::Refused)
        return {
            .sync = Sync::Refused,
            .inCloud = has,
            .cause = "Another account created this person first, and the cloud refused this account's" +
                     InBrackets(creation->words) + ".",
            .advice =
                "Look for locks on both accounts, wait ten seconds, then change the user's PIN: that gives "
                "the first of the account's locks. Give the others in the cloud."};

    const Outcome* last = LastOutcome(slot.known, [&](const Outcome& outcome) {
        if (!slot.IsOfThis(outcome))
            return false;
        return wanted ? outcome.step == Step::Grant && outcome.device == device
                      : outcome.step == Step::ReadRights ||
                            (outcome.step == Step::Revoke && outcome.device == device);
    });
    // A new person is given the locks that its slot had by then.
    const bool isFollowedUp = wanted && creation && creation->result == Result::Accepted && slot.note &&
                              slot.note->wanted.contains(lock.ID());
    const bool mayWait = isFollowedUp || slot.WasTold(lock.ID(), wanted);
    if (!has && !last && !mayWait)
        return {
            .sync = Sync::Unknown,
            .inCloud = std::nullopt,
            .cause =
                "The cloud shows rights only when they change, and since it was watched this one did not.",
            .advice = wanted ? kGiveAccess : "",
            .giveAccess = wanted};
    return Follow(
        slot, last, mayWait,
        {.sync = Sync::NotSent,
         .inCloud = has,
         .cause = "A right is sent with a change of the user's name or PIN only, and then for the first lock "
                  "that is told.",
         .advice = kGiveAccess,
         .giveAccess = true});
}

AccessMatrix::Row AccessMatrix::JudgeSlot(const Knowledge& known, int slot, const CUser& user)
{
    const auto note = m_told.find(slot);
    const std::string name = ToText(user.Name());
    const Case thisCase{.known = known,
                        .user = &user,
                        .name = name,
                        .person = PersonByName(known, name),
                        .note = note == m_told.end() ? nullptr : &note->second};
    Row row{.slot = slot, .name = name, .wanted = true, .person = JudgePerson(thisCase), .locks = {}};
    Date(slot, 0, row.person);
    for (int i = 0; i < m_system.NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        CDoorLock& lock = *m_system.DoorLock(i);
        const bool wanted = lock.IsUserEnabled(slot + 1) != 0;
        Cell cell{
            .lock = lock.ID(), .wanted = wanted, .verdict = JudgeRight(thisCase, row.person, lock, wanted)};
        Date(slot, cell.lock, cell.verdict);
        row.locks.push_back(std::move(cell));
    }
    return row;
}

std::optional<AccessMatrix::Row> AccessMatrix::JudgeGone(const Knowledge& known, int slot)
{
    const auto gone = m_gone.find(slot);
    if (gone == m_gone.end())
        return std::nullopt;
    auto& [name, person] = gone->second;
    // One that was being created when it was deleted came later.
    if (person.empty())
        person = PersonByName(known, name);
    bool isElsewhere = false; // the user moved to another slot, and the person with it
    for (int other = 0; other < SecurityServer::kSlots; ++other) {
        const CUser* user = m_system.Security().GetUserAtDoorLockSlot(other);
        isElsewhere = isElsewhere || (user && ToText(user->Name()) == name);
    }
    if (isElsewhere || !known.persons.contains(person))
        return std::nullopt;
    const auto note = m_told.find(slot);
    const Case thisCase{.known = known,
                        .user = nullptr,
                        .name = name,
                        .person = person,
                        .note = note == m_told.end() ? nullptr : &note->second};
    const Outcome* last = LastOutcome(known, [&](const Outcome& outcome) {
        return thisCase.IsOfThis(outcome) && outcome.step == Step::Delete;
    });
    const bool isTold = thisCase.note && std::ranges::any_of(thisCase.note->handled,
                                                             [](const auto& entry) { return entry.second; });
    Row row{.slot = slot,
            .name = name,
            .wanted = false,
            .person = Follow(
                thisCase, last, isTold,
                {.sync = Sync::NotSent,
                 .inCloud = true,
                 .cause = "The driver did not know the person's id in the cloud when the slot was emptied.",
                 .advice = {}}),
            .locks = {}};
    row.person.inCloud = true;
    row.person.advice =
        row.person.sync == Sync::Waiting
            ? ""
            : "Store a user of exactly this name in the slot, wait a minute, and delete it again.";
    Date(slot, 0, row.person);
    return row;
}

} // namespace devhost
