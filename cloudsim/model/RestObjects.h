#pragma once

#include "cloudsim/model/Json.h"
#include "cloudsim/model/World.h"

#include <vector>

namespace cloudsim
{

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
    Json data = Json::array();
    for (const Item& item : items)
        data.push_back(makeObject(item));
    return {{"data", std::move(data)}, {"meta", {{"count", items.size()}}}};
}

} // namespace cloudsim
