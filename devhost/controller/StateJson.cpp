// Renders the system's state as JSON. Which route shows what is ConfiguratorApi.cpp's.

#include "devhost/controller/StateJson.h"

#include "devhost/controller/StatusPage.h"

#include <boost/crc.hpp>
#include <spdlog/fmt/chrono.h>

#include <algorithm>
#include <chrono>
#include <type_traits>

namespace devhost
{

namespace
{

using nlohmann::json;

const char* ToText(const CQXString& value)
{
    return static_cast<char*>(value);
}

const char* StateName(int state)
{
    switch (state) {
    case CDoorLock::STATE_SECURED:
        return "locked";
    case CDoorLock::STATE_UNSECURED:
        return "unlocked";
    case CDoorLock::STATE_IN_TRANSIT:
        return "in transit";
    default:
        return "unknown";
    }
}

const char* HealthName(AccountHealth::State state)
{
    switch (state) {
    case AccountHealth::State::NeedsAuthorisation:
        return "needs_authorisation";
    case AccountHealth::State::Unreachable:
        return "unreachable";
    case AccountHealth::State::Refused:
        return "refused";
    case AccountHealth::State::Discovering:
        return "discovering";
    case AccountHealth::State::Well:
        return "well";
    case AccountHealth::State::Quiet:
        return "quiet";
    case AccountHealth::State::New:
        break;
    }
    return "new";
}

// Null for a value that was never registered.
json Registered(int value)
{
    return value < 0 ? json(nullptr) : json(value);
}

template <class Value>
json OrNull(const std::optional<Value>& value)
{
    if constexpr (std::is_same_v<Value, std::chrono::system_clock::time_point>)
        return value ? json(TimeText(*value)) : json(nullptr);
    else if constexpr (std::is_same_v<Value, std::chrono::seconds>)
        return value ? json(value->count()) : json(nullptr);
    else
        return value ? json(*value) : json(nullptr);
}

json OrNull(const std::string& text)
{
    return text.empty() ? json(nullptr) : json(text);
}

// The lock's driver keeps the threshold to itself, but shows it on its page.
std::optional<int> BatteryThreshold(CDoorLock& lock)
{
    CQXMSG message;
    lock.GetExtendedConfig(&message);
    const auto page = message.Items().empty() ? std::nullopt : LockPage::Read(message);
    return page ? WarningPercent(*page) : std::nullopt;
}

json LowBatteryJson(CDoorLock& lock)
{
    const auto threshold = BatteryThreshold(lock);
    const int level = lock.BatteryLevel();
    return {{"threshold", OrNull(threshold)},
            {"low", threshold && level >= 0 ? json(level < *threshold) : json(nullptr)}};
}

const char* OutcomeName(CloudLock::Outcome outcome)
{
    switch (outcome) {
    case CloudLock::Outcome::Accepted:
        return "accepted";
    case CloudLock::Outcome::Done:
        return "done";
    case CloudLock::Outcome::Refused:
        return "refused";
    case CloudLock::Outcome::Lost:
        return "lost";
    case CloudLock::Outcome::Unanswered:
        return "unanswered";
    case CloudLock::Outcome::Sent:
        break;
    }
    return "sent";
}

json CommandJson(const std::optional<CloudLock::Command>& command)
{
    if (!command)
        return nullptr;
    return {{"command", command->unlocks ? "unlock" : "lock"},
            {"time", TimeText(command->time)},
            {"outcome", OutcomeName(command->outcome)},
            {"text", command->text}};
}

// The driver names an account after its house, "Vestara Interface (Lake House)", also over restarts.
json HouseJson(const System& host, const CNetworkBridge& bridge)
{
    const std::string name = ToText(bridge.Name());
    for (const CDeviceInterfaceDef* definition : host.InterfaceDefinitions()) {
        const std::string start = std::string(ToText(definition->Name())) + " (";
        if (definition->Type() == bridge.InterfaceType() && name.starts_with(start) && name.ends_with(')'))
            return name.substr(start.size(), name.size() - start.size() - 1);
    }
    return nullptr;
}

} // namespace

std::string TimeText(std::chrono::system_clock::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto ms = std::chrono::floor<std::chrono::milliseconds>(time - seconds);
    return fmt::format("{:%FT%T}.{:03}Z", seconds, ms.count());
}

json LockJson(CDoorLock& lock, const CloudLock& cloud)
{
    const auto* client = dynamic_cast<const CBridgeClient*>(&lock);
    const bool working = lock.Working() != 0;
    const bool nextKnown = cloud.lastSeen && cloud.interval && cloud.online != std::optional(false);
    const auto next = nextKnown ? std::optional(*cloud.lastSeen + *cloud.interval) : std::nullopt;
    return {
        {"id", lock.ID()},
        {"name", ToText(lock.Name())},
        {"component_type", lock.ComponentType()},
        {"device_id", client ? ToText(client->DeviceID()) : ""},
        {"bridge", client && client->Bridge() ? json(client->BridgeID()) : json(nullptr)},
        {"state", StateName(lock.State())},
        {"working", working},
        // A heartbeat that is late leaves the driver counting beyond the wait.
        {"progress", working ? json(std::clamp(lock.Progress(), 0, 100)) : json(nullptr)},
        {"progress_time", working ? json(lock.ProgressTime()) : json(nullptr)},
        {"battery", Registered(lock.BatteryLevel())},
        {"signal", Registered(lock.SignalStrength())},
        {"signal_text", ToText(lock.SignalStrengthText())},
        {"error", ToText(lock.ErrorText())},
        {"last_user", lock.LastUser()},
        {"command_user", lock.CommandUser()},
        {"user_codes_enabled", lock.UserCodesEnabled() != 0},
        {"enabled_users", lock.EnabledUsers()},
        {"queue_empty", lock.CommandStackEmpty() != 0},
        {"trace_name", ToText(lock.TraceName())},
        {"online", OrNull(cloud.online)},
        {"last_seen", OrNull(cloud.lastSeen)},
        {"next_heartbeat", OrNull(next)},
        {"heartbeat_interval", OrNull(cloud.interval)},
        {"read_at", OrNull(cloud.readAt)},
        {"updated_at", OrNull(cloud.updatedAt)},
        {"cloud_state", OrNull(cloud.state)},
        {"low_battery", LowBatteryJson(lock)},
        {"serial", OrNull(cloud.serial)},
        {"last_command", CommandJson(cloud.lastCommand)},
    };
}

json HeartbeatJson(const Heartbeat& heartbeat)
{
    return {{"time", TimeText(heartbeat.time)},
            {"battery", OrNull(heartbeat.battery)},
            {"wifi", OrNull(heartbeat.wifi)},
            {"gap_seconds", OrNull(heartbeat.gapSeconds)}};
}

json CountersJson(System& host, const CNetworkBridge& bridge)
{
    json queueEmpty; // that of the account is told by any of its locks
    for (int i = 0; i < host.NDoorLock(COMPONENT_FILTER_ALL) && queueEmpty.is_null(); ++i) {
        CDoorLock& lock = *host.DoorLock(i);
        const auto* client = dynamic_cast<const CBridgeClient*>(&lock);
        if (client && client->BridgeID() == bridge.ID())
            queueEmpty = lock.CommandStackEmpty() != 0;
    }
    return {{"bytes_sent", bridge.NBytesSent()},
            {"sends", bridge.NSends()},
            {"bytes_received", bridge.NBytesReceived()},
            {"receives", bridge.NReceives()},
            {"queue_empty", queueEmpty}};
}

json HealthJson(const AccountHealth::Report& health)
{
    return {{"state", HealthName(health.state)},
            {"reason", health.reason},
            {"since", TimeText(health.since)},
            {"last_good", OrNull(health.lastGood)},
            {"last_error", health.lastErrorTime
                               ? json{{"time", TimeText(*health.lastErrorTime)}, {"text", health.lastError}}
                               : json(nullptr)},
            {"failures", health.failures},
            {"authorised", OrNull(health.authorised)}};
}

json InterfaceJson(System& host, CNetworkBridge& bridge)
{
    json locks = json::array();
    for (int i = 0; i < host.NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        const auto* client = dynamic_cast<CBridgeClient*>(host.DoorLock(i));
        if (client && client->Bridge() == &bridge)
            locks.push_back(host.DoorLock(i)->ID());
    }
    return {{"id", bridge.ID()},
            {"type", bridge.InterfaceType()},
            {"name", ToText(bridge.Name())},
            {"house", HouseJson(host, bridge)},
            {"trace_name", ToText(bridge.DeviceInterface()->TraceName())},
            {"health", HealthJson(host.Health(bridge.ID()).value_or(AccountHealth::Report{}))},
            {"counters", CountersJson(host, bridge)},
            {"locks", locks}};
}

std::string ListMark(const std::vector<std::string>& names)
{
    // CRC-64 of ECMA-182; each name with the NUL behind it, so that no two lists run together.
    boost::crc_optimal<64, 0x42F0E1EBA9EA3693, ~0ULL, ~0ULL, true, true> crc;
    for (const std::string& name : names)
        crc.process_bytes(name.c_str(), name.size() + 1);
    return fmt::format("{:016x}", crc.checksum());
}

json PageJson(const PropertyPage& page)
{
    json properties = json::array();
    for (const auto& property : page.Set().Properties()) {
        json propertyJson = {{"id", property->ID()},
                             {"label", ToText(property->Label())},
                             {"read_only", PropertyPage::IsReadOnly(*property)}};
        if (property->Kind() == CSystemProperty::KIND_TEXT) {
            propertyJson["value"] = ToText(property->Value());
        } else {
            propertyJson["selected"] = property->SelectedIndex();
            propertyJson["choices"] = json::array();
            for (const auto& choice : property->Choices())
                propertyJson["choices"].push_back({{"index", choice.iIndex}, {"name", ToText(choice.sName)}});
        }
        properties.push_back(std::move(propertyJson));
    }
    json actions = json::array();
    for (const auto& action : page.Set().Actions())
        actions.push_back({{"id", action.iID}, {"text", ToText(action.sText)}});
    return {{"properties", properties}, {"actions", actions}, {"list", ListMark(page.ChoiceNames())}};
}

json ExtendedPageJson(const ExtendedPage& page)
{
    return {{"label", page.label},           {"selected", page.selected}, {"count", page.count},
            {"choices", page.choices},       {"flags", page.flags},       {"master", page.IsMaster()},
            {"list", ListMark(page.choices)}};
}

json UserJson(int slot, const CUser& user, bool showPin)
{
    json result = {
        {"slot", slot}, {"id", user.ID()}, {"name", ToText(user.Name())}, {"email", ToText(user.Email())}};
    if (showPin)
        result["pin"] = ToText(user.PIN_DoorLock());
    return result;
}

json LogEntryJson(const LogEntry& entry)
{
    json result = {{"sequence", entry.sequence}, {"time", TimeText(entry.time)}, {"thread", entry.thread},
                   {"producer", entry.producer}, {"report", entry.report},       {"text", entry.text}};
    if (entry.report)
        result["line"] = entry.line;
    return result;
}

json SaveJson(const SaveState& state)
{
    return {{"saves", state.saves},
            {"pending", state.pending},
            {"error", state.lastError},
            {"damaged", state.damaged},
            {"kept_aside", state.keptAside}};
}

} // namespace devhost
