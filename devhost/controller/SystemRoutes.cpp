// The configurator's routes for the host itself: status, log, trace switches, save, restart and end.

#include "devhost/controller/ConfiguratorApi.h"

#include "devhost/framework/record/Configuration.h"

#include <algorithm>
#include <array>
#include <limits>

namespace devhost
{

namespace
{

using nlohmann::json;

// Puts the texts that others wrote through the filter of the log, wherever they stand in a value. Not the
// others: a PIN that is a year would be given away by what is missing in each time.
void HideSecrets(json& value, const SecretFilter& filter)
{
    constexpr std::array<std::string_view, 7> kFreeTexts = {"text",  "reason", "error", "name",
                                                            "email", "cause",  "house"};
    for (auto& [key, part] : value.items()) {
        if (part.is_string() && (value.is_array() || std::ranges::find(kFreeTexts, key) != kFreeTexts.end()))
            part = filter.Hide(part.get_ref<const std::string&>());
        else if (part.is_structured())
            HideSecrets(part, filter);
    }
}

} // namespace

json ConfiguratorApi::Status()
{
    json definitions = json::array();
    for (const auto* definition : m_system.InterfaceDefinitions())
        definitions.push_back({{"kind", "interface"},
                               {"type", definition->Type()},
                               {"name", static_cast<char*>(definition->Name())}});
    for (const auto& [family, definition] : m_system.ComponentDefinitions())
        definitions.push_back({{"kind", "component"},
                               {"family", family},
                               {"type", definition->Type()},
                               {"name", static_cast<char*>(definition->Name())}});
    return {{"driver_loaded", true},
            {"library", m_options.libraryPath},
            {"signature", m_options.signature},
            {"definitions", definitions},
            {"uptime_seconds", m_sinceStart.QXTickCount() / 1000},
            {"listen", m_options.listen},
            {"trace", m_system.Traces().Default()},
            {"idle_calls", m_system.IdleCallsOn()},
            {"restarts", m_system.Restarts()},
            {"simulator", m_options.hasSimulator},
            {"save", SaveJson(m_system.Saving())}};
}

json ConfiguratorApi::Traces(const ApiCall& call)
{
    const std::uint64_t since = call.request.Number("since", 0);
    const std::uint64_t limit = std::min<std::uint64_t>(call.request.Number("limit", 500), 2000);
    json lines = json::array();
    std::uint64_t last = since;
    if (m_options.log) {
        for (const LogEntry& entry : m_options.log->EntriesSince(since, limit)) {
            last = entry.sequence;
            lines.push_back(LogEntryJson(entry));
        }
        // Who asks for no entries and names none wants to follow from here on, and would be sent back to the
        // start by a 0.
        if (limit == 0 && since == 0)
            last = m_options.log->LastSequence();
    }
    return {{"traces", lines}, {"last", last}};
}

std::vector<ActivityEntry> ConfiguratorApi::ReadActivity(const ApiRequest& request, int highest) const
{
    if (!m_options.activity)
        return {};
    constexpr std::uint64_t kAll = std::numeric_limits<int>::max();
    const auto number = [&](const char* name, std::uint64_t fallback, std::uint64_t most) {
        return static_cast<int>(std::min(request.Number(name, fallback), most));
    };
    Activity::Filter filter;
    filter.before = number("before", 0, kAll);
    filter.kind = request.Parameter("kind");
    filter.lock = static_cast<unsigned>(number("lock", 0, kAll));
    filter.user = number("user", 0, kAll);
    const auto most = static_cast<std::uint64_t>(highest);
    return m_options.activity->Read(filter, number("limit", most, most));
}

// For somebody who is asked for help: all that the page shows and the end of the log. No part of it shows a
// secret; the filter is for one that came as a text of another kind, or before it was known to be one.
json ConfiguratorApi::Diagnostics()
{
    constexpr std::uint64_t kEntries = 1000;
    json result = Snapshot();
    result["version"] = VESTARA_VERSION;
    result["time"] = TimeText(std::chrono::system_clock::now());
    result["trace_switches"] = TraceSwitches();
    result["log"] = json::array();
    if (!m_options.log)
        return result;
    const std::uint64_t last = m_options.log->LastSequence();
    for (const LogEntry& entry : m_options.log->EntriesSince(last - std::min(last, kEntries), kEntries))
        result["log"].push_back(LogEntryJson(entry));
    HideSecrets(result, m_options.log->Secrets());
    return result;
}

// What POST /api/v1/restore takes; that is Restore.cpp's, as the system goes with it.
json ConfiguratorApi::Backup(const ApiCall& call)
{
    if (!call.Secrets())
        throw ApiError(400, "bad_parameter",
                       "a backup holds tokens, PINs and programming codes; ask for it with ?secrets=1");
    if (m_guide.Held())
        throw ApiError(409, "busy",
                       "access is being given to a user, who would be missing; wait until that has ended");
    std::string error;
    const auto text = Configuration(m_system).Write(&error);
    if (!text)
        throw ApiError(500, "not_saved", error);
    Note({.kind = "host", .text = "A backup of the configuration was taken"});
    return {{"version", VESTARA_VERSION},
            {"time", TimeText(std::chrono::system_clock::now())},
            {"configuration", *text}};
}

json ConfiguratorApi::TraceSwitches()
{
    json switches = json::object();
    for (const CTraceProducer* producer : m_system.TraceProducers())
        switches[static_cast<char*>(producer->TraceName())] = producer->TraceEnabled() != 0;
    return {{"switches", switches}, {"default", m_system.Traces().Default()}};
}

json ConfiguratorApi::StoreTraceSwitches(const ApiCall& call)
{
    const json known = TraceSwitches()["switches"];
    for (const auto& [name, value] : call.body.items()) {
        if (!value.is_boolean())
            throw ApiError(400, "bad_body", "a switch is true or false");
        if (name != "*" && !known.contains(name))
            throw ApiError(400, "bad_producer", "there is no trace producer \"" + name + "\"");
    }
    for (const auto& [name, value] : call.body.items()) {
        // "*" stands for every producer, those to come included.
        if (name == "*")
            m_system.SetTraceAll(value.get<bool>());
        else
            m_system.SetTrace(name, value.get<bool>());
    }
    return TraceSwitches();
}

void ConfiguratorApi::AddSystemRoutes()
{
    m_router.Add("GET", "/api/v1/status", [this](const ApiCall&) { return Status(); });
    m_router.Add("GET", "/api/v1/activity", [this](const ApiCall& call) {
        constexpr int kHighest = 1000;
        json entries = json::array();
        for (const ActivityEntry& entry : ReadActivity(call.request, kHighest))
            entries.push_back(ActivityJson(entry));
        return json{{"activity", entries}};
    });
    m_router.Add("GET", "/api/v1/diagnostics", [this](const ApiCall&) { return Diagnostics(); });
    m_router.Add("GET", "/api/v1/traces", [this](const ApiCall& call) { return Traces(call); });
    m_router.Add("GET", "/api/v1/trace-switches", [this](const ApiCall&) { return TraceSwitches(); });
    m_router.Add("PUT", "/api/v1/trace-switches",
                 [this](const ApiCall& call) { return StoreTraceSwitches(call); });
    m_router.Add("GET", "/api/v1/backup", [this](const ApiCall& call) { return Backup(call); });
    AddChange("POST", "/api/v1/save", {}, [this](const ApiCall&) {
        if (const std::string error = m_system.Save(); !error.empty())
            throw ApiError(500, "not_saved", error);
        return SaveJson(m_system.Saving());
    });
    AddChange("POST", "/api/v1/restart", {}, [this](const ApiCall&) {
        m_system.OnSystemExit1("configurator", 1, 0);
        m_system.OnSystemInit();
        m_system.OnPostSystemInit();
        return json{{"restarts", m_system.Restarts()}};
    });
    AddChange("POST", "/api/v1/shutdown", {}, [this](const ApiCall&) {
        m_options.shutdown();
        return json{{"ok", true}};
    });
}

} // namespace devhost
