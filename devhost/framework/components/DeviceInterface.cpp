// Bases of the account interface: its record, the host's part of a property page, the client list. Pages
// themselves are built in PropertyPage.cpp.

#include "host/DeviceInterface.h"

#include "devhost/framework/pages/PropertyPage.h"

#include <algorithm>

CDeviceInterface::CDeviceInterface(CDeviceInterfaceDef* definition)
    : CBridgeClient(definition->Type(), 0), m_iFlags(definition->Flags())
{
}

int CDeviceInterface::ReadClientData(CQXFile* file, int version)
{
    if (!CBridgeClient::ReadClientData(file, version))
        return 0;
    return file->ReadInt(&m_iFlags) ? 1 : 0;
}

int CDeviceInterface::WriteClientData(CQXFile* file, int version)
{
    if (!CBridgeClient::WriteClientData(file, version))
        return 0;
    return file->WriteInt(m_iFlags) ? 1 : 0;
}

void CDeviceInterface::IFaceDoPropertyExchange(CPropertySet* set, PROPERTYSET_DDX ddx)
{
    if (ddx != PROPERTYSET_DDX_STORE || !m_pNetworkBridge)
        return;
    // A driver that names its bridge itself marks the name read-only, and then nobody else may change it.
    const CSystemProperty* name = set->Property(devhost::kPropertyName);
    if (name && !(name->AttribBits() & devhost::kAttribReadOnly))
        m_pNetworkBridge->Name(name->Value());
}

int CDeviceInterface::UnInstall()
{
    return 1;
}

CDeviceNetwork::CDeviceNetwork(CDeviceInterfaceDef* definition, int reserved1, unsigned reserved2)
    : CDeviceInterface(definition), m_iReserved1(reserved1), m_uReserved2(reserved2)
{
}

CDeviceNetwork::~CDeviceNetwork()
{
    for (int i = 0; i < NClients(); ++i)
        Client(i)->m_pNetwork = nullptr;
}

void CDeviceNetwork::AddClient(CBridgeClient* client)
{
    if (!client || client->m_pNetwork == this)
        return;
    // A client is in one list at most: its destructor knows only one to leave.
    if (client->m_pNetwork)
        client->m_pNetwork->RemoveClient(client);
    const int clientCount = NClients();
    if (clientCount == m_nSlots)
        Grow();
    m_pClients.load(std::memory_order_relaxed)[clientCount].store(client, std::memory_order_release);
    m_nClients.store(clientCount + 1, std::memory_order_release);
    client->m_pNetwork = this;
}

void CDeviceNetwork::Grow()
{
    constexpr int kFirstSlots = 16;
    const int slotCount = m_nSlots == 0 ? kFirstSlots : 2 * m_nSlots;
    auto grown = std::make_unique<Slot[]>(static_cast<std::size_t>(slotCount));
    for (int i = 0; i < NClients(); ++i)
        grown[static_cast<std::size_t>(i)].store(Client(i), std::memory_order_relaxed);
    m_pClients.store(grown.get(), std::memory_order_release);
    m_Buffers.push_back(std::move(grown));
    m_nSlots = slotCount;
}

void CDeviceNetwork::RemoveClient(CBridgeClient* client)
{
    if (!client || client->m_pNetwork != this)
        return;
    // Those behind it move up in their order, since drivers remove clients while they walk backwards by
    // index.
    Slot* slots = m_pClients.load(std::memory_order_relaxed);
    const int remaining = NClients() - 1;
    Slot* to = std::find(slots, slots + remaining, client);
    for (; to != slots + remaining; ++to)
        to->store(to[1].load(std::memory_order_relaxed), std::memory_order_release);
    to->store(nullptr, std::memory_order_release);
    m_nClients.store(remaining, std::memory_order_release);
    client->m_pNetwork = nullptr;
}
