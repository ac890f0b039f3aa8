#pragma once

#include "cloudsim/model/Json.h"
#include "cloudsim/model/World.h"

#include <string_view>

namespace cloudsim
{

// The parts of the world that fixtures and admin routes write alike. A person's PIN is there only when asked
// for; everything in an access token's object is secret.
Json StatusJson(const LockStatus& status);
Json PendingJson(const Lock& lock);
Json LocationJson(const Location& location);
Json PersonJson(const AccessPerson& person, bool withPin);
Json AccessJson(const Access& access);
Json AccessTokenJson(const AccessToken& token);

// Reads a lock's state. Throws FieldError for a text that names none.
LockState ReadLockState(ObjectReader& reader, std::string_view key);

} // namespace cloudsim
