#pragma once
// The development host as one object.

#include "devhost/controller/ApiToken.h"
#include "devhost/controller/ConfiguratorApi.h"
#include "devhost/controller/HttpServer.h"
#include "devhost/controller/MainLoop.h"
#include "devhost/controller/PluginLibrary.h"
#include "devhost/controller/Settings.h"
#include "devhost/controller/StateFolder.h"
#include "devhost/controller/WebPage.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/network/TlsTransport.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "devhost/framework/system/WorkerStop.h"

#include <atomic>
#include <map>
#include <memory>
#include <sys/types.h>
#include <unistd.h>

namespace devhost
{

/// Plugs the real parts into the framework, runs the main loop on the constructing thread, and takes
/// everything apart again in the right order.
class Program : private SystemObserver
{
public:
    /// @throws std::runtime_error that says why the host cannot start.
    explicit Program(const Settings& wanted);
    ~Program() override;

    /// Runs until a signal or a request ends it. What a driver throws ends it too, with a save.
    /// @return the exit status: 0, or 1 when a driver threw or the last save failed.
    int Run();

private:
    void PlugIn();
    void StartSystem();
    void PrintReady() const;
    ApiResponse Serve(const ApiRequest& request);
    nlohmann::json Restore(const ApiCall& call);
    std::string CheckRecords(const std::string& configuration);
    void DropSystem();
    std::string TryStart();
    void StartAgain() noexcept;
    void Round(int wakeCount);
    void PublishReports();
    void PublishHealth();
    void FollowAccess();
    void PublishLocks();
    void NoteHost(const char* what) { m_activity.Add({.kind = "host", .text = what}); }
    void NoteLock(unsigned componentId);
    void HideSecrets();

    void OnLockChanged(unsigned componentId) override;
    void OnInterfacesChanged() override;
    void OnPageRebuilt(unsigned bridgeId) override;
    void OnSaved(const std::string& error) override;
    void OnRestarted() override;

    // Takes the parts out of the framework again, also when the host could not be put together.
    struct Unplug {
        ~Unplug();
    };

    // In the order in which they are made; taken apart the other way round.
    Settings m_settings;
    const pid_t m_parent = getppid();
    std::atomic<bool> m_newLogEntry{false}; // set by the log as long as there is one
    std::uint64_t m_lastReport = 0;
    std::map<unsigned, std::pair<int, AccountHealth::State>> m_shownHealth; // by account: changes and state
    CQXTimer m_sinceHealth;
    CQXTimer m_sinceAccess;
    std::uint64_t m_shownLocks = 0; // of the cloud's changes
    CQXTimer m_sinceLocks;
    struct LockNote {
        std::string name, error;
        int state;
    };
    std::map<unsigned, LockNote> m_notedLocks; // as the activity told of them last
    DiagnosticLog m_log;
    WebPage m_page;
    StateFolder m_folder;
    ApiToken m_token;
    FileStore m_store;
    Database m_database;
    Activity m_activity;
    CloudPersons m_persons;
    LockHistory m_history;
    CloudHouses m_houses;
    CloudLocks m_cloudLocks; // written by the workers, which end with the system below
    TlsTransport m_transport;
    WorkerSleeper m_sleeper;
    MainLoop m_loop;
    Unplug m_unplug;
    std::unique_ptr<HttpServer> m_server; // bound early, because the redirect address names its port
    std::string m_address;
    std::unique_ptr<PluginLibrary> m_library;
    std::unique_ptr<System> m_system;
    std::unique_ptr<ConfiguratorApi> m_api;
    ApiRouter m_ownRoutes; // of what m_api cannot do, as it goes with it
};

} // namespace devhost
