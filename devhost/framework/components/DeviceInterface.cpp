// Bases of the account interface: its record, the host's part of a property page, the client list. Pages
// themselves are built in PropertyPage.cpp.

#include "host/DeviceInterface.h"

#include "devhost/framework/pages/PropertyPage.h"

#include <algorithm>

CDeviceInterface::CDeviceInterface(CDeviceInterfaceDef* pDefinition)
    : CBridgeClient(pDefinition->Type(), 0), m_iFlags(pDefinition->Flags())
{
}

int CDeviceInterface::ReadClientData(CQXFile* pFile, int iVersion)
{
    if (!CBridgeClient::ReadClientData(pFile, iVersion))
        return 0;
    return pFile->ReadInt(&m_iFlags) ? 1 : 0;
}

int CDeviceInterface::WriteClientData(CQXFile* pFile, int iVersion)
{
    if (!CBridgeClient::WriteClientData(pFile, iVersion))
        return 0;
    return pFile->WriteInt(m_iFlags) ? 1 : 0;
}

void CDeviceInterface::IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx)
{
    if (eDdx != PROPERTYSET_DDX_STORE || !m_pNetworkBridge)
        return;
    // A driver that names its bridge itself marks the name read-only, and then nobody else may change it.
    const CSystemProperty* pName = pSet->Property(devhost::kPropertyName);
    if (pName && !(pName->AttribBits() & devhost::kAttribReadOnly))
        m_pNetworkBridge->Name(pName->Value());
}

int CDeviceInterface::UnInstall()
{
    return 1;
}

CDeviceNetwork::CDeviceNetwork(CDeviceInterfaceDef* pDefinition, int iReserved1, unsigned uReserved2)
    : CDeviceInterface(pDefinition), m_iReserved1(iReserved1), m_uReserved2(uReserved2)
{
}

CDeviceNetwork::~CDeviceNetwork()
{
    for (int i = 0; i < NClients(); ++i)
        Client(i)->m_pNetwork = nullptr;
}

void CDeviceNetwork::AddClient(CBridgeClient* pClient)
{
    if (!pClient || pClient->m_pNetwork == this)
        return;
    // A client is in one list at most: its destructor knows only one to leave.
    if (pClient->m_pNetwork)
        pClient->m_pNetwork->RemoveClient(pClient);
    const int nClients = NClients();
    if (nClients == m_nSlots)
        Grow();
    m_pClients.load(std::memory_order_relaxed)[nClients].store(pClient, std::memory_order_release);
    m_nClients.store(nClients + 1, std::memory_order_release);
    pClient->m_pNetwork = this;
}

void CDeviceNetwork::Grow()
{
    constexpr int kFirstSlots = 16;
    const int nSlots = m_nSlots == 0 ? kFirstSlots : 2 * m_nSlots;
    auto pGrown = std::make_unique<Slot[]>(static_cast<std::size_t>(nSlots));
    for (int i = 0; i < NClients(); ++i)
        pGrown[static_cast<std::size_t>(i)].store(Client(i), std::memory_order_relaxed);
    m_pClients.store(pGrown.get(), std::memory_order_release);
    m_Buffers.push_back(std::move(pGrown));
    m_nSlots = nSlots;
}

void CDeviceNetwork::RemoveClient(CBridgeClient* pClient)
{
    if (!pClient || pClient->m_pNetwork != this)
        return;
    // Those behind it move up in their order, since drivers remove clients while they walk backwards by
    // index.
    Slot* pSlots = m_pClients.load(std::memory_order_relaxed);
    const int nLeft = NClients() - 1;
    Slot* pTo = std::find(pSlots, pSlots + nLeft, pClient);
    for (; pTo != pSlots + nLeft; ++pTo)
        pTo->store(pTo[1].load(std::memory_order_relaxed), std::memory_order_release);
    pTo->store(nullptr, std::memory_order_release);
    m_nClients.store(nLeft, std::memory_order_release);
    pClient->m_pNetwork = nullptr;
}
