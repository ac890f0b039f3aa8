// The bridge client base: its record and its leaving of the client list. Who sets the bridge is the system's
// affair.

#include "host/DeviceInterface.h"

CBridgeClient::CBridgeClient(int iInterfaceType, int iReserved)
    : m_iInterfaceType(iInterfaceType), m_iReserved(iReserved)
{
}

CBridgeClient::~CBridgeClient()
{
    if (m_pNetwork)
        m_pNetwork->RemoveClient(this);
}

int CBridgeClient::ReadClientData(CQXFile* pFile, int /*iVersion*/)
{
    int iBridgeID = 0;
    if (!pFile->ReadInt(&iBridgeID))
        return 0;
    m_uBridgeID = static_cast<unsigned>(iBridgeID);
    return pFile->ReadString(&m_sDeviceID) ? 1 : 0;
}

int CBridgeClient::WriteClientData(CQXFile* pFile, int /*iVersion*/)
{
    if (!pFile->WriteInt(static_cast<int>(m_uBridgeID)))
        return 0;
    return pFile->WriteString(m_sDeviceID) ? 1 : 0;
}
