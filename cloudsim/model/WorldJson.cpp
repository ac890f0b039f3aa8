// Writes and reads the parts of the world that have the same form in fixtures and admin routes; the whole is
// left to these.
#include "cloudsim/model/WorldJson.h"

namespace cloudsim
{

Json StatusJson(const LockStatus& status)
{
    return {{"state", ToText(status.state)},
            {"power_level", status.powerLevel},
            {"wifi_level", status.wifiLevel}};
}

Json PendingJson(const Lock& lock)
{
    return lock.pending ? Json(ToText(*lock.pending)) : Json();
}

Json LocationJson(const Location& location)
{
    return {{"id", location.id}, {"name", location.name}};
}

Json PersonJson(const AccessPerson& person, bool withPin)
{
    Json json = {
        {"id", person.id}, {"name", person.name}, {"email", person.email ? Json(*person.email) : Json()}};
    if (withPin)
        json["pin"] = person.pin;
    return json;
}

Json AccessJson(const Access& access)
{
    return {{"id", access.id}, {"access_person_id", access.personId}, {"accessible_id", access.lockId}};
}

Json AccessTokenJson(const AccessToken& token)
{
    return {{"token", token.token}, {"expires_at", FormatTimestamp(token.expiresAt)}};
}

LockState ReadLockState(ObjectReader& reader, std::string_view key)
{
    const auto state = ParseLockState(reader.Text(key));
    if (!state)
        throw FieldError("bad_value", reader.Path(key), "must be \"locked\" or \"unlocked\"");
    return *state;
}

} // namespace cloudsim
