#pragma once

#include "cloudsim/model/Json.h"
#include "cloudsim/model/World.h"

#include <string_view>
#include <vector>

namespace cloudsim
{

// The types of objects that requests name too.
inline constexpr std::string_view kLockType = "lock";
inline constexpr std::string_view kPersonType = "access_user";

// The objects of the REST API. Readers search an object depth first and take the first match, so "type" and
// "id" come before the nested attributes, and the attributes hold no "id" or "type" of their own.
Json LocationObject(const Location& location);
Json DeviceObject(const Lock& lock);
Json PersonObject(const AccessPerson& person);
Json AccessObject(const Access& access);

// {"data": [...], "meta": {"count": n}}. Readers tell a list from a single object by "meta".
template <typename Item, typename MakeObject>
Json ListObject(const std::vector<Item>& items, MakeObject makeObject)
{
    return {{"data", MakeArray(items, makeObject)}, {"meta", {{"count", items.size()}}}};
}

} // namespace cloudsim
