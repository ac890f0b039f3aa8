// Locks as components of the controller: finding, installing, claiming and removing them, and the removal of
// the interface itself; which locks there are is learned from the device replies.

#include "cloud/Text.h"
#include "host/Servers.h"
#include "host/System.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

#include <cstdint>
#include <cstring>
#include <typeinfo>

namespace
{

CPortivo* AsPortivo(CSystemComponent* pComponent)
{
    // The type id first: it is cheap, and the family holds locks of other libraries too. So is a look at the
    // exact class, which nearly always settles it; a search looks at every lock of the house.
    if (!pComponent || pComponent->ComponentType() != kPortivoType)
        return nullptr;
    if (typeid(*pComponent) == typeid(CPortivo))
        return static_cast<CPortivo*>(pComponent);
    return dynamic_cast<CPortivo*>(pComponent);
}

// An id that is looked for; borrowed from the caller. Ids of one cloud have one length and begin alike, so
// their ends are compared first: a search looks at every id in front of the one that it finds, for every
// device of every status reply.
class CWantedID
{
public:
    explicit CWantedID(const CQXString& sID)
        : m_pText(Text(sID)), m_cb(static_cast<std::size_t>(sID.GetLength())),
          m_cbTail(m_cb < sizeof m_Tail ? 0 : sizeof m_Tail)
    {
        std::memcpy(&m_Tail, m_pText + m_cb - m_cbTail, m_cbTail);
    }

    bool Is(const CQXString& sID) const
    {
        if (static_cast<std::size_t>(sID.GetLength()) != m_cb)
            return false;
        const char* pText = Text(sID);
        if (m_cbTail == 0)
            return std::memcmp(pText, m_pText, m_cb) == 0;
        return std::memcmp(pText + m_cb - sizeof m_Tail, &m_Tail, sizeof m_Tail) == 0 &&
               std::memcmp(pText, m_pText, m_cb) == 0;
    }

private:
    const char* m_pText;
    std::size_t m_cb;
    std::uint64_t m_Tail = 0;
    std::size_t m_cbTail;
};

} // namespace

CPortivo* CVestaraInterface::NextDoorLock(CPortivo* pCurrent)
{
    const int nClients = NClients();
    if (nClients == 0)
        return nullptr;
    int iNext = 0;
    // The last client is left out: after it, and after a lock that is no client, comes the first.
    const CBridgeClient* pWanted = pCurrent;
    for (int i = 0; pWanted && i < nClients - 1; ++i) {
        if (Client(i) == pWanted) {
            iNext = i + 1;
            break;
        }
    }
    return dynamic_cast<CPortivo*>(Client(iNext));
}

CPortivo* CVestaraInterface::FindDoorLock(CQXString sDeviceID)
{
    return SearchDoorLock(sDeviceID).m_pLock;
}

CVestaraInterface::CLockSearch CVestaraInterface::SearchDoorLock(const CQXString& sDeviceID)
{
    if (sDeviceID.IsEmpty()) {
        Report(2679, FormatLine("DeviceID is missing - cannot locate DoorLock"));
        return {nullptr, -1, true};
    }
    bool bReported = false;
    const CWantedID Wanted(sDeviceID);
    const int nClients = NClients();
    for (int i = 0; i < nClients; ++i) {
        CBridgeClient* pClient = Client(i);
        if (!pClient) {
            Report(2689, FormatLine("Failed to locate Client"));
            bReported = true;
            continue;
        }
        // Ids before types: this is walked for every device of every status reply.
        if (!Wanted.Is(pClient->DeviceID()))
            continue;
        if (auto* pLock = dynamic_cast<CPortivo*>(pClient))
            return {pLock, i, bReported};
    }

    // A lock of another interface, or one whose interface is gone.
    CSystemFamily* pFamily = CSystem::Instance()->FamilyByFamily(kLockFamily);
    if (!pFamily) {
        Report(2702, FormatLine("Failed to locate Family"));
        return {nullptr, -1, true};
    }
    const int nComponents = pFamily->NComponents(COMPONENT_FILTER_ALL);
    for (int i = 0; i < nComponents; ++i) {
        CSystemComponent* pComponent = pFamily->Component(i);
        if (!pComponent) {
            Report(2708, FormatLine("Failed to locate SysComp"));
            bReported = true;
        }
        CPortivo* pLock = AsPortivo(pComponent);
        if (pLock && Wanted.Is(pLock->DeviceID()))
            return {pLock, -1, bReported};
    }
    return {nullptr, -1, bReported};
}

int CVestaraInterface::AddNewDoorLock(CQXString sDeviceID, CQXString sName)
{
    return AddDoorLock(FindDoorLock(sDeviceID), sDeviceID, sName);
}

int CVestaraInterface::AddDoorLock(CPortivo* pLock, const CQXString& sDeviceID, const CQXString& sName)
{
    if (pLock) {
        if (TraceEnabled())
            Trace(FormatLine("[%s:%s] Already exists - Claiming...", Text(sName), Text(sDeviceID)));
        ClaimDoorLock(pLock, sDeviceID);
    } else {
        pLock = CreateDoorLock(sDeviceID, sName);
        if (!pLock)
            return 0;
    }

    // A new lock registered in its OnComponentInit already, but before it had a bridge, and a claimed one for
    // its former bridge.
    pLock->RegisterEventServer();
    CSecurityServer* pSecurity = CSecurityServer::Instance();
    pSecurity->TabLayoutManager()->AppendAllTabID(pLock->ID(), 0);
    pSecurity->Update();
    pLock->Init();
    m_bNotifyInterface = 1;
    m_bNotifyConfig = 1;
    CSystem::Instance()->NotifyWrite();
    if (TraceEnabled())
        Trace(FormatLine("Successfully Added [%s:%s]", Text(sName), Text(sDeviceID)));
    return 1;
}

void CVestaraInterface::ClaimDoorLock(CPortivo* pLock, const CQXString& sDeviceID)
{
    CVestaraInterface* pFormer = pLock->Interface();
    if (pFormer && pFormer != this)
        pFormer->RemoveClient(pLock);
    // A lock keeps its cached interface as long as it has a bridge, so it is without one for a moment.
    pLock->SetBridge(nullptr);
    pLock->Init();
    AttachClient(pLock, sDeviceID);
}

void CVestaraInterface::AttachClient(CBridgeClient* pClient, const CQXString& sDeviceID)
{
    pClient->BridgeID(BridgeID());
    pClient->DeviceID(sDeviceID);
    pClient->SetBridge(NetworkBridge());
    AddClient(pClient);
}

CPortivo* CVestaraInterface::CreateDoorLock(const CQXString& sDeviceID, const CQXString& sName)
{
    CSystemFamily* pFamily = CSystem::Instance()->FamilyByFamily(kLockFamily);
    if (!pFamily)
        return nullptr;
    // No report here: the caller reports the failed installation.
    CSystemComponent* pComponent =
        pFamily->AddNewComponent(kPortivoType, sName, FACTORY_MODE_NEW, nullptr, nullptr);
    if (!pComponent)
        return nullptr;
    pComponent->ID(CIDServer::Instance()->NewID());
    // Before there is a bridge and a device id; what needs them is registered again afterwards.
    pComponent->Install();
    pComponent->OnComponentInit();

    // A component that is no client or no lock stays with the host, which made it.
    auto* pClient = dynamic_cast<CBridgeClient*>(pComponent);
    if (!pClient) {
        Report(2769, FormatLine("Failed to create bridge - could not install device"));
        return nullptr;
    }
    AttachClient(pClient, sDeviceID);
    auto* pLock = dynamic_cast<CPortivo*>(pComponent);
    if (!pLock) {
        Report(2781, FormatLine("Failed to create device - could not install device"));
        return nullptr;
    }
    pFamily->OnComponentAutoInstall(pComponent);
    return pLock;
}

void CVestaraInterface::RemoveAllDevices(int bRestart)
{
    CSystem* pSystem = CSystem::Instance();
    const int nClients = NClients();
    const int nDoorLocks = pSystem->NDoorLock(COMPONENT_FILTER_ALL);
    if (nClients == 0 && nDoorLocks == 0) {
        if (TraceEnabled())
            Trace("No clients or DoorLocks to remove");
        return;
    }
    // The host lets go of its components before they vanish, also when none of them turns out to be ours.
    if (bRestart)
        pSystem->OnSystemExit1(kInterfaceSource, 2849, 0);

    // Either the clients or, only when there are none, all locks of the host: a lock of this bridge that is
    // no client stays as long as there is a client. Backwards, so that the indexes still to come stay valid
    // while locks are deleted.
    if (nClients > 0) {
        for (int i = nClients - 1; i >= 0; --i)
            RemoveDoorLock(dynamic_cast<CPortivo*>(Client(i)));
    } else {
        for (int i = nDoorLocks - 1; i >= 0; --i)
            RemoveDoorLock(AsPortivo(pSystem->DoorLock(i)));
    }

    if (bRestart) {
        pSystem->OnSystemInit();
        pSystem->OnPostSystemInit();
    }
}

void CVestaraInterface::RemoveDoorLock(CPortivo* pLock)
{
    if (!pLock || pLock->BridgeID() != BridgeID())
        return;
    if (TraceEnabled())
        Trace(FormatLine("Deleting DoorLock: [%s][%s]", Text(pLock->Name()), Text(pLock->DeviceID())));
    pLock->UnInstall();
    if (CSystemFamily* pFamily = CSystem::Instance()->FamilyByFamily(kLockFamily))
        pFamily->DeleteComponent(pLock, nullptr);
}

int CVestaraInterface::UnInstall()
{
    RemoveAllObjects();
    RemoveAllDevices(0);
    // This interface's location is free again, so the master offers its locations from a new list. Where
    // there was no master this interface has elected itself, and its own list is empty already.
    if (!m_bMaster)
        MasterInterface()->RemoveAllLocations();
    // Nobody may keep a pointer to a master that is about to be deleted; a sibling that looks for one takes
    // the part.
    if (m_bMaster)
        CleanMasterPointers();
    m_bUnInstalled = 1;
    return CEventServer::Instance()->DeleteAllByOwner(BridgeID());
}

void CVestaraInterface::RemoveAllObjects()
{
    // Drained without adjusting the pace: the next turn does that, and by then the queues may hold new work.
    // The other thread may drain too, so the end is a missing head and not a count.
    while (NextCommand()) {
    }
    while (NextResponse()) {
    }
    RemoveAllLocations();
    RemoveAllAccessPersons();
    PurgeObfuscationList();
}
