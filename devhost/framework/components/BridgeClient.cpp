// The bridge client base: its record and its leaving of the client list. Who sets the bridge is the system's
// affair.

#include "host/DeviceInterface.h"

CBridgeClient::CBridgeClient(int interfaceType, int reserved)
    : m_iInterfaceType(interfaceType), m_iReserved(reserved)
{
}

CBridgeClient::~CBridgeClient()
{
    if (m_pNetwork)
        m_pNetwork->RemoveClient(this);
}

int CBridgeClient::ReadClientData(CQXFile* file, int /*iVersion*/)
{
    int bridgeId = 0;
    if (!file->ReadInt(&bridgeId))
        return 0;
    m_uBridgeID = static_cast<unsigned>(bridgeId);
    return file->ReadString(&m_sDeviceID) ? 1 : 0;
}

int CBridgeClient::WriteClientData(CQXFile* file, int /*iVersion*/)
{
    if (!file->WriteInt(static_cast<int>(m_uBridgeID)))
        return 0;
    return file->WriteString(m_sDeviceID) ? 1 : 0;
}
