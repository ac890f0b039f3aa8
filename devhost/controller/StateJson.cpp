// Renders the system's state as JSON. Which route shows what is ConfiguratorApi.cpp's.

#include "devhost/controller/StateJson.h"

#include <boost/crc.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace devhost
{

namespace
{

using nlohmann::json;

const char* ToText(const CQXString& Value)
{
    return static_cast<char*>(Value);
}

const char* StateName(int State)
{
    switch (State) {
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

// The time in UTC with milliseconds, as RFC 3339 writes it.
std::string TimeText(std::chrono::system_clock::time_point Time)
{
    const auto Since = Time.time_since_epoch();
    const std::time_t Seconds = std::chrono::duration_cast<std::chrono::seconds>(Since).count();
    const auto Ms = std::chrono::duration_cast<std::chrono::milliseconds>(Since).count() % 1000;
    std::tm Parts{};
    gmtime_r(&Seconds, &Parts);
    std::array<char, 24> Text{};
    std::strftime(Text.data(), Text.size(), "%FT%T", &Parts);
    std::array<char, 8> Fraction{};
    std::snprintf(Fraction.data(), Fraction.size(), ".%03dZ", static_cast<int>(Ms));
    return std::string(Text.data()) + Fraction.data();
}

// Null for a value that was never registered.
json Registered(int Value)
{
    return Value < 0 ? json(nullptr) : json(Value);
}

} // namespace

json LockJson(CDoorLock& Lock)
{
    const auto* pClient = dynamic_cast<const CBridgeClient*>(&Lock);
    const bool bWorking = Lock.Working() != 0;
    return {
        {"id", Lock.ID()},
        {"name", ToText(Lock.Name())},
        {"component_type", Lock.ComponentType()},
        {"device_id", pClient ? ToText(pClient->DeviceID()) : ""},
        {"bridge", pClient && pClient->Bridge() ? json(pClient->BridgeID()) : json(nullptr)},
        {"state", StateName(Lock.State())},
        {"working", bWorking},
        // A heartbeat that is late leaves the driver counting beyond the wait.
        {"progress", bWorking ? json(std::clamp(Lock.Progress(), 0, 100)) : json(nullptr)},
        {"progress_time", bWorking ? json(Lock.ProgressTime()) : json(nullptr)},
        {"battery", Registered(Lock.BatteryLevel())},
        {"signal", Registered(Lock.SignalStrength())},
        {"signal_text", ToText(Lock.SignalStrengthText())},
        {"error", ToText(Lock.ErrorText())},
        {"last_user", Lock.LastUser()},
        {"command_user", Lock.CommandUser()},
        {"user_codes_enabled", Lock.UserCodesEnabled() != 0},
        {"enabled_users", Lock.EnabledUsers()},
        {"queue_empty", Lock.CommandStackEmpty() != 0},
        {"trace_name", ToText(Lock.TraceName())},
    };
}

json CountersJson(const CNetworkBridge& Bridge)
{
    return {{"bytes_sent", Bridge.NBytesSent()},
            {"sends", Bridge.NSends()},
            {"bytes_received", Bridge.NBytesReceived()},
            {"receives", Bridge.NReceives()}};
}

json InterfaceJson(System& Host, CNetworkBridge& Bridge)
{
    json Locks = json::array();
    for (int i = 0; i < Host.NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        const auto* pClient = dynamic_cast<CBridgeClient*>(Host.DoorLock(i));
        if (pClient && pClient->Bridge() == &Bridge)
            Locks.push_back(Host.DoorLock(i)->ID());
    }
    return {{"id", Bridge.ID()},
            {"type", Bridge.InterfaceType()},
            {"name", ToText(Bridge.Name())},
            {"trace_name", ToText(Bridge.DeviceInterface()->TraceName())},
            {"counters", CountersJson(Bridge)},
            {"locks", Locks}};
}

std::string ListMark(const std::vector<std::string>& Names)
{
    // CRC-64 of ECMA-182; each name with the NUL behind it, so that no two lists run together.
    boost::crc_optimal<64, 0x42F0E1EBA9EA3693, ~0ULL, ~0ULL, true, true> Crc;
    for (const std::string& Name : Names)
        Crc.process_bytes(Name.c_str(), Name.size() + 1);
    std::array<char, 17> Hex{};
    std::snprintf(Hex.data(), Hex.size(), "%016llx", static_cast<unsigned long long>(Crc.checksum()));
    return Hex.data();
}

json PageJson(const PropertyPage& Page)
{
    json Properties = json::array();
    for (const auto& pProperty : Page.Set().Properties()) {
        json Property = {{"id", pProperty->ID()},
                         {"label", ToText(pProperty->Label())},
                         {"read_only", PropertyPage::IsReadOnly(*pProperty)}};
        if (pProperty->Kind() == CSystemProperty::KIND_TEXT) {
            Property["value"] = ToText(pProperty->Value());
        } else {
            Property["selected"] = pProperty->SelectedIndex();
            Property["choices"] = json::array();
            for (const auto& Choice : pProperty->Choices())
                Property["choices"].push_back({{"index", Choice.iIndex}, {"name", ToText(Choice.sName)}});
        }
        Properties.push_back(std::move(Property));
    }
    json Actions = json::array();
    for (const auto& Action : Page.Set().Actions())
        Actions.push_back({{"id", Action.iID}, {"text", ToText(Action.sText)}});
    return {{"properties", Properties}, {"actions", Actions}, {"list", ListMark(Page.ChoiceNames())}};
}

json ExtendedPageJson(const ExtendedPage& Page)
{
    return {{"label", Page.Label},           {"selected", Page.Selected}, {"count", Page.Count},
            {"choices", Page.Choices},       {"flags", Page.Flags},       {"master", Page.IsMaster()},
            {"list", ListMark(Page.Choices)}};
}

json UserJson(int Slot, const CUser& User, bool ShowPin)
{
    json Result = {
        {"slot", Slot}, {"id", User.ID()}, {"name", ToText(User.Name())}, {"email", ToText(User.Email())}};
    if (ShowPin)
        Result["pin"] = ToText(User.PIN_DoorLock());
    return Result;
}

json LogEntryJson(const LogEntry& Entry)
{
    json Result = {{"sequence", Entry.uSequence}, {"time", TimeText(Entry.Time)}, {"thread", Entry.Thread},
                   {"producer", Entry.Producer},  {"report", Entry.bReport},      {"text", Entry.Text}};
    if (Entry.bReport)
        Result["line"] = Entry.iLine;
    return Result;
}

json SaveJson(const SaveState& State)
{
    return {{"saves", State.Saves},
            {"pending", State.Pending},
            {"error", State.LastError},
            {"damaged", State.Damaged},
            {"kept_aside", State.KeptAside}};
}

json MessageJson(const CQXMSG& Message, bool ShowSecrets)
{
    json Items = json::array();
    bool bSecret = false;
    for (const auto& Item : Message.Items()) {
        if (const int* pNumber = std::get_if<int>(&Item)) {
            Items.push_back({{"int", *pNumber}});
            continue;
        }
        const std::string Value = ToText(std::get<CQXString>(Item));
        Items.push_back({{"string", bSecret && !ShowSecrets && !Value.empty() ? "***" : Value}});
        bSecret = Value == "Programming Code";
    }
    return Items;
}

} // namespace devhost
