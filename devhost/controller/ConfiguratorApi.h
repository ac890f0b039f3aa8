#pragma once
// The routes of the configurator.

#include "devhost/controller/Api.h"
#include "devhost/controller/StateJson.h"

#include <functional>
#include <map>
#include <string>

namespace devhost
{

/// Serves the configurator's requests from the system's state. Host thread; the system outlives it.
class ConfiguratorApi
{
public:
    struct Options {
        std::string LibraryPath;
        std::string Signature;
        std::string Listen;                 ///< "http://127.0.0.1:PORT"
        std::string AuthorizeBase;          ///< where a browser reaches the cloud's OAuth host; may be empty
        DiagnosticLog* pLog = nullptr;      ///< null: no traces are shown
        std::function<void()> Shutdown;     ///< asks the program to end
        std::function<void()> UsersChanged; ///< after a user was stored or deleted; may be empty
    };

    ConfiguratorApi(System& Host, Options Parts);

    /// Serves one request that passed the guard: a route, or the OAuth redirect.
    ApiResponse Serve(const ApiRequest& Request);

private:
    void AddChange(std::string Method, std::string Pattern, std::vector<std::string> Members,
                   ApiHandler Handler);
    void AddInterfaceRoutes();
    void AddPageRoutes();
    void AddLockRoutes();
    void AddUserRoutes();
    void AddSystemRoutes();

    CNetworkBridge& Bridge(const ApiCall& Call);
    CDeviceInterface& Interface(const ApiCall& Call) { return *Bridge(Call).DeviceInterface(); }
    CDoorLock& Lock(const ApiCall& Call);
    nlohmann::json InterfaceWithMaster(CNetworkBridge& Shown) const;
    nlohmann::json ShowPage(unsigned BridgeID, const PropertyPage& Page);
    nlohmann::json RunAction(const ApiCall& Call);
    static void CheckList(const nlohmann::json& Body, const std::string& Shown, const PropertyPage& Present);
    nlohmann::json StorePage(const ApiCall& Call);
    nlohmann::json ShowExtendedPage(const ApiCall& Call);
    nlohmann::json StoreExtendedPage(const ApiCall& Call);
    nlohmann::json RunCommand(const ApiCall& Call);
    nlohmann::json StoreStatusPage(const ApiCall& Call);
    nlohmann::json StoreUser(const ApiCall& Call);
    nlohmann::json DeleteUser(const ApiCall& Call);
    nlohmann::json EnableUser(const ApiCall& Call);
    nlohmann::json Status();
    nlohmann::json Traces(const ApiCall& Call);
    nlohmann::json TraceSwitches();
    nlohmann::json StoreTraceSwitches(const ApiCall& Call);
    std::string BrowserURL(const std::string& URL) const;
    ApiResponse OAuthRedirect(const ApiRequest& Request);

    System& m_System;
    Options m_Options;
    ApiRouter m_Router;
    CQXTimer m_SinceStart;

    // Whether an interface is the master shows on its pages only, and building one may ask the cloud for its
    // houses. So this is what the last page showed that was asked for.
    std::map<unsigned, bool> m_Masters;
    std::map<unsigned, ExtendedPage> m_ExtendedPages; // as last shown, for checking what comes back
    std::map<unsigned, std::string> m_ShownLists;     // marks of the choices of the last page that was shown
};

} // namespace devhost
