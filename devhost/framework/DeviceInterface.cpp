// Bases of the account interface: its record, the host's part of a property page, the client list. Pages
// themselves are built in PropertyPage.cpp.

#include "host/DeviceInterface.h"

#include "devhost/framework/PropertyPage.h"

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
    for (CBridgeClient* pClient : m_Clients)
        pClient->m_pNetwork = nullptr;
}

void CDeviceNetwork::AddClient(CBridgeClient* pClient)
{
    if (!pClient || pClient->m_pNetwork == this)
        return;
    // A client is in one list at most: its destructor knows only one to leave.
    if (pClient->m_pNetwork)
        pClient->m_pNetwork->RemoveClient(pClient);
    m_Clients.push_back(pClient);
    pClient->m_pNetwork = this;
}

void CDeviceNetwork::RemoveClient(CBridgeClient* pClient)
{
    if (!pClient || pClient->m_pNetwork != this)
        return;
    std::erase(m_Clients, pClient);
    pClient->m_pNetwork = nullptr;
}
