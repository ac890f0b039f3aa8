#pragma once
// The routes of the configurator.

#include "devhost/controller/AccessGuide.h"
#include "devhost/controller/AccessMatrix.h"
#include "devhost/controller/Activity.h"
#include "devhost/controller/Api.h"
#include "devhost/controller/CloudHouses.h"
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
        std::string libraryPath;
        std::string signature;
        std::string listen;                  ///< "http://127.0.0.1:PORT"
        std::string authorizeBase;           ///< where a browser reaches the cloud's OAuth host; may be empty
        bool hasSimulator = false;           ///< its routes are served beside these
        DiagnosticLog* log = nullptr;        ///< null: no traces are shown
        Activity* activity = nullptr;        ///< null: nothing is noted or shown
        const CloudHouses* houses = nullptr; ///< null: nothing is known of what the cloud offers
        CloudLocks* cloudLocks = nullptr;    ///< null: nothing is known of what the cloud says
        const LockHistory* history = nullptr; ///< null: there is none
        /// What the cloud holds of persons; outlives this object.
        const CloudPersons* persons = nullptr;
        std::function<void()> shutdown; ///< asks the program to end
        /// Sends an event to the readers of the stream; may be empty.
        std::function<void(const char* type, const std::string& data)> publish;
        std::function<void(int slot)> userChanged; ///< after a user was stored or deleted; may be empty
    };

    ConfiguratorApi(System& host, Options parts);

    /// Serves one request that passed the guard: a route, or the OAuth redirect.
    ApiResponse Serve(const ApiRequest& request);

    /// Goes on with what takes its time, and publishes who has access as far as that changed. To be called
    /// about once a second.
    void FollowAccess();
    /// Tells that locks or rights may have changed otherwise than by a request.
    void MarkAccessChanged() { m_accessChanged = true; }
    /// Ends what is under way, as before the last save.
    void GiveUp() { m_guide.GiveUp("The host ended meanwhile. The user is as before; give access again."); }
    /// A user who is not in its slot at this moment, but comes back; null when there is none.
    const UserData* HeldUser() const { return m_guide.Held(); }

    /// All that the page shows, as the routes show each part:
    /// {"status","interfaces","locks","users","access","guide"}.
    nlohmann::json Snapshot();
    nlohmann::json Interfaces();
    /// A user as its route shows it, without the PIN, or {"slot":n,"gone":true}.
    nlohmann::json UserOrGone(int slot);
    /// A lock as its route shows it, or {"id":n,"gone":true}.
    nlohmann::json LockOrGone(unsigned id);

private:
    void AddChange(std::string method, std::string pattern, std::vector<std::string> members,
                   ApiHandler handler);
    void AddInterfaceRoutes();
    void AddPageRoutes();
    void AddLockRoutes();
    void AddUserRoutes();
    void AddAccessRoutes();
    void AddSystemRoutes();

    CNetworkBridge& Bridge(const ApiCall& call);
    CDeviceInterface& Interface(const ApiCall& call) { return *Bridge(call).DeviceInterface(); }
    CDoorLock& Lock(const ApiCall& call);
    nlohmann::json InterfaceWithMaster(CNetworkBridge& shown) const;
    nlohmann::json Locks();
    nlohmann::json ShowLock(CDoorLock& shown) const;
    nlohmann::json ShowHistory(const ApiCall& call);
    nlohmann::json Users(bool showPins);
    nlohmann::json ShowPage(unsigned bridgeId, const PropertyPage& page);
    nlohmann::json RunAction(const ApiCall& call);
    static void CheckList(const nlohmann::json& body, const std::string& shown, const PropertyPage& present);
    nlohmann::json StorePage(const ApiCall& call);
    nlohmann::json ShowExtendedPage(const ApiCall& call);
    nlohmann::json StoreExtendedPage(const ApiCall& call);
    nlohmann::json RunCommand(const ApiCall& call);
    nlohmann::json ShowStatusPage(const ApiCall& call);
    nlohmann::json StoreStatusPage(const ApiCall& call);
    nlohmann::json StoreUser(const ApiCall& call);
    nlohmann::json DeleteUser(const ApiCall& call);
    nlohmann::json EnableUser(const ApiCall& call);
    int PutUser(int slot, const UserData& user);
    int RemoveUser(int slot);
    nlohmann::json AccessJson(const AccessMatrix::Row& row) const;
    nlohmann::json GuideJson() const;
    nlohmann::json Access();
    nlohmann::json GiveAccess(const ApiCall& call);
    AccessGuide::Actions GuideActions();
    int AnnounceSlot(int slot);
    void RefuseHeld(int slot) const;
    void Publish(const char* type, const nlohmann::json& data) const;
    nlohmann::json Status();
    nlohmann::json Diagnostics();
    nlohmann::json Backup(const ApiCall& call);
    std::vector<ActivityEntry> ReadActivity(const ApiRequest& request, int highest) const;
    void Note(ActivityEntry entry) const;
    void NoteAccount(const CNetworkBridge& account, const std::string& what) const;
    void NoteLock(const CDoorLock& lock, const std::string& kind, int user, const std::string& what) const;
    std::string NameOfUser(int user);
    nlohmann::json Traces(const ApiCall& call);
    nlohmann::json TraceSwitches();
    nlohmann::json StoreTraceSwitches(const ApiCall& call);
    std::string BrowserUrl(const std::string& url) const;
    ApiResponse OAuthRedirect(const ApiRequest& request);

    System& m_system;
    Options m_options;
    ApiRouter m_router;
    AccessMatrix m_access;
    AccessGuide m_guide;
    bool m_accessChanged = true;
    int m_shownChanges = 0;                      // of what the cloud holds, as published last
    std::map<int, nlohmann::json> m_shownAccess; // by slot
    CQXTimer m_sinceStart;

    // Whether an interface is the master shows on its pages only, and building one may ask the cloud for its
    // houses. So this is what the last page showed that was asked for.
    std::map<unsigned, bool> m_masters;
    std::map<unsigned, ExtendedPage> m_extendedPages; // as last shown, for checking what comes back
    std::map<unsigned, std::string> m_shownLists;     // marks of the choices of the last page that was shown
};

} // namespace devhost
