// Maps commands to resource paths and attributes to JSON keys; which request a command becomes is the
// requests' work.

#include "cloud/Paths.h"

#include "cloud/Text.h"
#include "interface/VestaraInterface.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace
{

template <class Id>
struct Row {
    Id eId;
    const char* pText;
};

// Which of a command's ids.
enum class PathId { NONE, LOCATION, DEVICE, USER, ACCESS };

const char* IdText(const CVestaraCommand& Command, PathId eId)
{
    switch (eId) {
    case PathId::LOCATION:
        return Text(Command.LocationID());
    case PathId::DEVICE:
        return Text(Command.DeviceID());
    case PathId::USER:
        return Text(Command.UserID());
    case PathId::ACCESS:
        return Text(Command.AccessID());
    case PathId::NONE:
        break;
    }
    return "";
}

// A path template and the ids that fill it in, in order.
struct PathRow {
    CommandID eId;
    const char* pText;
    PathId eFirst = PathId::NONE;
    PathId eSecond = PathId::NONE;
};

// clang-format off
constexpr PathRow kPaths[] = {
    {CMD_TOKEN_AUTHORIZE,      "/oauth/token"},
    {CMD_TOKEN_REFRESH,        "/oauth/token"},
    {CMD_LOCATIONS_LIST,       "/locations"},
    {CMD_LOCATION_GET,         "/locations/%s",                    PathId::LOCATION},
    {CMD_DEVICES_STATUS,       "/devices"},
    {CMD_DEVICES_DISCOVER,     "/devices"},
    {CMD_DEVICE_GET,           "/devices/%s",                      PathId::DEVICE},
    {CMD_ACCESS_PERSONS_LIST,  "/access_persons"},
    {CMD_ACCESS_PERSON_CREATE, "/access_persons"},
    {CMD_ACCESS_PERSON_UPDATE, "/access_persons/%s",               PathId::USER},
    {CMD_ACCESS_PERSON_DELETE, "/access_persons/%s",               PathId::USER},
    {CMD_ACCESSES_QUERY,       "/access_persons/%s/accesses",      PathId::USER},
    {CMD_ACCESSES_LIST,        "/access_persons/%s/accesses",      PathId::USER},
    {CMD_ACCESS_GRANT,         "/access_persons/%s/accesses",      PathId::USER},
    {CMD_ACCESS_REVOKE,        "/access_persons/%s/accesses/%s",   PathId::USER, PathId::ACCESS},
    {CMD_ACCESS_PERSON_NOTIFY, "/access_persons/%s/email/notify",  PathId::USER},
    {CMD_DEVICE_LOCK,          "/devices/%s/lock",                 PathId::DEVICE},
    {CMD_DEVICE_UNLOCK,        "/devices/%s/unlock",               PathId::DEVICE},
};

constexpr Row<Attributes> kKeys[] = {
    {ATTR_ACCESS_TOKEN,       "access_token"},
    {ATTR_REFRESH_TOKEN,      "refresh_token"},
    {ATTR_EXPIRES_IN,         "expires_in"},
    {ATTR_LOCATION_TYPE,      "type"},
    {ATTR_LOCATION_NAME,      "name"},
    {ATTR_LOCATION_ID,        "id"},
    {ATTR_DEVICE_TYPE,        "type"},
    {ATTR_DEVICE_NAME,        "name"},
    {ATTR_DEVICE_ID,          "id"},
    {ATTR_POWER_SOURCE,       "power_source"},
    {ATTR_POWER_LEVEL,        "power_level"},
    {ATTR_HEARTBEAT_INTERVAL, "heartbeat_interval"},
    {ATTR_SERIAL_NUMBER,      "serial_number"},
    {ATTR_PROGRAMMING_CODE,   "programming_code"},
    {ATTR_DEVICE_LOCATION_ID, "location_id"},
    {ATTR_STATE,              "state"},
    {ATTR_WIFI_LEVEL,         "wifi_level"},
    {ATTR_CONNECTED_AT,       "connected_at"},
    {ATTR_UPDATED_AT,         "updated_at"},
    {ATTR_ALIVE,              "alive"},
    {ATTR_PERSON_TYPE,        "type"},
    {ATTR_PERSON_NAME,        "name"},
    {ATTR_PERSON_ID,          "id"},
    {ATTR_PIN,                "pin"},
    {ATTR_EMAIL,              "email"},
    {ATTR_ACCESS_TYPE,        "type"},
    {ATTR_ACCESS_ID,          "id"},
    {ATTR_ACCESS_PERSON_ID,   "access_person_id"},
    {ATTR_ACCESSIBLE_ID,      "accessible_id"},
};
// clang-format on

// A look-up indexes its table, so row i must be the row of value i.
template <class AnyRow, std::size_t nRows>
constexpr bool IsInOrder(const AnyRow (&Rows)[nRows])
{
    for (std::size_t i = 0; i < nRows; ++i)
        if (static_cast<std::size_t>(Rows[i].eId) != i)
            return false;
    return true;
}
static_assert(IsInOrder(kPaths));
static_assert(IsInOrder(kKeys));

// Whether a value is in the list of its enumeration. GCC and Clang name a function with its arguments, and
// spell a value that has no enumerator as a cast, "(CommandID)18".
template <auto eValue>
consteval bool IsEnumerator()
{
    return std::string_view(__PRETTY_FUNCTION__).find("eValue = (") == std::string_view::npos;
}
// The values follow one another, so a new one that got no row is the one behind the last row.
static_assert(IsEnumerator<CMD_DEVICE_UNLOCK>() &&
              !IsEnumerator<static_cast<CommandID>(std::size(kPaths))>());
static_assert(IsEnumerator<ATTR_ACCESSIBLE_ID>() &&
              !IsEnumerator<static_cast<Attributes>(std::size(kKeys))>());

// A template is a format, so it has exactly one "%s" for each of its ids and no other conversion.
constexpr bool IsFilledBy(const PathRow& Path)
{
    int nConversions = 0;
    for (const char* p = Path.pText; *p; ++p) {
        if (*p != '%')
            continue;
        if (*++p != 's')
            return false;
        ++nConversions;
    }
    const int nIds = Path.eFirst == PathId::NONE ? 0 : Path.eSecond == PathId::NONE ? 1 : 2;
    return nConversions == nIds;
}
static_assert(std::all_of(std::begin(kPaths), std::end(kPaths), IsFilledBy));

template <class AnyRow, class Id, std::size_t nRows>
const AnyRow* Look(const AnyRow (&Rows)[nRows], Id eId)
{
    const auto iRow = static_cast<std::size_t>(static_cast<std::uint32_t>(eId)); // negative: past the end
    return iRow < nRows ? &Rows[iRow] : nullptr;
}

} // namespace

const char* AttributeKey(Attributes eAttribute)
{
    const Row<Attributes>* pRow = Look(kKeys, eAttribute);
    return pRow ? pRow->pText : nullptr;
}

CQXString FilledPath(const CVestaraCommand& Command)
{
    const PathRow* pRow = Look(kPaths, Command.GetCommandID());
    if (!pRow)
        return CQXString();
    if (pRow->eFirst == PathId::NONE)
        return pRow->pText;
    CQXString sPath;
    if (pRow->eSecond == PathId::NONE)
        sPath.Format(pRow->pText, IdText(Command, pRow->eFirst));
    else
        sPath.Format(pRow->pText, IdText(Command, pRow->eFirst), IdText(Command, pRow->eSecond));
    return sPath;
}

CQXString CVestaraInterface::PathByCommandID(CommandID eCommand)
{
    if (const PathRow* pRow = Look(kPaths, eCommand))
        return pRow->pText;
    Report(3090, FormatLine("Unknown CommandID: %d", static_cast<int>(eCommand)));
    return CQXString();
}

CQXString CVestaraInterface::GetAttribute(Attributes eAttribute)
{
    const char* pKey = AttributeKey(eAttribute);
    if (!pKey)
        Report(3137, FormatLine("Unknown Attribute: %d", static_cast<int>(eAttribute)));
    return pKey;
}
