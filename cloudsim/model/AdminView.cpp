// Shows the world to the admin routes, without its secrets unless asked for; changing it is left to
// AdminApi.cpp.
#include "cloudsim/model/AdminView.h"

#include "cloudsim/model/WorldJson.h"

namespace cloudsim
{
namespace
{

Json Tokens(const World& world, bool withSecrets)
{
    Json json = {{"access_count", world.accessTokens.size()}, {"refresh_count", world.refreshTokens.size()}};
    if (!withSecrets)
        return json;
    json["access"] = MakeArray(world.accessTokens, AccessTokenJson);
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
                 {"physical", StatusJson(lock.physical)},
                 {"reported", StatusJson(lock.reported)},
                 {"online", lock.online},
                 {"alive", lock.alive},
                 {"missed_heartbeats", lock.missedHeartbeats},
                 {"pending", PendingJson(lock)},
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
    json["locations"] = MakeArray(world.locations, LocationJson);
    json["locks"] = MakeArray(world.locks, [=](const Lock& lock) { return AdminLock(lock, withSecrets); });
    json["access_persons"] =
        MakeArray(world.persons, [=](const AccessPerson& person) { return PersonJson(person, withSecrets); });
    json["accesses"] = MakeArray(world.accesses, AccessJson);
    json["tokens"] = Tokens(world, withSecrets);
    return json;
}

} // namespace cloudsim
