#pragma once

#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"
#include "cloudsim/model/OAuth.h"
#include "cloudsim/model/Options.h"
#include "cloudsim/model/World.h"

#include <string>
#include <vector>

namespace cloudsim
{

// The REST API: locations, devices, access persons and their accesses.
class RestApi
{
public:
    // Borrows all but the random source, which makes new ids.
    RestApi(const Options& options, World& world, const OAuthService& oauth, RandomSource random);

    // Carries out one request. Throws Refusal, also for paths that it does not know.
    Response Handle(const Request& request, TimePoint now);

private:
    struct Route;
    using Arguments = std::vector<std::string>;
    using Handler = Response (RestApi::*)(const Request&, const Arguments&);

    static const std::vector<Route>& Routes();

    Response ListLocations(const Request&, const Arguments&);
    Response GetLocation(const Request&, const Arguments& ids);
    Response ListDevices(const Request&, const Arguments&);
    Response GetDevice(const Request&, const Arguments& ids);
    Response LockDevice(const Request& request, const Arguments& ids);
    Response UnlockDevice(const Request& request, const Arguments& ids);
    Response ListPersons(const Request&, const Arguments&);
    Response CreatePerson(const Request& request, const Arguments&);
    Response UpdatePerson(const Request& request, const Arguments& ids);
    Response DeletePerson(const Request&, const Arguments& ids);
    Response ListAccesses(const Request&, const Arguments& ids);
    Response GrantAccess(const Request& request, const Arguments& ids);
    Response RevokeAccess(const Request&, const Arguments& ids);
    Response NotifyPerson(const Request& request, const Arguments& ids);

    Response CommandDevice(const Request& request, const Arguments& ids, LockState state);
    Lock& RequireLock(const std::string& id);
    AccessPerson& RequirePerson(const std::string& id);

    const Options& m_options;
    World& m_world;
    const OAuthService& m_oauth;
    RandomSource m_random;
};

} // namespace cloudsim
