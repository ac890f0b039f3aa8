#pragma once

#include "cloudsim/model/Json.h"
#include "cloudsim/model/World.h"

namespace cloudsim
{

// A lock as the admin routes show it: how it is at the door, and what the cloud knows.
Json AdminLock(const Lock& lock, bool withSecrets);

// The world as the admin routes show it. PINs, programming codes and tokens are there only when asked for.
Json AdminWorld(const World& world, bool withSecrets, TimePoint now);

} // namespace cloudsim
