#pragma once

#include "cloudsim/model/Faults.h"
#include "cloudsim/model/Forms.h"
#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"
#include "cloudsim/model/OAuth.h"
#include "cloudsim/model/RequestLog.h"
#include "cloudsim/model/World.h"

#include <string>
#include <string_view>
#include <vector>

namespace cloudsim
{

// The route that saves the world; the server answers it when a file is named.
inline constexpr std::string_view kSavePath = "/admin/save";

// The routes by which a test or a demonstration changes the world behind the cloud's back. They need no
// token, so the server offers them on loopback only; requests must name a loopback host, and a request with a
// body must be JSON, so that no foreign web page can send one unasked.
class AdminApi
{
public:
    // Borrows everything but the random source, which makes ids, serial numbers and programming codes.
    AdminApi(World& world, OAuthService& oauth, FaultList& faults, const RequestLog& log,
             RandomSource random);

    // Carries out one request. Throws Refusal.
    Response Handle(const Request& request, TimePoint now);

private:
    struct Route;
    struct Call {
        const std::vector<std::string>& ids;
        const FormFields query;
        const Json& list;  // the body of a route that wants an array
        ObjectReader body; // the body of every other; empty when there is none
        TimePoint now;
    };
    using Handler = Json (AdminApi::*)(Call&);

    static const std::vector<Route>& Routes();

    Response Run(const Route& route, const Request& request, const std::vector<std::string>& ids,
                 TimePoint now);
    Lock& RequireLock(const Call& call);
    template <typename Item>
    Item& RequireItem(std::vector<Item>& items, const std::string& id, const char* kind);
    template <typename Item>
    std::string NewId(std::vector<Item>& items, const char* kind, std::size_t most);

    Json ShowWorld(Call& call);
    Json SaveWorld(Call& call);
    Json TurnKnob(Call& call);
    Json SetBattery(Call& call);
    Json SetWifi(Call& call);
    Json SetOnline(Call& call);
    Json Wake(Call& call);
    Json EnterPin(Call& call);
    Json AddLocation(Call& call);
    Json RenameLocation(Call& call);
    Json DeleteLocation(Call& call);
    Json AddLock(Call& call);
    Json RenameLock(Call& call);
    Json DeleteLock(Call& call);
    Json AddPerson(Call& call);
    Json RenamePerson(Call& call);
    Json DeletePerson(Call& call);
    Json RevokeTokens(Call& call);
    Json AddFaults(Call& call);
    Json ListFaults(Call& call);
    Json ClearFaults(Call& call);
    Json ListRequests(Call& call);

    World& m_world;
    OAuthService& m_oauth;
    FaultList& m_faults;
    const RequestLog& m_log;
    RandomSource m_random;
};

} // namespace cloudsim
