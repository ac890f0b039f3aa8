#pragma once
// The system: what the development host is made of, behind the services that the driver asks for.

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
    /// @param Error empty when the configuration was saved.
    virtual void OnSaved(const std::string& /*Error*/) {}
    virtual void OnRestarted() {}
};

/// What became of the stored configuration: how it was loaded and how the last save ended.
struct SaveState {
    int Saves = 0;                      ///< since the start
    bool Pending = false;               ///< asked for and not done yet
    std::string LastError;              ///< empty when the last one was done, or none was asked for
    bool Damaged = false;               ///< when it was loaded; what was sound of it came in
    std::vector<std::string> KeptAside; ///< names of damaged ones, of earlier runs too
};

/// One process has one system; it stands in TheFramework() as long as it lives. Everything is for the host
/// thread, which is the one that constructed it, except where a line says otherwise.
///
/// Order of use: construction (definitions are loaded), Start(), RunOnce() again and again, destruction.
class System : public CSystem
{
public:
    struct Options {
        std::vector<PluginEntryPoints> Plugins; ///< tried in order until one creates an object
        Store* pStore = nullptr;                ///< borrowed; null: nothing is loaded or saved
        SystemObserver* pObserver = nullptr;    ///< borrowed; may be null
        bool Workers = true; ///< false: no threads; a test calls Run or single steps of the driver itself
    };

    explicit System(Options Parts);
    /// Stops the workers and deletes components before interfaces and bridges. Saves nothing.
    ~System() override;

    /// Loads the configuration when there is one, initialises everything and starts workers and idle calls.
    /// @throws std::runtime_error when the stored configuration cannot be read at all.
    void Start();

    /// One round of the main loop: pages that an earlier round gave notice of, an idle call of each interface
    /// and component, then a save that was asked for, then the observer. Objects may vanish, and a restart
    /// may happen, inside each idle call.
    /// @param nWakes how often the loop was woken since the last round. A driver takes one reply in with each
    /// idle call and wakes the loop for each, so an interface gets as many calls, and one at least.
    void RunOnce(int nWakes = 1);

    /// Stops the workers for good, lets interfaces take in what came last, ends idle calls and saves. Called
    /// once before the destruction of a program's system.
    /// @return what went wrong with the save, empty when it is done.
    std::string Stop();

    /// Saves at once. @return what went wrong, empty on success; then the stored text is the old one.
    std::string Save();
    SaveState Saving() const;

    /// Adds an interface (an account) of a type, initialises it and starts its worker.
    /// @return its bridge, or null when no library makes the type.
    CNetworkBridge* AddInterface(int Type);
    /// Stops the worker, lets the interface take in what came last, uninstalls it and deletes it with its
    /// bridge.
    /// @return false for an unknown id.
    bool RemoveInterface(unsigned BridgeID);
    CNetworkBridge* BridgeByID(unsigned BridgeID);
    /// Null for an unknown id or a component that is no door lock.
    CDoorLock* LockByID(unsigned ComponentID);
    /// Every component, family by family.
    std::vector<CSystemComponent*> Components();
    /// The definitions of interfaces and of components that the libraries contributed.
    std::vector<const CDeviceInterfaceDef*> InterfaceDefinitions() const;
    std::vector<std::pair<int, const CSystemComponentDef*>> ComponentDefinitions() const;

    /// Tells every door lock that a user slot, or a user's right to any lock, changed.
    /// @return how many locks handled it.
    int AnnounceUserSlot(int Slot);

    /// The bridge that an OAuth state value was issued for, which is used up by this; null for a value that
    /// is unknown, expired or used, or whose bridge has gone.
    CNetworkBridge* TakeOAuthState(const std::string& State);

    /// Every trace producer of the system: interfaces and components.
    std::vector<CTraceProducer*> TraceProducers();
    /// Sets and stores the switch of a producer by name, of every one that bears the name.
    void SetTrace(const std::string& Name, bool Enabled);
    /// Sets the switch of all producers, stored and to come.
    void SetTraceAll(bool Enabled);

    OpenPages& Pages() { return m_Pages; }
    SecurityServer& Security() { return m_Security; }
    EventServer& Events() { return m_Events; }
    TraceServer& Traces() { return m_Traces; }
    IDServer& IDs() { return m_IDs; }
    bool IdleCallsOn() const { return m_IdleOn; }
    int Restarts() const { return m_Restarts; }

    /// Puts a lock on the list of the next announcement. Any thread.
    void MarkLockChanged(unsigned ComponentID);

    // What the families ask for.
    std::unique_ptr<CSystemComponent> CreateComponent(CSystemComponentDef* pDefinition);
    void OnComponentGone(unsigned ComponentID);

    int NBridges() override { return static_cast<int>(m_Accounts.size()); }
    CBridge* Bridge(int i) override;
    int NDoorLock(COMPONENT_FILTER_TYPE eFilter) override;
    CDoorLock* DoorLock(int i) override;
    CSystemFamily* FamilyByFamily(int iFamily) override;
    void NotifyWrite() override { m_SavePending.store(true); }
    void NotifyConfigChanged(const char* pSource, int iLine) override;
    void NotifyInterfaceChanged() override;
    CQXString GetOAuthState(unsigned uBridgeID) override;
    void OnSystemExit1(const char* pSource, int iLine, int iReserved) override;
    void OnSystemInit() override;
    void OnPostSystemInit() override;

private:
    friend class Configuration;

    // A bridge with what hangs on it. The worker goes first, then the interface, then the bridge.
    struct Account {
        CNetworkBridge Bridge;
        std::unique_ptr<CDeviceInterface> pInterface;
        std::unique_ptr<Worker> pWorker;
        Account(unsigned ID, int Type) : Bridge(ID, Type) {}
    };

    void LoadDefinitions();
    Account* AttachInterface(unsigned BridgeID, int Type);
    Account* AccountByID(unsigned BridgeID);
    SystemFamily* FamilyOfType(int ComponentType) const;
    bool Holds(const CSystemComponent* pComponent) const;
    void LinkClients();
    void ClearBridge(const CBridge& Gone);
    void StartWorkers();
    void StopWorkers();
    static void TakeLastReplies(CDeviceInterface& Interface);
    void RunIdleCalls(int nWakes);
    void SaveIfAsked();
    void AnnounceChanges();

    Options m_Options;
    std::thread::id m_HostThread = std::this_thread::get_id();

    IDServer m_IDs;
    EventServer m_Events;
    SecurityServer m_Security;
    TraceServer m_Traces;
    OAuthStates m_States;

    CQXObList m_InterfaceDefinitions;
    std::vector<std::unique_ptr<CQXObList>> m_ComponentDefinitions; // one list for each family below
    std::vector<std::unique_ptr<SystemFamily>> m_Families;          // those that have definitions
    std::vector<std::unique_ptr<Account>> m_Accounts;
    OpenPages m_Pages;

    bool m_IdleOn = false;
    bool m_Stopped = false; // for good
    int m_Restarts = 0;
    int m_Removals = 0; // of components; tells a round that pointers may have gone

    std::atomic<bool> m_SavePending{false};
    bool m_SaveFailed = false;
    CQXTimer m_SinceFailedSave;
    SaveState m_Saving;
    bool m_KeepAside = false;               // the stored text is damaged and goes aside before the next save
    std::vector<std::string> m_KeptRecords; // lines of types that no library makes; saved as they are

    bool m_InterfacesChanged = false;
    bool m_Restarted = false;
    std::mutex m_ChangedMutex;
    std::set<unsigned> m_ChangedLocks;
};

} // namespace devhost
