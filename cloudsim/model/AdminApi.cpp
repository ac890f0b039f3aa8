// Serves the admin routes on the model. What adds, renames and removes is AdminEdits.cpp's; binding to
// loopback and writing files is left to the server.
#include "cloudsim/model/AdminApi.h"

#include "cloudsim/model/AdminView.h"
#include "cloudsim/model/Fixture.h"
#include "cloudsim/model/Heartbeats.h"
#include "cloudsim/model/Paths.h"
#include "cloudsim/model/Replies.h"
#include "cloudsim/model/RequestChecks.h"
#include "cloudsim/model/WorldJson.h"

#include <algorithm>
#include <charconv>

namespace cloudsim
{

struct AdminApi::Route {
    std::string_view method;
    std::string_view path; // "*" stands for one id
    Handler handler;
    std::string_view queryField = {}; // the one that may stand in the query
    Json::value_t bodyType = Json::value_t::object;
};

namespace
{

// A browser names the page that sends a request in Origin; only pages of this machine may.
void RefuseForeignPages(const Request& request)
{
    const auto host = request.FindHeader("Host");
    if (!host || request.CountHeader("Host") != 1 || !IsLoopbackHost(HostWithoutPort(*host)))
        throw Refusal(421, "wrong_host", "the Host header must be that of a loopback address");
    const auto origin = request.FindHeader("Origin");
    if (origin && !IsLoopbackHttpAddress(*origin))
        throw Refusal(403, "foreign_origin", "requests from other sites' pages are refused");
}

Json ReadBody(const Request& request)
{
    if (request.body.empty())
        return Json::object();
    const std::string_view type = request.FindHeader("Content-Type").value_or("");
    if (type.substr(0, type.find(';')) != kJsonMediaType)
        throw Refusal(415, "wrong_content_type", "the Content-Type header must be application/json");
    return ParseJsonBody(request);
}

void RefuseOtherFields(const FormFields& query, std::string_view allowed)
{
    for (const auto& [name, value] : query) {
        if (name != allowed)
            throw Refusal(400, "bad_query", "the query holds a field that is not known here");
    }
}

} // namespace

AdminApi::AdminApi(World& world, OAuthService& oauth, FaultList& faults, const RequestLog& log,
                   RandomSource random)
    : m_world(world), m_oauth(oauth), m_faults(faults), m_log(log), m_random(std::move(random))
{
}

// clang-format off
const std::vector<AdminApi::Route>& AdminApi::Routes()
{
    static const std::vector<Route> routes = {
        {"GET",    "/admin/world",             &AdminApi::ShowWorld, "secrets"},
        {"POST",   kSavePath,                  &AdminApi::SaveWorld},
        {"POST",   "/admin/locks/*/turn",      &AdminApi::TurnKnob},
        {"POST",   "/admin/locks/*/battery",   &AdminApi::SetBattery},
        {"POST",   "/admin/locks/*/wifi",      &AdminApi::SetWifi},
        {"POST",   "/admin/locks/*/online",    &AdminApi::SetOnline},
        {"POST",   "/admin/locks/*/heartbeat", &AdminApi::Wake},
        {"POST",   "/admin/locks/*/pin",       &AdminApi::EnterPin},
        {"POST",   "/admin/locks",             &AdminApi::AddLock},
        {"PUT",    "/admin/locks/*",           &AdminApi::RenameLock},
        {"DELETE", "/admin/locks/*",           &AdminApi::DeleteLock},
        {"POST",   "/admin/locations",         &AdminApi::AddLocation},
        {"PUT",    "/admin/locations/*",       &AdminApi::RenameLocation},
        {"DELETE", "/admin/locations/*",       &AdminApi::DeleteLocation},
        {"POST",   "/admin/access_persons",    &AdminApi::AddPerson},
        {"PUT",    "/admin/access_persons/*",  &AdminApi::RenamePerson},
        {"DELETE", "/admin/access_persons/*",  &AdminApi::DeletePerson},
        {"POST",   "/admin/tokens/revoke",     &AdminApi::RevokeTokens},
        {"POST",   "/admin/faults",            &AdminApi::AddFaults, {}, Json::value_t::array},
        {"GET",    "/admin/faults",            &AdminApi::ListFaults},
        {"DELETE", "/admin/faults",            &AdminApi::ClearFaults},
        {"GET",    "/admin/requests",          &AdminApi::ListRequests, "limit"},
    };
    return routes;
}
// clang-format on

Response AdminApi::Handle(const Request& request, TimePoint now)
{
    RefuseForeignPages(request);
    std::string allowed;
    for (const Route& route : Routes()) {
        const auto ids = MatchPath(route.path, request.Path());
        if (!ids)
            continue;
        if (route.method == request.method)
            return Run(route, request, *ids, now);
        allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
    }
    if (allowed.empty())
        throw Refusal(404, "unknown_path", "there is no admin route of that path");
    throw Refusal(405, "method_not_allowed", "only " + allowed + " is allowed here");
}

Response AdminApi::Run(const Route& route, const Request& request, const std::vector<std::string>& ids,
                       TimePoint now)
{
    static const Json kNoMembers = Json::object();
    const Json document = ReadBody(request);
    const bool wantsList = route.bodyType == Json::value_t::array;
    try {
        if (wantsList && !document.is_array())
            throw FieldError("wrong_type", "the document", "must be an array");
        Call call{ids, ParseForm(request.Query().value_or("")), document,
                  ObjectReader(wantsList ? kNoMembers : document, ""), now};
        RefuseOtherFields(call.query, route.queryField);
        return JsonReply(200, (this->*route.handler)(call));
    } catch (const FieldError& error) {
        throw RefuseField(error);
    }
}

Lock& AdminApi::RequireLock(const Call& call)
{
    if (Lock* lock = FindById(m_world.locks, call.ids[0]))
        return *lock;
    throw Refusal(404, "unknown_lock", "there is no lock of that id");
}

Json AdminApi::ShowWorld(Call& call)
{
    call.body.Finish();
    const auto secrets = call.query.find("secrets");
    const std::string asked = secrets == call.query.end() ? "0" : secrets->second;
    if (asked != "0" && asked != "1")
        throw Refusal(400, "bad_query", "secrets must be 0 or 1");
    return AdminWorld(m_world, asked == "1", call.now);
}

Json AdminApi::SaveWorld(Call& call)
{
    call.body.Finish();
    return ParseJson(cloudsim::SaveWorld(m_world));
}

Json AdminApi::TurnKnob(Call& call)
{
    Lock& lock = RequireLock(call);
    const LockState state = ReadLockState(call.body, "state");
    call.body.Finish();
    cloudsim::TurnKnob(lock, state, call.now);
    return AdminLock(lock, false);
}

Json AdminApi::SetBattery(Call& call)
{
    Lock& lock = RequireLock(call);
    const auto level = static_cast<int>(call.body.Integer("level", 0, 100));
    call.body.Finish();
    lock.physical.powerLevel = level;
    return AdminLock(lock, false);
}

Json AdminApi::SetWifi(Call& call)
{
    Lock& lock = RequireLock(call);
    const auto level = static_cast<int>(call.body.Integer("level", 0, 100));
    call.body.Finish();
    lock.physical.wifiLevel = level;
    return AdminLock(lock, false);
}

Json AdminApi::SetOnline(Call& call)
{
    Lock& lock = RequireLock(call);
    const bool online = call.body.Boolean("online");
    const bool alive = call.body.Boolean("alive", lock.alive);
    call.body.Finish();
    if (alive != lock.alive)
        lock.updatedAt = call.now;
    lock.online = online;
    lock.alive = alive;
    return AdminLock(lock, false);
}

Json AdminApi::Wake(Call& call)
{
    Lock& lock = RequireLock(call);
    call.body.Finish();
    WakeLock(lock, call.now);
    return AdminLock(lock, false);
}

Json AdminApi::EnterPin(Call& call)
{
    Lock& lock = RequireLock(call);
    const std::string pin = call.body.Text("pin");
    call.body.Finish();
    const auto person = std::ranges::find(m_world.persons, pin, &AccessPerson::pin);
    const bool hasAccess =
        person != m_world.persons.end() && std::ranges::any_of(m_world.accesses, [&](const Access& access) {
            return access.personId == person->id && access.lockId == lock.id;
        });
    if (!hasAccess)
        throw Refusal(403, "pin_refused", "the PIN is not one of a person with access to this lock");
    cloudsim::TurnKnob(lock, LockState::Unlocked, call.now);
    return {{"access_person_id", person->id}, {"lock", AdminLock(lock, false)}};
}

Json AdminApi::RevokeTokens(Call& call)
{
    const bool refreshToo = call.body.Boolean("refresh", false);
    call.body.Finish();
    const std::size_t access = m_oauth.RevokeAccessTokens();
    return {{"access", access}, {"refresh", refreshToo ? m_oauth.RevokeRefreshTokens() : 0}};
}

Json AdminApi::AddFaults(Call& call)
{
    std::vector<Fault> faults;
    for (const Json& entry : call.list)
        faults.push_back(FaultList::Read(entry, "faults[" + std::to_string(faults.size()) + "]"));
    if (m_faults.All().size() + faults.size() > FaultList::kMost)
        throw Refusal(409, "too_many", "there are too many faults; clear them first");
    for (Fault& fault : faults)
        m_faults.Add(std::move(fault), call.now);
    return ListFaults(call);
}

Json AdminApi::ListFaults(Call& call)
{
    call.body.Finish();
    return {{"faults", MakeArray(m_faults.All(),
                                 [&](const Fault& fault) { return FaultList::Write(fault, call.now); })}};
}

Json AdminApi::ClearFaults(Call& call)
{
    call.body.Finish();
    m_faults.Clear();
    return ListFaults(call);
}

Json AdminApi::ListRequests(Call& call)
{
    call.body.Finish();
    std::size_t limit = 100;
    if (const auto given = call.query.find("limit"); given != call.query.end()) {
        const std::string& text = given->second;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), limit);
        if (error != std::errc{} || end != text.data() + text.size())
            throw Refusal(400, "bad_query", "limit must be a whole number");
    }
    return {{"requests", m_log.Last(limit)}};
}

} // namespace cloudsim
