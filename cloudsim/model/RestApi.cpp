// Routes the REST requests and serves locations and devices; persons and accesses are served in
// RestPersons.cpp.
#include "cloudsim/model/RestApi.h"

#include "cloudsim/model/Paths.h"
#include "cloudsim/model/Replies.h"
#include "cloudsim/model/RequestChecks.h"
#include "cloudsim/model/RestObjects.h"

namespace cloudsim
{

struct RestApi::Route {
    std::string_view method;
    std::string_view path; // "*" stands for one id
    Handler handler;
};

RestApi::RestApi(const Options& options, World& world, const OAuthService& oauth, RandomSource random)
    : m_options(options), m_world(world), m_oauth(oauth), m_random(std::move(random))
{
}

// clang-format off
const std::vector<RestApi::Route>& RestApi::Routes()
{
    static const std::vector<Route> routes = {
        {"GET",    "/locations",                      &RestApi::ListLocations},
        {"GET",    "/locations/*",                    &RestApi::GetLocation},
        {"GET",    "/devices",                        &RestApi::ListDevices},
        {"GET",    "/devices/*",                      &RestApi::GetDevice},
        {"PUT",    "/devices/*/lock",                 &RestApi::LockDevice},
        {"PUT",    "/devices/*/unlock",               &RestApi::UnlockDevice},
        {"GET",    "/access_persons",                 &RestApi::ListPersons},
        {"POST",   "/access_persons",                 &RestApi::CreatePerson},
        {"PUT",    "/access_persons/*",               &RestApi::UpdatePerson},
        {"DELETE", "/access_persons/*",               &RestApi::DeletePerson},
        {"GET",    "/access_persons/*/accesses",      &RestApi::ListAccesses},
        {"POST",   "/access_persons/*/accesses",      &RestApi::GrantAccess},
        {"DELETE", "/access_persons/*/accesses/*",    &RestApi::RevokeAccess},
        {"POST",   "/access_persons/*/email/notify",  &RestApi::NotifyPerson},
    };
    return routes;
}
// clang-format on

Response RestApi::Handle(const Request& request, TimePoint now)
{
    std::string allowed;
    for (const Route& route : Routes()) {
        const auto ids = MatchPath(route.path, request.Path());
        if (!ids)
            continue;
        if (route.method != request.method) {
            allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
            continue;
        }
        RequirePlainTarget(request);
        RequireHost(request, m_options.apiHost);
        RequireAccept(request, kRestMediaType);
        m_oauth.Authenticate(request, now);
        if (route.method == "GET" || route.method == "DELETE")
            RequireNoBody(request);
        else
            RequireBody(request, kJsonMediaType);
        return (this->*route.handler)(request, *ids);
    }
    if (allowed.empty())
        throw Refusal(404, "unknown_path", "there is no resource of that path");
    RequireMethod(request, allowed);
    throw std::logic_error("a route neither took nor refused the method");
}

Lock& RestApi::RequireLock(const std::string& id)
{
    if (Lock* lock = FindById(m_world.locks, id))
        return *lock;
    throw Refusal(404, "unknown_device", "there is no device of that id");
}

Response RestApi::ListLocations(const Request&, const Arguments&)
{
    return JsonReply(200, ListObject(m_world.locations, LocationObject));
}

Response RestApi::GetLocation(const Request&, const Arguments& ids)
{
    const Location* location = FindById(m_world.locations, ids[0]);
    if (!location)
        throw Refusal(404, "unknown_location", "there is no location of that id");
    // Readers of a location walk the entries of "data" even when they asked for one.
    return JsonReply(200, ListObject(std::vector{*location}, LocationObject));
}

Response RestApi::ListDevices(const Request&, const Arguments&)
{
    return JsonReply(200, ListObject(m_world.locks, DeviceObject));
}

Response RestApi::GetDevice(const Request&, const Arguments& ids)
{
    return JsonReply(200, DeviceObject(RequireLock(ids[0])));
}

Response RestApi::LockDevice(const Request& request, const Arguments& ids)
{
    return CommandDevice(request, ids, LockState::Locked);
}

Response RestApi::UnlockDevice(const Request& request, const Arguments& ids)
{
    return CommandDevice(request, ids, LockState::Unlocked);
}

Response RestApi::CommandDevice(const Request& request, const Arguments& ids, LockState state)
{
    if (!request.body.empty())
        throw Refusal(400, "unexpected_body", "a lock or unlock request must have an empty body");
    Lock& lock = RequireLock(ids[0]);
    lock.pending = state;
    return JsonReply(200, DeviceObject(lock));
}

} // namespace cloudsim
