// Writes locations, devices, persons and accesses as the REST API's objects; envelopes are left to the
// handlers.
#include "cloudsim/model/RestObjects.h"

namespace cloudsim
{

Json LocationObject(const Location& location)
{
    return {{"type", "location"}, {"id", location.id}, {"attributes", {{"name", location.name}}}};
}

Json DeviceObject(const Lock& lock)
{
    return {{"type", kLockType},
            {"id", lock.id},
            {"attributes",
             {{"name", lock.name},
              {"location_id", lock.locationId},
              {"state", ToText(lock.reported.state)},
              {"power_level", lock.reported.powerLevel},
              {"power_source", lock.powerSource},
              {"wifi_level", lock.reported.wifiLevel},
              {"programming_code", lock.programmingCode},
              {"serial_number", lock.serialNumber},
              {"heartbeat_interval", lock.heartbeatInterval.count()},
              {"connected_at", FormatTimestamp(lock.connectedAt)},
              {"updated_at", FormatTimestamp(lock.updatedAt)},
              {"alive", lock.alive}}}};
}

Json PersonObject(const AccessPerson& person)
{
    return {{"type", kPersonType},
            {"id", person.id},
            {"attributes",
             {{"name", person.name},
              {"pin", person.pin},
              {"email", person.email ? Json(*person.email) : Json()}}}};
}

Json AccessObject(const Access& access)
{
    return {{"type", "access_person_access"},
            {"id", access.id},
            {"attributes",
             {{"accessible_id", access.lockId},
              {"accessible_type", kLockType},
              {"access_person_id", access.personId}}}};
}

} // namespace cloudsim
