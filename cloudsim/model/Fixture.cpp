// Reads and writes the world as a JSON fixture; files are left to the server.
#include "cloudsim/model/Fixture.h"

#include "cloudsim/model/Json.h"
#include "cloudsim/model/PersonRules.h"
#include "cloudsim/model/WorldJson.h"

#include <algorithm>
#include <set>

namespace cloudsim
{
namespace
{

// Ids stand in paths as they are, so only letters that need no encoding are allowed.
std::string ReadId(ObjectReader& reader, std::string_view key)
{
    std::string id = reader.Text(key);
    const bool plain = std::ranges::all_of(id, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '_';
    });
    if (id.empty() || id.size() > 64 || !plain)
        throw FieldError("bad_value", reader.Path(key), "must be 1 to 64 letters, digits, '-' or '_'");
    return id;
}

std::string ReadFilledText(ObjectReader& reader, std::string_view key)
{
    std::string text = reader.Text(key);
    if (text.empty())
        throw FieldError("bad_value", reader.Path(key), "must not be empty");
    return text;
}

TimePoint ReadTime(ObjectReader& reader, std::string_view key, TimePoint absent)
{
    const auto text = reader.OptionalText(key);
    if (!text)
        return absent;
    const auto time = ParseTimestamp(*text);
    if (!time)
        throw FieldError("bad_value", reader.Path(key), "must be a time such as 2026-01-31T09:05:00Z");
    return *time;
}

LockStatus ReadStatus(ObjectReader& reader)
{
    return {.state = ReadLockState(reader, "state"),
            .powerLevel = static_cast<int>(reader.Integer("power_level", 0, 100)),
            .wifiLevel = static_cast<int>(reader.Integer("wifi_level", 0, 100))};
}

Location ReadLocation(ObjectReader& reader)
{
    return {.id = ReadId(reader, "id"), .name = ReadFilledText(reader, "name")};
}

Lock ReadLock(ObjectReader& reader, TimePoint now)
{
    Lock lock;
    lock.id = ReadId(reader, "id");
    lock.name = ReadFilledText(reader, "name");
    lock.locationId = ReadId(reader, "location_id");
    lock.serialNumber = ReadFilledText(reader, "serial_number");
    lock.programmingCode = ReadFilledText(reader, "programming_code");
    lock.powerSource = ReadFilledText(reader, "power_source");
    lock.heartbeatInterval = std::chrono::seconds(reader.Integer("heartbeat_interval", 1, 86400));
    lock.physical = lock.reported = ReadStatus(reader);
    if (reader.Has("reported")) {
        ObjectReader reported = reader.Object("reported");
        lock.reported = ReadStatus(reported);
        reported.Finish();
    }
    lock.online = reader.Boolean("online", true);
    lock.alive = reader.Boolean("alive", true);
    lock.missedHeartbeats = static_cast<int>(reader.Integer("missed_heartbeats", 0, 1000000, 0));
    if (reader.OptionalText("pending"))
        lock.pending = ReadLockState(reader, "pending");
    lock.connectedAt = ReadTime(reader, "connected_at", now);
    lock.updatedAt = ReadTime(reader, "updated_at", lock.connectedAt);
    lock.nextHeartbeat = ReadTime(reader, "next_heartbeat_at", lock.connectedAt + lock.heartbeatInterval);
    return lock;
}

AccessPerson ReadPerson(ObjectReader& reader)
{
    std::string id = ReadId(reader, "id");
    PersonFields fields = ReadPersonFields(reader, true);
    return {std::move(id), std::move(fields.name), std::move(fields.pin), std::move(fields.email)};
}

Access ReadAccess(ObjectReader& reader)
{
    return {.id = ReadId(reader, "id"),
            .personId = ReadId(reader, "access_person_id"),
            .lockId = ReadId(reader, "accessible_id")};
}

// Reads an array of objects, each with the given function. An absent array is empty unless it is required.
template <typename Item, typename Read>
std::vector<Item> ReadList(ObjectReader& document, const std::string& key, bool required, Read read)
{
    std::vector<Item> items;
    if (!required && !document.Has(key))
        return items;
    for (const Json& entry : document.Array(key)) {
        ObjectReader reader(entry, key + "[" + std::to_string(items.size()) + "]");
        items.push_back(read(reader));
        reader.Finish();
    }
    return items;
}

template <typename Item>
void RefuseDuplicateIds(const std::vector<Item>& items, const std::string& key)
{
    std::set<std::string> seen;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (!seen.insert(items[i].id).second)
            throw FieldError("bad_value", key + "[" + std::to_string(i) + "].id", "occurs twice");
    }
}

template <typename Item>
void RequireId(std::vector<Item>& items, const std::string& id, const std::string& list, std::size_t index,
               const std::string& key)
{
    if (!FindById(items, id))
        throw FieldError("bad_value", list + "[" + std::to_string(index) + "]." + key,
                         "names \"" + id + "\", which does not exist");
}

void CheckReferences(World& world)
{
    RefuseDuplicateIds(world.locations, "locations");
    RefuseDuplicateIds(world.locks, "locks");
    RefuseDuplicateIds(world.persons, "access_persons");
    RefuseDuplicateIds(world.accesses, "accesses");
    for (std::size_t i = 0; i < world.locks.size(); ++i)
        RequireId(world.locations, world.locks[i].locationId, "locks", i, "location_id");
    for (std::size_t i = 0; i < world.accesses.size(); ++i) {
        RequireId(world.persons, world.accesses[i].personId, "accesses", i, "access_person_id");
        RequireId(world.locks, world.accesses[i].lockId, "accesses", i, "accessible_id");
    }
    for (std::size_t i = 0; i < world.persons.size(); ++i) {
        if (IsPinTaken(world, world.persons[i].pin, world.persons[i].id))
            throw FieldError("bad_value", "access_persons[" + std::to_string(i) + "].pin", "is used twice");
    }
}

void ReadTokens(ObjectReader document, World& world)
{
    world.accessTokens = ReadList<AccessToken>(document, "access", false, [](ObjectReader& reader) {
        std::string token = ReadFilledText(reader, "token");
        if (!reader.OptionalText("expires_at"))
            throw FieldError("missing_field", reader.Path("expires_at"), "is missing");
        return AccessToken{std::move(token), ReadTime(reader, "expires_at", {})};
    });
    world.refreshTokens = ReadList<std::string>(
        document, "refresh", false, [](ObjectReader& reader) { return ReadFilledText(reader, "token"); });
    document.Finish();
}

World ReadWorld(const Json& json, TimePoint now)
{
    World world;
    ObjectReader document(json, "");
    ObjectReader account = document.Object("account");
    world.accountName = ReadFilledText(account, "name");
    world.accountEmail = account.OptionalText("email").value_or("");
    account.Finish();
    world.locations = ReadList<Location>(document, "locations", true, ReadLocation);
    world.locks = ReadList<Lock>(document, "locks", true,
                                 [now](ObjectReader& reader) { return ReadLock(reader, now); });
    world.persons = ReadList<AccessPerson>(document, "access_persons", false, ReadPerson);
    world.accesses = ReadList<Access>(document, "accesses", false, ReadAccess);
    if (document.Has("tokens"))
        ReadTokens(document.Object("tokens"), world);
    document.Finish();
    CheckReferences(world);
    return world;
}

Json SaveLock(const Lock& lock)
{
    return {{"id", lock.id},
            {"name", lock.name},
            {"location_id", lock.locationId},
            {"serial_number", lock.serialNumber},
            {"programming_code", lock.programmingCode},
            {"power_source", lock.powerSource},
            {"heartbeat_interval", lock.heartbeatInterval.count()},
            {"state", ToText(lock.physical.state)},
            {"power_level", lock.physical.powerLevel},
            {"wifi_level", lock.physical.wifiLevel},
            {"reported", StatusJson(lock.reported)},
            {"online", lock.online},
            {"alive", lock.alive},
            {"missed_heartbeats", lock.missedHeartbeats},
            {"pending", PendingJson(lock)},
            {"connected_at", FormatTimestamp(lock.connectedAt)},
            {"updated_at", FormatTimestamp(lock.updatedAt)},
            {"next_heartbeat_at", FormatTimestamp(lock.nextHeartbeat)}};
}

Json SaveTokens(const World& world)
{
    const auto saveRefresh = [](const std::string& token) { return Json{{"token", token}}; };
    return {{"access", MakeArray(world.accessTokens, AccessTokenJson)},
            {"refresh", MakeArray(world.refreshTokens, saveRefresh)}};
}

} // namespace

World LoadWorld(std::string_view text, TimePoint now)
{
    try {
        return ReadWorld(ParseJson(text), now);
    } catch (const FieldError& error) {
        throw FixtureError(error.what());
    } catch (const JsonError& error) {
        throw FixtureError(std::string("the fixture ") + error.what());
    }
}

std::string SaveWorld(const World& world)
{
    const auto savePerson = [](const AccessPerson& person) { return PersonJson(person, true); };
    const Json document = {{"account", {{"name", world.accountName}, {"email", world.accountEmail}}},
                           {"locations", MakeArray(world.locations, LocationJson)},
                           {"locks", MakeArray(world.locks, SaveLock)},
                           {"access_persons", MakeArray(world.persons, savePerson)},
                           {"accesses", MakeArray(world.accesses, AccessJson)},
                           {"tokens", SaveTokens(world)}};
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace cloudsim
