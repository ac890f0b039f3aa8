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

System::System(Options Parts) : m_Options(std::move(Parts))
{
    Framework& The = TheFramework();
    The.pSystem = this;
    The.pIDServer = &m_IDs;
    The.pEventServer = &m_Events;
    The.pSecurityServer = &m_Security;
    The.pTraceServer = &m_Traces;
    LoadDefinitions();
}

System::~System()
{
    m_IdleOn = false;
    StopWorkers();
    for (const auto& pAccount : m_Accounts)
        m_Pages.Close(pAccount->Bridge.ID());
    for (CSystemComponent* pComponent : Components()) {
        if (SystemFamily* pFamily = FamilyOfType(pComponent->ComponentType()))
            pFamily->DeleteComponent(pComponent, nullptr);
    }
    m_Families.clear();
    while (!m_Accounts.empty()) {
        // The list keeps the bridge while its interface dies, as it may still walk the bridges.
        m_Accounts.back()->pWorker.reset();
        m_Accounts.back()->Bridge.DeviceInterface(nullptr);
        m_Accounts.back()->pInterface.reset();
        m_Accounts.pop_back();
    }
    for (const auto& pList : m_ComponentDefinitions) {
        while (!pList->IsEmpty())
            delete static_cast<CSystemComponentDef*>(pList->RemoveHead());
    }
    while (!m_InterfaceDefinitions.IsEmpty())
        delete static_cast<CDeviceInterfaceDef*>(m_InterfaceDefinitions.RemoveHead());
    Framework& The = TheFramework();
    The.pSystem = nullptr;
    The.pIDServer = nullptr;
    The.pEventServer = nullptr;
    The.pSecurityServer = nullptr;
    The.pTraceServer = nullptr;
}

void System::LoadDefinitions()
{
    for (const PluginEntryPoints& Plugin : m_Options.Plugins)
        Plugin.LoadDeviceInterfaces(nullptr, &m_InterfaceDefinitions);
    for (int Family = 0; Family < kFamilies; ++Family) {
        auto pList = std::make_unique<CQXObList>();
        for (const PluginEntryPoints& Plugin : m_Options.Plugins)
            Plugin.LoadSystemComponentDefs(nullptr, Family, pList.get());
        if (pList->IsEmpty())
            continue;
        m_Families.push_back(std::make_unique<SystemFamily>(*this, Family, pList.get()));
        m_ComponentDefinitions.push_back(std::move(pList));
    }
}

std::vector<const CDeviceInterfaceDef*> System::InterfaceDefinitions() const
{
    std::vector<const CDeviceInterfaceDef*> Result;
    for (CQXPos* pPos = m_InterfaceDefinitions.GetHeadPosition(); pPos;)
        Result.push_back(static_cast<CDeviceInterfaceDef*>(m_InterfaceDefinitions.GetNext(pPos)));
    return Result;
}

std::vector<std::pair<int, const CSystemComponentDef*>> System::ComponentDefinitions() const
{
    std::vector<std::pair<int, const CSystemComponentDef*>> Result;
    for (std::size_t i = 0; i < m_Families.size(); ++i) {
        for (CQXPos* pPos = m_ComponentDefinitions[i]->GetHeadPosition(); pPos;)
            Result.emplace_back(m_Families[i]->Family(),
                                static_cast<CSystemComponentDef*>(m_ComponentDefinitions[i]->GetNext(pPos)));
    }
    return Result;
}

void System::Start()
{
    const auto Text = m_Options.pStore ? m_Options.pStore->Load() : std::nullopt;
    if (Text)
        m_KeepAside = m_Saving.Damaged = !Configuration(*this).Read(*Text);
    LinkClients();
    OnSystemInit();
    OnPostSystemInit();
}

std::string System::Stop()
{
    m_Stopped = true;
    m_IdleOn = false;
    StopWorkers();
    for (const auto& pAccount : m_Accounts)
        TakeLastReplies(*pAccount->pInterface);
    return Save();
}

// The last reply to a worker may hold tokens that replace the saved ones and those of other accounts, and
// only the host thread takes replies in, one with each call.
void System::TakeLastReplies(CDeviceInterface& Interface)
{
    for (int i = 0; i < kLastIdleCalls; ++i)
        Interface.OnInterfaceIdle();
}

std::unique_ptr<CSystemComponent> System::CreateComponent(CSystemComponentDef* pDefinition)
{
    for (const PluginEntryPoints& Plugin : m_Options.Plugins) {
        if (std::unique_ptr<CSystemComponent> pComponent{Plugin.CreateSystemComponent(pDefinition)}) {
            m_Traces.LoadStateFor(pComponent.get());
            m_InterfacesChanged = true;
            return pComponent;
        }
    }
    return nullptr;
}

void System::OnComponentGone(unsigned ComponentID)
{
    ++m_Removals;
    m_Events.DeleteBySource(ComponentID);
    m_Security.Tabs().Remove(ComponentID);
    m_InterfacesChanged = true;
    MarkLockChanged(ComponentID);
}

System::Account* System::AttachInterface(unsigned BridgeID, int Type)
{
    for (CQXPos* pPos = m_InterfaceDefinitions.GetHeadPosition(); pPos;) {
        auto* pDefinition = static_cast<CDeviceInterfaceDef*>(m_InterfaceDefinitions.GetNext(pPos));
        if (pDefinition->Type() != Type)
            continue;
        for (const PluginEntryPoints& Plugin : m_Options.Plugins) {
            std::unique_ptr<CDeviceInterface> pInterface{Plugin.CreateDeviceInterface(pDefinition)};
            if (!pInterface)
                continue;
            auto pAccount = std::make_unique<Account>(BridgeID, Type);
            pAccount->Bridge.Name(pDefinition->Name());
            // Before the record is read, because reading it already renames the bridge.
            pInterface->NetworkBridge(&pAccount->Bridge);
            pInterface->BridgeID(BridgeID);
            pInterface->SetBridge(&pAccount->Bridge);
            pAccount->Bridge.DeviceInterface(pInterface.get());
            pAccount->pInterface = std::move(pInterface);
            pAccount->pWorker = std::make_unique<Worker>(*pAccount->pInterface, pAccount->Bridge);
            // A driver names its traces when it knows its account; until then the log says whose lines they
            // are.
            pAccount->pInterface->TraceName(pDefinition->Name());
            m_Traces.LoadStateFor(pAccount->pInterface.get());
            m_InterfacesChanged = true;
            m_Accounts.push_back(std::move(pAccount));
            return m_Accounts.back().get();
        }
    }
    return nullptr;
}

CNetworkBridge* System::AddInterface(int Type)
{
    const bool bKnown = std::ranges::any_of(
        InterfaceDefinitions(), [&](const auto* pDefinition) { return pDefinition->Type() == Type; });
    Account* pAccount = bKnown ? AttachInterface(m_IDs.NewID(), Type) : nullptr;
    if (!pAccount)
        return nullptr;
    pAccount->pInterface->OnInterfaceInit();
    if (m_Options.Workers && m_IdleOn)
        pAccount->pWorker->Start();
    NotifyWrite();
    return &pAccount->Bridge;
}

bool System::RemoveInterface(unsigned BridgeID)
{
    Account* pAccount = AccountByID(BridgeID);
    if (!pAccount)
        return false;
    pAccount->pWorker->Stop();
    TakeLastReplies(*pAccount->pInterface);
    pAccount->pWorker->Stop(); // a reply may have led to a restart
    m_Pages.Close(BridgeID);
    m_States.Drop(BridgeID);
    pAccount->pInterface->UnInstall();
    ClearBridge(pAccount->Bridge);
    const auto Found = std::find_if(m_Accounts.begin(), m_Accounts.end(),
                                    [&](const auto& pHeld) { return pHeld.get() == pAccount; });
    // Out of the list before it dies, so that no sibling finds an interface that has lost its account.
    const std::unique_ptr<Account> pGone = std::move(*Found);
    m_Accounts.erase(Found);
    pGone->pWorker.reset();
    pGone->pInterface.reset();
    m_InterfacesChanged = true;
    NotifyWrite();
    return true;
}

// Locks that stay behind keep no pointer to a bridge that goes.
void System::ClearBridge(const CBridge& Gone)
{
    for (CSystemComponent* pComponent : Components()) {
        auto* pClient = dynamic_cast<CBridgeClient*>(pComponent);
        if (!pClient || pClient->BridgeID() != Gone.ID())
            continue;
        pClient->SetBridge(nullptr);
        pClient->BridgeID(0);
    }
}

void System::LinkClients()
{
    for (CSystemComponent* pComponent : Components()) {
        auto* pClient = dynamic_cast<CBridgeClient*>(pComponent);
        if (!pClient || pClient->BridgeID() == 0)
            continue;
        Account* pAccount = AccountByID(pClient->BridgeID());
        if (!pAccount) {
            const std::string Text = "component " + std::to_string(pComponent->ID()) +
                                     " refers to interface " + std::to_string(pClient->BridgeID()) +
                                     ", which is not there";
            AssertWrap("system", kReportLink, Text.c_str());
            continue;
        }
        pClient->SetBridge(&pAccount->Bridge);
        if (auto* pNetwork = dynamic_cast<CDeviceNetwork*>(pAccount->pInterface.get()))
            pNetwork->AddClient(pClient);
    }
}

System::Account* System::AccountByID(unsigned BridgeID)
{
    const auto Found = std::find_if(m_Accounts.begin(), m_Accounts.end(),
                                    [&](const auto& pAccount) { return pAccount->Bridge.ID() == BridgeID; });
    return Found == m_Accounts.end() ? nullptr : Found->get();
}

CNetworkBridge* System::BridgeByID(unsigned BridgeID)
{
    Account* pAccount = AccountByID(BridgeID);
    return pAccount ? &pAccount->Bridge : nullptr;
}

CDoorLock* System::LockByID(unsigned ComponentID)
{
    for (const auto& pFamily : m_Families) {
        for (CDoorLock* pLock : pFamily->DoorLocks()) {
            if (pLock->ID() == ComponentID)
                return pLock;
        }
    }
    return nullptr;
}

std::vector<CSystemComponent*> System::Components()
{
    std::vector<CSystemComponent*> Result;
    for (const auto& pFamily : m_Families) {
        for (int i = 0; i < pFamily->NComponents(COMPONENT_FILTER_ALL); ++i)
            Result.push_back(pFamily->Component(i));
    }
    return Result;
}

SystemFamily* System::FamilyOfType(int ComponentType) const
{
    const auto Found = std::find_if(m_Families.begin(), m_Families.end(), [&](const auto& pFamily) {
        return pFamily->Definition(ComponentType) != nullptr;
    });
    return Found == m_Families.end() ? nullptr : Found->get();
}

bool System::Holds(const CSystemComponent* pComponent) const
{
    return std::any_of(m_Families.begin(), m_Families.end(),
                       [&](const auto& pFamily) { return pFamily->Contains(pComponent); });
}

int System::AnnounceUserSlot(int Slot)
{
    int nHandled = 0;
    for (CSystemComponent* pComponent : Components()) {
        auto* pLock = dynamic_cast<CDoorLock*>(pComponent);
        if (!pLock)
            continue;
        // Slots go to installed locks only: one without a bridge has no cloud to send them to.
        const auto* pClient = dynamic_cast<CBridgeClient*>(pComponent);
        if (!pClient || pClient->Bridge())
            nHandled += pLock->SendHardwareSlotConfig(Slot, nullptr);
    }
    return nHandled;
}

CNetworkBridge* System::TakeOAuthState(const std::string& State)
{
    return BridgeByID(m_States.Take(State));
}

std::vector<CTraceProducer*> System::TraceProducers()
{
    std::vector<CTraceProducer*> Result;
    for (const auto& pAccount : m_Accounts)
        Result.push_back(pAccount->pInterface.get());
    for (CSystemComponent* pComponent : Components())
        Result.push_back(pComponent);
    return Result;
}

void System::SetTrace(const std::string& Name, bool Enabled)
{
    m_Traces.Store(Name, Enabled);
    for (CTraceProducer* pProducer : TraceProducers()) {
        if (pProducer->TraceName().Compare(Name.c_str()) == 0)
            pProducer->TraceEnabled(Enabled);
    }
    NotifyWrite();
}

void System::SetTraceAll(bool Enabled)
{
    m_Traces.Clear();
    m_Traces.Default(Enabled);
    for (CTraceProducer* pProducer : TraceProducers())
        pProducer->TraceEnabled(Enabled);
    NotifyWrite();
}

void System::MarkLockChanged(unsigned ComponentID)
{
    const std::lock_guard Guard(m_ChangedMutex);
    m_ChangedLocks.insert(ComponentID);
}

CBridge* System::Bridge(int i)
{
    return i >= 0 && i < NBridges() ? &m_Accounts[static_cast<std::size_t>(i)]->Bridge : nullptr;
}

int System::NDoorLock(COMPONENT_FILTER_TYPE /*eFilter*/)
{
    std::size_t nLocks = 0;
    for (const auto& pFamily : m_Families)
        nLocks += pFamily->DoorLocks().size();
    return static_cast<int>(nLocks);
}

CDoorLock* System::DoorLock(int i)
{
    if (i < 0)
        return nullptr;
    auto Index = static_cast<std::size_t>(i);
    for (const auto& pFamily : m_Families) {
        if (Index < pFamily->DoorLocks().size())
            return pFamily->DoorLocks()[Index];
        Index -= pFamily->DoorLocks().size();
    }
    return nullptr;
}

CSystemFamily* System::FamilyByFamily(int iFamily)
{
    const auto Found = std::find_if(m_Families.begin(), m_Families.end(),
                                    [&](const auto& pFamily) { return pFamily->Family() == iFamily; });
    return Found == m_Families.end() ? nullptr : Found->get();
}

CQXString System::GetOAuthState(unsigned uBridgeID)
{
    return AccountByID(uBridgeID) ? CQXString(m_States.Issue(uBridgeID).c_str()) : CQXString();
}

} // namespace devhost
