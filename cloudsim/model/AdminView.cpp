// Shows the world to the admin routes, without its secrets unless asked for; changing it is left to
// AdminApi.cpp.
#include "cloudsim/model/AdminView.h"

namespace cloudsim
{
namespace
{

Json Status(const LockStatus& status)
{
    return {{"state", ToText(status.state)},
            {"power_level", status.powerLevel},
            {"wifi_level", status.wifiLevel}};
}

Json Person(const AccessPerson& person, bool withSecrets)
{
    Json json = {
        {"id", person.id}, {"name", person.name}, {"email", person.email ? Json(*person.email) : Json()}};
    if (withSecrets)
        json["pin"] = person.pin;
    return json;
}

Json Tokens(const World& world, bool withSecrets)
{
    Json json = {{"access_count", world.accessTokens.size()}, {"refresh_count", world.refreshTokens.size()}};
    if (!withSecrets)
        return json;
    json["access"] = Json::array();
    for (const AccessToken& token : world.accessTokens)
        json["access"].push_back({{"token", token.token}, {"expires_at", FormatTimestamp(token.expiresAt)}});
    json["refresh"] = world.refreshTokens;
    return json;
}

} // namespace

Json AdminLock(const Lock& lock, bool withSecrets)
{
    Json json = {{"id", lock.id},
                 {"name", lock.name},
                 {"location_id", lock.locationId},
                 {"serial_number", lock.serialNumber},
                 {"physical", Status(lock.physical)},
                 {"reported", Status(lock.reported)},
                 {"online", lock.online},
                 {"alive", lock.alive},
                 {"missed_heartbeats", lock.missedHeartbeats},
                 {"pending", lock.pending ? Json(ToText(*lock.pending)) : Json()},
                 {"heartbeat_interval", lock.heartbeatInterval.count()},
                 {"connected_at", FormatTimestamp(lock.connectedAt)},
                 {"updated_at", FormatTimestamp(lock.updatedAt)},
                 {"next_heartbeat_at", FormatTimestamp(lock.nextHeartbeat)}};
    if (withSecrets)
        json["programming_code"] = lock.programmingCode;
    return json;
}

Json AdminWorld(const World& world, bool withSecrets, TimePoint now)
{
    Json json = {{"time", FormatTimestamp(now)},
                 {"account", {{"name", world.accountName}, {"email", world.accountEmail}}}};
    json["locations"] = Json::array();
    for (const Location& location : world.locations)
        json["locations"].push_back({{"id", location.id}, {"name", location.name}});
    json["locks"] = Json::array();
    for (const Lock& lock : world.locks)
        json["locks"].push_back(AdminLock(lock, withSecrets));
    json["access_persons"] = Json::array();
    for (const AccessPerson& person : world.persons)
        json["access_persons"].push_back(Person(person, withSecrets));
    json["accesses"] = Json::array();
    for (const Access& access : world.accesses)
        json["accesses"].push_back(
            {{"id", access.id}, {"access_person_id", access.personId}, {"accessible_id", access.lockId}});
    json["tokens"] = Tokens(world, withSecrets);
    return json;
}

} // namespace cloudsim
