// The configurator's routes for the host itself: status, log, trace switches, save, restart and end.

#include "devhost/controller/ConfiguratorApi.h"

#include <algorithm>
#include <charconv>

namespace devhost
{

namespace
{

using nlohmann::json;

std::uint64_t NumberParameter(const ApiCall& Call, const char* pName, std::uint64_t Default)
{
    const std::string Digits = Call.Request.Parameter(pName);
    if (Digits.empty())
        return Default;
    std::uint64_t Value = 0;
    const auto [pEnd, Error] = std::from_chars(Digits.data(), Digits.data() + Digits.size(), Value);
    if (Error != std::errc() || pEnd != Digits.data() + Digits.size())
        throw ApiError(400, "bad_parameter", std::string(pName) + " must be a number");
    return Value;
}

} // namespace

json ConfiguratorApi::Status()
{
    json Definitions = json::array();
    for (const auto* pDefinition : m_System.InterfaceDefinitions())
        Definitions.push_back({{"kind", "interface"},
                               {"type", pDefinition->Type()},
                               {"name", static_cast<char*>(pDefinition->Name())}});
    for (const auto& [Family, pDefinition] : m_System.ComponentDefinitions())
        Definitions.push_back({{"kind", "component"},
                               {"family", Family},
                               {"type", pDefinition->Type()},
                               {"name", static_cast<char*>(pDefinition->Name())}});
    return {{"driver_loaded", true},
            {"library", m_Options.LibraryPath},
            {"signature", m_Options.Signature},
            {"definitions", Definitions},
            {"uptime_seconds", m_SinceStart.QXTickCount() / 1000},
            {"listen", m_Options.Listen},
            {"trace", m_System.Traces().Default()},
            {"idle_calls", m_System.IdleCallsOn()},
            {"restarts", m_System.Restarts()},
            {"save", SaveJson(m_System.Saving())}};
}

json ConfiguratorApi::Traces(const ApiCall& Call)
{
    const std::uint64_t Since = NumberParameter(Call, "since", 0);
    const std::uint64_t Limit = std::min<std::uint64_t>(NumberParameter(Call, "limit", 500), 2000);
    json Lines = json::array();
    std::uint64_t Last = Since;
    if (m_Options.pLog) {
        for (const LogEntry& Entry : m_Options.pLog->EntriesSince(Since, Limit)) {
            Last = Entry.uSequence;
            Lines.push_back(LogEntryJson(Entry));
        }
        // Who asks for no entries and names none wants to follow from here on, and would be sent back to the
        // start by a 0.
        if (Limit == 0 && Since == 0)
            Last = m_Options.pLog->LastSequence();
    }
    return {{"traces", Lines}, {"last", Last}};
}

json ConfiguratorApi::TraceSwitches()
{
    json Switches = json::object();
    for (const CTraceProducer* pProducer : m_System.TraceProducers())
        Switches[static_cast<char*>(pProducer->TraceName())] = pProducer->TraceEnabled() != 0;
    return {{"switches", Switches}, {"default", m_System.Traces().Default()}};
}

json ConfiguratorApi::StoreTraceSwitches(const ApiCall& Call)
{
    const json Known = TraceSwitches()["switches"];
    for (const auto& [Name, Value] : Call.Body.items()) {
        if (!Value.is_boolean())
            throw ApiError(400, "bad_body", "a switch is true or false");
        if (Name != "*" && !Known.contains(Name))
            throw ApiError(400, "bad_producer", "there is no trace producer \"" + Name + "\"");
    }
    for (const auto& [Name, Value] : Call.Body.items()) {
        // "*" stands for every producer, those to come included.
        if (Name == "*")
            m_System.SetTraceAll(Value.get<bool>());
        else
            m_System.SetTrace(Name, Value.get<bool>());
    }
    return TraceSwitches();
}

void ConfiguratorApi::AddSystemRoutes()
{
    m_Router.Add("GET", "/api/v1/status", [this](const ApiCall&) { return Status(); });
    m_Router.Add("GET", "/api/v1/traces", [this](const ApiCall& Call) { return Traces(Call); });
    m_Router.Add("GET", "/api/v1/trace-switches", [this](const ApiCall&) { return TraceSwitches(); });
    m_Router.Add("PUT", "/api/v1/trace-switches",
                 [this](const ApiCall& Call) { return StoreTraceSwitches(Call); });
    AddChange("POST", "/api/v1/save", {}, [this](const ApiCall&) {
        if (const std::string Error = m_System.Save(); !Error.empty())
            throw ApiError(500, "not_saved", Error);
        return SaveJson(m_System.Saving());
    });
    AddChange("POST", "/api/v1/restart", {}, [this](const ApiCall&) {
        m_System.OnSystemExit1("configurator", 1, 0);
        m_System.OnSystemInit();
        m_System.OnPostSystemInit();
        return json{{"restarts", m_System.Restarts()}};
    });
    AddChange("POST", "/api/v1/shutdown", {}, [this](const ApiCall&) {
        m_Options.Shutdown();
        return json{{"ok", true}};
    });
}

} // namespace devhost
