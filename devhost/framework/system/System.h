#pragma once
// The system: what the development host is made of, behind the services that the driver asks for.

#include "devhost/framework/network/AccountHealth.h"
#include "devhost/framework/pages/OpenPages.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/Family.h"
#include "devhost/framework/system/OAuthStates.h"
#include "devhost/framework/system/Plugin.h"
#include "devhost/framework/system/Servers.h"
#include "devhost/framework/system/Worker.h"
#include "host/QXList.h"
#include "host/System.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace devhost
{

/// Is told what changed, once a round. All calls come on the host thread, and never from inside driver code.
class SystemObserver
{
public:
    virtual ~SystemObserver() = default;
    virtual void OnLockChanged(unsigned /*ComponentID*/) {}
    virtual void OnInterfacesChanged() {}
    virtual void OnPageRebuilt(unsigned /*BridgeID*/) {}
    /// @param error empty when the configuration was saved.
    virtual void OnSaved(const std::string& /*Error*/) {}
    virtual void OnRestarted() {}
};

/// What became of the stored configuration: how it was loaded and how the last save ended.
struct SaveState {
    int saves = 0;                      ///< since the start
    bool pending = false;               ///< asked for and not done yet
    std::string lastError;              ///< empty when the last one was done, or none was asked for
    bool damaged = false;               ///< when it was loaded; what was sound of it came in
    std::vector<std::string> keptAside; ///< names of damaged ones, of earlier runs too
};

/// One process has one system; it stands in TheFramework() as long as it lives. Everything is for the host
/// thread, which is the one that constructed it, except where a line says otherwise.
///
/// Order of use: construction (definitions are loaded), Start(), RunOnce() again and again, destruction.
class System : public CSystem
{
public:
    struct Options {
        std::vector<PluginEntryPoints> plugins; ///< tried in order until one creates an object
        Store* store = nullptr;                 ///< borrowed; null: nothing is loaded or saved
        SystemObserver* observer = nullptr;     ///< borrowed; may be null
        bool workers = true; ///< false: no threads; a test calls Run or single steps of the driver itself
    };

    explicit System(Options parts);
    /// Stops the workers and deletes components before interfaces and bridges. Saves nothing.
    ~System() override;

    /// Loads the configuration when there is one, initialises everything and starts workers and idle calls.
    /// @throws std::runtime_error when the stored configuration cannot be read at all.
    void Start();

    /// One round of the main loop: pages that an earlier round gave notice of, an idle call of each interface
    /// and component, then a save that was asked for, then the observer. Objects may vanish, and a restart
    /// may happen, inside each idle call.
    /// @param wakeCount how often the loop was woken since the last round. A driver takes one reply in with
    /// each idle call and wakes the loop for each, so an interface gets as many calls, and one at least.
    void RunOnce(int wakeCount = 1);

    /// Stops the workers for good, lets interfaces take in what came last, ends idle calls and saves. Called
    /// once before the destruction of a program's system.
    /// @return what went wrong with the save, empty when it is done.
    std::string Stop();

    /// Saves at once. @return what went wrong, empty on success; then the stored text is the old one.
    std::string Save();
    SaveState Saving() const;

    /// Adds an interface (an account) of a type, initialises it and starts its worker.
    /// @return its bridge, or null when no library makes the type.
    CNetworkBridge* AddInterface(int type);
    /// Stops the worker, lets the interface take in what came last, uninstalls it and deletes it with its
    /// bridge.
    /// @return false for an unknown id.
    bool RemoveInterface(unsigned bridgeId);
    /// Uninstalls a lock and deletes it, between the two halves of a restart in place, as the driver does
    /// with its own.
    /// @return false for an unknown id.
    bool RemoveLock(unsigned componentId);
    CNetworkBridge* BridgeById(unsigned bridgeId);
    /// How an account and the cloud get on; nothing for an unknown id.
    std::optional<AccountHealth::Report> Health(unsigned bridgeId);
    /// Null for an unknown id or a component that is no door lock.
    CDoorLock* LockById(unsigned componentId);
    /// Every component, family by family.
    std::vector<CSystemComponent*> Components();
    /// The definitions of interfaces and of components that the libraries contributed.
    std::vector<const CDeviceInterfaceDef*> InterfaceDefinitions() const;
    std::vector<std::pair<int, const CSystemComponentDef*>> ComponentDefinitions() const;

    /// What a lock made of the news about a user slot.
    struct SlotNews {
        unsigned lock;
        bool handled;
    };
    /// Tells every door lock that a user slot, or a user's right to any lock, changed.
    /// @return what each that was told made of it, in the order of telling.
    std::vector<SlotNews> AnnounceUserSlot(int slot);

    /// The bridge that an OAuth state value was issued for, which is used up by this; null for a value that
    /// is unknown, expired or used, or whose bridge has gone.
    CNetworkBridge* TakeOAuthState(const std::string& state);

    /// Every trace producer of the system: interfaces and components.
    std::vector<CTraceProducer*> TraceProducers();
    /// Sets and stores the switch of a producer by name, of every one that bears the name.
    void SetTrace(const std::string& name, bool enabled);
    /// Sets the switch of all producers, stored and to come.
    void SetTraceAll(bool enabled);

    OpenPages& Pages() { return m_pages; }
    SecurityServer& Security() { return m_security; }
    EventServer& Events() { return m_events; }
    TraceServer& Traces() { return m_traces; }
    IdServer& Ids() { return m_ids; }
    bool IdleCallsOn() const { return m_idleOn; }
    int Restarts() const { return m_restarts; }

    /// Puts a lock on the list of the next announcement. Any thread.
    void MarkLockChanged(unsigned componentId);

    // What the families ask for.
    std::unique_ptr<CSystemComponent> CreateComponent(CSystemComponentDef* definition);
    void OnComponentGone(unsigned componentId);

    int NBridges() override { return static_cast<int>(m_accounts.size()); }
    CBridge* Bridge(int i) override;
    int NDoorLock(COMPONENT_FILTER_TYPE filter) override;
    CDoorLock* DoorLock(int i) override;
    CSystemFamily* FamilyByFamily(int number) override;
    void NotifyWrite() override { m_savePending.store(true); }
    void NotifyConfigChanged(const char* source, int line) override;
    void NotifyInterfaceChanged() override;
    CQXString GetOAuthState(unsigned bridgeId) override;
    void OnSystemExit1(const char* source, int line, int reserved) override;
    void OnSystemInit() override;
    void OnPostSystemInit() override;

private:
    friend class Configuration;

    // A bridge with what hangs on it. The worker goes first, then the interface, then the bridge.
    struct Account {
        CNetworkBridge bridge;
        AccountHealth health;
        std::unique_ptr<CDeviceInterface> interface;
        std::unique_ptr<Worker> worker;
        Account(unsigned id, int type) : bridge(id, type), health(id) {}
    };

    void LoadDefinitions();
    Account* AttachInterface(unsigned bridgeId, int type);
    Account* AccountById(unsigned bridgeId);
    SystemFamily* FamilyOfType(int componentType) const;
    bool Holds(const CSystemComponent* component) const;
    void LinkClients();
    void ClearBridge(const CBridge& gone);
    void StartWorkers();
    void StopWorkers();
    static void TakeLastReplies(CDeviceInterface& interface);
    void RunIdleCalls(int wakeCount);
    void SaveIfAsked();
    void AnnounceChanges();

    Options m_options;
    std::thread::id m_hostThread = std::this_thread::get_id();

    IdServer m_ids;
    EventServer m_events;
    SecurityServer m_security;
    TraceServer m_traces;
    OAuthStates m_states;

    CQXObList m_interfaceDefinitions;
    std::vector<std::unique_ptr<CQXObList>> m_componentDefinitions; // one list for each family below
    std::vector<std::unique_ptr<SystemFamily>> m_families;          // those that have definitions
    std::vector<std::unique_ptr<Account>> m_accounts;
    OpenPages m_pages;

    bool m_idleOn = false;
    bool m_stopped = false; // for good
    int m_restarts = 0;
    int m_removals = 0; // of components; tells a round that pointers may have gone

    std::atomic<bool> m_savePending{false};
    bool m_saveFailed = false;
    CQXTimer m_sinceFailedSave;
    SaveState m_saving;
    bool m_keepAside = false;               // the stored text is damaged and goes aside before the next save
    std::vector<std::string> m_keptRecords; // lines of types that no library makes; saved as they are

    bool m_interfacesChanged = false;
    bool m_restarted = false;
    std::mutex m_changedMutex;
    std::set<unsigned> m_changedLocks;
};

} // namespace devhost
