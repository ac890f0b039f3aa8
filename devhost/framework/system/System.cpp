// The system: its objects, their life, and the main loop's round. The configuration's form is
// Configuration.cpp's, pages are OpenPages.cpp's.

#include "devhost/framework/system/System.h"

#include "devhost/framework/record/Configuration.h"
#include "devhost/framework/seams/Framework.h"

#include <algorithm>

namespace devhost
{

namespace
{

// Every family is offered to every library; a library answers for those that it knows.
constexpr int kFamilies = 64;

constexpr int kReportLink = 1;

// A worker that stops leaves one reply behind those that the last round had not come to.
constexpr int kLastIdleCalls = 16;

} // namespace

System::System(Options parts) : m_options(std::move(parts))
{
    Framework& the = TheFramework();
    the.system = this;
    the.idServer = &m_ids;
    the.eventServer = &m_events;
    the.securityServer = &m_security;
    the.traceServer = &m_traces;
    LoadDefinitions();
}

System::~System()
{
    m_idleOn = false;
    StopWorkers();
    for (const auto& account : m_accounts)
        m_pages.Close(account->bridge.ID());
    for (CSystemComponent* component : Components()) {
        if (SystemFamily* family = FamilyOfType(component->ComponentType()))
            family->DeleteComponent(component, nullptr);
    }
    m_families.clear();
    while (!m_accounts.empty()) {
        // The list keeps the bridge while its interface dies, as it may still walk the bridges.
        m_accounts.back()->worker.reset();
        m_accounts.back()->bridge.DeviceInterface(nullptr);
        m_accounts.back()->interface.reset();
        m_accounts.pop_back();
    }
    for (const auto& list : m_componentDefinitions) {
        while (!list->IsEmpty())
            delete static_cast<CSystemComponentDef*>(list->RemoveHead());
    }
    while (!m_interfaceDefinitions.IsEmpty())
        delete static_cast<CDeviceInterfaceDef*>(m_interfaceDefinitions.RemoveHead());
    Framework& the = TheFramework();
    the.system = nullptr;
    the.idServer = nullptr;
    the.eventServer = nullptr;
    the.securityServer = nullptr;
    the.traceServer = nullptr;
}

void System::LoadDefinitions()
{
    for (const PluginEntryPoints& plugin : m_options.plugins)
        plugin.loadDeviceInterfaces(nullptr, &m_interfaceDefinitions);
    for (int family = 0; family < kFamilies; ++family) {
        auto list = std::make_unique<CQXObList>();
        for (const PluginEntryPoints& plugin : m_options.plugins)
            plugin.loadSystemComponentDefs(nullptr, family, list.get());
        if (list->IsEmpty())
            continue;
        m_families.push_back(std::make_unique<SystemFamily>(*this, family, list.get()));
        m_componentDefinitions.push_back(std::move(list));
    }
}

std::vector<const CDeviceInterfaceDef*> System::InterfaceDefinitions() const
{
    std::vector<const CDeviceInterfaceDef*> result;
    for (CQXPos* pos = m_interfaceDefinitions.GetHeadPosition(); pos;)
        result.push_back(static_cast<CDeviceInterfaceDef*>(m_interfaceDefinitions.GetNext(pos)));
    return result;
}

std::vector<std::pair<int, const CSystemComponentDef*>> System::ComponentDefinitions() const
{
    std::vector<std::pair<int, const CSystemComponentDef*>> result;
    for (std::size_t i = 0; i < m_families.size(); ++i) {
        for (CQXPos* pos = m_componentDefinitions[i]->GetHeadPosition(); pos;)
            result.emplace_back(m_families[i]->Family(),
                                static_cast<CSystemComponentDef*>(m_componentDefinitions[i]->GetNext(pos)));
    }
    return result;
}

void System::Start()
{
    const auto text = m_options.store ? m_options.store->Load() : std::nullopt;
    if (text)
        m_keepAside = m_saving.damaged = !Configuration(*this).Read(*text);
    LinkClients();
    OnSystemInit();
    OnPostSystemInit();
}

std::string System::Stop()
{
    m_stopped = true;
    m_idleOn = false;
    StopWorkers();
    for (const auto& account : m_accounts)
        TakeLastReplies(*account->interface);
    return Save();
}

// The last reply to a worker may hold tokens that replace the saved ones and those of other accounts, and
// only the host thread takes replies in, one with each call.
void System::TakeLastReplies(CDeviceInterface& interface)
{
    for (int i = 0; i < kLastIdleCalls; ++i)
        interface.OnInterfaceIdle();
}

std::unique_ptr<CSystemComponent> System::CreateComponent(CSystemComponentDef* definition)
{
    for (const PluginEntryPoints& plugin : m_options.plugins) {
        if (std::unique_ptr<CSystemComponent> component{plugin.createSystemComponent(definition)}) {
            m_traces.LoadStateFor(component.get());
            m_interfacesChanged = true;
            return component;
        }
    }
    return nullptr;
}

void System::OnComponentGone(unsigned componentId)
{
    ++m_removals;
    m_events.DeleteBySource(componentId);
    m_security.Tabs().Remove(componentId);
    m_interfacesChanged = true;
    MarkLockChanged(componentId);
}

System::Account* System::AttachInterface(unsigned bridgeId, int type)
{
    for (CQXPos* pos = m_interfaceDefinitions.GetHeadPosition(); pos;) {
        auto* definition = static_cast<CDeviceInterfaceDef*>(m_interfaceDefinitions.GetNext(pos));
        if (definition->Type() != type)
            continue;
        for (const PluginEntryPoints& plugin : m_options.plugins) {
            std::unique_ptr<CDeviceInterface> interface {
                plugin.createDeviceInterface(definition)
            };
            if (!interface)
                continue;
            auto account = std::make_unique<Account>(bridgeId, type);
            account->bridge.Name(definition->Name());
            // Before the record is read, because reading it already renames the bridge.
            interface->NetworkBridge(&account->bridge);
            interface->BridgeID(bridgeId);
            interface->SetBridge(&account->bridge);
            account->bridge.DeviceInterface(interface.get());
            account->interface = std::move(interface);
            account->worker = std::make_unique<Worker>(*account->interface, account->bridge, account->health);
            // A driver names its traces when it knows its account; until then the log says whose lines they
            // are.
            account->interface->TraceName(definition->Name());
            m_traces.LoadStateFor(account->interface.get());
            m_interfacesChanged = true;
            m_accounts.push_back(std::move(account));
            return m_accounts.back().get();
        }
    }
    return nullptr;
}

CNetworkBridge* System::AddInterface(int type)
{
    const bool known = std::ranges::any_of(
        InterfaceDefinitions(), [&](const auto* definition) { return definition->Type() == type; });
    Account* account = known ? AttachInterface(m_ids.NewID(), type) : nullptr;
    if (!account)
        return nullptr;
    account->interface->OnInterfaceInit();
    if (m_options.workers && m_idleOn)
        account->worker->Start();
    NotifyWrite();
    return &account->bridge;
}

bool System::RemoveInterface(unsigned bridgeId)
{
    Account* account = AccountById(bridgeId);
    if (!account)
        return false;
    account->worker->Stop();
    TakeLastReplies(*account->interface);
    account->worker->Stop(); // a reply may have led to a restart
    m_pages.Close(bridgeId);
    m_states.Drop(bridgeId);
    account->interface->UnInstall();
    ClearBridge(account->bridge);
    const auto found = std::find_if(m_accounts.begin(), m_accounts.end(),
                                    [&](const auto& held) { return held.get() == account; });
    // Out of the list before it dies, so that no sibling finds an interface that has lost its account.
    const std::unique_ptr<Account> gone = std::move(*found);
    m_accounts.erase(found);
    gone->worker.reset();
    gone->interface.reset();
    m_interfacesChanged = true;
    NotifyWrite();
    return true;
}

bool System::RemoveLock(unsigned componentId)
{
    CDoorLock* lock = LockById(componentId);
    if (!lock)
        return false;
    // The account's worker may walk its locks at any time.
    OnSystemExit1("configurator", 2, 0);
    lock->UnInstall();
    FamilyOfType(lock->ComponentType())->DeleteComponent(lock, nullptr);
    OnSystemInit();
    OnPostSystemInit();
    NotifyWrite();
    return true;
}

// Locks that stay behind keep no pointer to a bridge that goes.
void System::ClearBridge(const CBridge& gone)
{
    for (CSystemComponent* component : Components()) {
        auto* client = dynamic_cast<CBridgeClient*>(component);
        if (!client || client->BridgeID() != gone.ID())
            continue;
        client->SetBridge(nullptr);
        client->BridgeID(0);
    }
}

void System::LinkClients()
{
    for (CSystemComponent* component : Components()) {
        auto* client = dynamic_cast<CBridgeClient*>(component);
        if (!client || client->BridgeID() == 0)
            continue;
        Account* account = AccountById(client->BridgeID());
        if (!account) {
            const std::string text = "component " + std::to_string(component->ID()) +
                                     " refers to interface " + std::to_string(client->BridgeID()) +
                                     ", which is not there";
            AssertWrap("system", kReportLink, text.c_str());
            continue;
        }
        client->SetBridge(&account->bridge);
        if (auto* network = dynamic_cast<CDeviceNetwork*>(account->interface.get()))
            network->AddClient(client);
    }
}

System::Account* System::AccountById(unsigned bridgeId)
{
    const auto found = std::find_if(m_accounts.begin(), m_accounts.end(),
                                    [&](const auto& account) { return account->bridge.ID() == bridgeId; });
    return found == m_accounts.end() ? nullptr : found->get();
}

CNetworkBridge* System::BridgeById(unsigned bridgeId)
{
    Account* account = AccountById(bridgeId);
    return account ? &account->bridge : nullptr;
}

std::optional<AccountHealth::Report> System::Health(unsigned bridgeId)
{
    const Account* account = AccountById(bridgeId);
    return account ? std::optional(account->health.Now()) : std::nullopt;
}

CDoorLock* System::LockById(unsigned componentId)
{
    for (const auto& family : m_families) {
        for (CDoorLock* lock : family->DoorLocks()) {
            if (lock->ID() == componentId)
                return lock;
        }
    }
    return nullptr;
}

std::vector<CSystemComponent*> System::Components()
{
    std::vector<CSystemComponent*> result;
    for (const auto& family : m_families) {
        for (int i = 0; i < family->NComponents(COMPONENT_FILTER_ALL); ++i)
            result.push_back(family->Component(i));
    }
    return result;
}

SystemFamily* System::FamilyOfType(int componentType) const
{
    const auto found = std::find_if(m_families.begin(), m_families.end(), [&](const auto& family) {
        return family->Definition(componentType) != nullptr;
    });
    return found == m_families.end() ? nullptr : found->get();
}

bool System::Holds(const CSystemComponent* component) const
{
    return std::any_of(m_families.begin(), m_families.end(),
                       [&](const auto& family) { return family->Contains(component); });
}

std::vector<System::SlotNews> System::AnnounceUserSlot(int slot)
{
    std::vector<SlotNews> result;
    for (CSystemComponent* component : Components()) {
        auto* lock = dynamic_cast<CDoorLock*>(component);
        if (!lock)
            continue;
        // Slots go to installed locks only: one without a bridge has no cloud to send them to.
        const auto* client = dynamic_cast<CBridgeClient*>(component);
        if (!client || client->Bridge())
            result.push_back({lock->ID(), lock->SendHardwareSlotConfig(slot, nullptr) != 0});
    }
    return result;
}

CNetworkBridge* System::TakeOAuthState(const std::string& state)
{
    return BridgeById(m_states.Take(state));
}

std::vector<CTraceProducer*> System::TraceProducers()
{
    std::vector<CTraceProducer*> result;
    for (const auto& account : m_accounts)
        result.push_back(account->interface.get());
    for (CSystemComponent* component : Components())
        result.push_back(component);
    return result;
}

void System::SetTrace(const std::string& name, bool enabled)
{
    m_traces.Store(name, enabled);
    for (CTraceProducer* producer : TraceProducers()) {
        if (producer->TraceName().Compare(name.c_str()) == 0)
            producer->TraceEnabled(enabled);
    }
    NotifyWrite();
}

void System::SetTraceAll(bool enabled)
{
    m_traces.Clear();
    m_traces.Default(enabled);
    for (CTraceProducer* producer : TraceProducers())
        producer->TraceEnabled(enabled);
    NotifyWrite();
}

void System::MarkLockChanged(unsigned componentId)
{
    const std::lock_guard guard(m_changedMutex);
    m_changedLocks.insert(componentId);
}

CBridge* System::Bridge(int i)
{
    return i >= 0 && i < NBridges() ? &m_accounts[static_cast<std::size_t>(i)]->bridge : nullptr;
}

int System::NDoorLock(COMPONENT_FILTER_TYPE /*eFilter*/)
{
    std::size_t lockCount = 0;
    for (const auto& family : m_families)
        lockCount += family->DoorLocks().size();
    return static_cast<int>(lockCount);
}

CDoorLock* System::DoorLock(int i)
{
    if (i < 0)
        return nullptr;
    auto index = static_cast<std::size_t>(i);
    for (const auto& family : m_families) {
        if (index < family->DoorLocks().size())
            return family->DoorLocks()[index];
        index -= family->DoorLocks().size();
    }
    return nullptr;
}

CSystemFamily* System::FamilyByFamily(int number)
{
    const auto found = std::find_if(m_families.begin(), m_families.end(),
                                    [&](const auto& family) { return family->Family() == number; });
    return found == m_families.end() ? nullptr : found->get();
}

CQXString System::GetOAuthState(unsigned bridgeId)
{
    return AccountById(bridgeId) ? CQXString(m_states.Issue(bridgeId).c_str()) : CQXString();
}

} // namespace devhost
