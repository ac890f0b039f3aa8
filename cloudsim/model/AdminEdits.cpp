// The admin routes that add, rename and remove houses, locks and persons; routing and the shared checks are
// left to AdminApi.cpp.
#include "cloudsim/model/AdminApi.h"

#include "cloudsim/model/AdminView.h"
#include "cloudsim/model/PersonRules.h"
#include "cloudsim/model/WorldJson.h"

#include <algorithm>

namespace cloudsim
{
namespace
{

// Some more than anybody looks at. The cloud sends lists whole, and they must stay replies that a controller
// reads.
constexpr std::size_t kMostLocations = 50;
constexpr std::size_t kMostLocks = 100;
constexpr std::size_t kMostPersons = 200;

constexpr std::size_t kIdBytes = 8;
constexpr std::size_t kCodeDigits = 6;

// The low bits of each hexadecimal digit's code, as a decimal digit.
std::string ToDigits(std::string text)
{
    std::ranges::transform(text, text.begin(), [](char c) { return static_cast<char>('0' + (c & 7)); });
    return text;
}

} // namespace

template <typename Item>
Item& AdminApi::RequireItem(std::vector<Item>& items, const std::string& id, const char* kind)
{
    if (Item* item = FindById(items, id))
        return *item;
    throw Refusal(404, std::string("unknown_") + kind, "there is no " + std::string(kind) + " of that id");
}

// An id that nothing of the kind has yet, as long as there is room for one more.
template <typename Item>
std::string AdminApi::NewId(std::vector<Item>& items, const char* kind, std::size_t most)
{
    if (items.size() >= most)
        throw Refusal(409, "too_many",
                      "there are " + std::to_string(items.size()) +
                          " of this kind already; remove one first");
    std::string id;
    do {
        id = std::string(kind) + "-" + m_random(kIdBytes);
    } while (FindById(items, id));
    return id;
}

Json AdminApi::AddLocation(Call& call)
{
    std::string name = ReadName(call.body);
    call.body.Finish();
    m_world.locations.push_back({NewId(m_world.locations, "loc", kMostLocations), std::move(name)});
    return LocationJson(m_world.locations.back());
}

Json AdminApi::RenameLocation(Call& call)
{
    Location& location = RequireItem(m_world.locations, call.ids[0], "location");
    std::string name = ReadName(call.body);
    call.body.Finish();
    location.name = std::move(name);
    return LocationJson(location);
}

Json AdminApi::DeleteLocation(Call& call)
{
    const std::string id = RequireItem(m_world.locations, call.ids[0], "location").id;
    call.body.Finish();
    if (std::ranges::find(m_world.locks, id, &Lock::locationId) != m_world.locks.end())
        throw Refusal(409, "location_in_use", "the house still has locks; remove them first");
    std::erase_if(m_world.locations, [&](const Location& location) { return location.id == id; });
    return {{"deleted", id}};
}

Json AdminApi::AddLock(Call& call)
{
    Lock lock;
    lock.name = ReadName(call.body);
    lock.locationId = call.body.Text("location_id");
    lock.heartbeatInterval = std::chrono::seconds(call.body.Integer("heartbeat_interval", 1, 86400, 20));
    call.body.Finish();
    if (!FindById(m_world.locations, lock.locationId))
        throw FieldError("bad_value", "location_id", "names a house that does not exist");
    lock.id = NewId(m_world.locks, "lock", kMostLocks);
    lock.serialNumber = "VS-" + ToDigits(m_random(2)) + "-" + ToDigits(m_random(2));
    lock.programmingCode = ToDigits(m_random(kCodeDigits / 2));
    lock.powerSource = "battery";
    lock.connectedAt = lock.updatedAt = call.now;
    lock.nextHeartbeat = call.now + lock.heartbeatInterval;
    m_world.locks.push_back(std::move(lock));
    return AdminLock(m_world.locks.back(), false);
}

Json AdminApi::RenameLock(Call& call)
{
    Lock& lock = RequireLock(call);
    std::string name = ReadName(call.body);
    call.body.Finish();
    lock.name = std::move(name);
    lock.updatedAt = call.now;
    return AdminLock(lock, false);
}

Json AdminApi::DeleteLock(Call& call)
{
    const std::string id = RequireLock(call).id;
    call.body.Finish();
    std::erase_if(m_world.accesses, [&](const Access& access) { return access.lockId == id; });
    std::erase_if(m_world.locks, [&](const Lock& lock) { return lock.id == id; });
    return {{"deleted", id}};
}

Json AdminApi::AddPerson(Call& call)
{
    PersonFields fields = ReadPersonFields(call.body, true);
    call.body.Finish();
    if (IsPinTaken(m_world, fields.pin, ""))
        throw Refusal(409, "pin_taken", "the PIN is already in use by another person; take another");
    m_world.persons.push_back({NewId(m_world.persons, "person", kMostPersons), std::move(fields.name),
                               std::move(fields.pin), std::move(fields.email)});
    return PersonJson(m_world.persons.back(), false);
}

Json AdminApi::RenamePerson(Call& call)
{
    AccessPerson& person = RequireItem(m_world.persons, call.ids[0], "access_person");
    std::string name = ReadName(call.body);
    call.body.Finish();
    person.name = std::move(name);
    return PersonJson(person, false);
}

Json AdminApi::DeletePerson(Call& call)
{
    const std::string id = RequireItem(m_world.persons, call.ids[0], "access_person").id;
    call.body.Finish();
    std::erase_if(m_world.accesses, [&](const Access& access) { return access.personId == id; });
    std::erase_if(m_world.persons, [&](const AccessPerson& person) { return person.id == id; });
    return {{"deleted", id}};
}

} // namespace cloudsim
