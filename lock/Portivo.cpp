// The lock object: construction, its interface, its record, its names and its housekeeping; states,
// supervision and commands have files of their own.

#include "lock/Portivo.h"

#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

namespace
{

// Bits 30 and 28 of the host's flag word; only the host reads them.
constexpr unsigned kComponentFlagBits = 1u << 30 | 1u << 28;

// For the door-lock base: a lock behind a bridge, not a wired one.
constexpr int kRemoteLock = 1;

constexpr int kConnectionByCloud = 4;

constexpr std::uint32_t kWriteStateDelayMs = 5000;
constexpr std::uint32_t kHousekeepingMs = 3000;

} // namespace

CPortivo::CPortivo(CSystemComponentDef* pDefinition)
    : CDoorLock(pDefinition), CBridgeClient(kVestaraInterfaceType, 0)
{
    RemoteLock(kRemoteLock);
    SetComponentFlagBits(kComponentFlagBits);
}

int CPortivo::Report(int iNumber, CQXString sText)
{
    AssertWrap(kLockSource, iNumber, sText);
    return 0;
}

void CPortivo::Init()
{
    CBridge* pBridge = Bridge();
    if (!pBridge)
        m_pInterface = nullptr;
    else if (!m_pInterface)
        m_pInterface = dynamic_cast<CVestaraInterface*>(pBridge->DeviceInterface());
}

CVestaraInterface* CPortivo::Interface()
{
    Init();
    return m_pInterface;
}

int CPortivo::ConnectionType()
{
    return kConnectionByCloud;
}

int CPortivo::ReadData(CQXFile* pFile, int iVersion)
{
    if (!CDoorLock::ReadData(pFile, iVersion) || !ReadClientData(pFile, iVersion))
        return 0;
    // Unlike the interface's record, a lock's has had both numbers in every version.
    if (!pFile->ReadInt(&m_iReserved) || !pFile->ReadInt(&m_iLowBattery))
        return 0;
    UpdateTraceName();
    return 1;
}

int CPortivo::WriteData(CQXFile* pFile, int iVersion)
{
    if (!CDoorLock::WriteData(pFile, iVersion) || !WriteClientData(pFile, iVersion))
        return 0;
    return pFile->WriteInt(m_iReserved) && pFile->WriteInt(m_iLowBattery) ? 1 : 0;
}

int CPortivo::UnInstall()
{
    CVestaraInterface* pInterface = Interface();
    if (pInterface && pInterface->NClients() > 0)
        pInterface->RemoveClient(this);
    return CDoorLock::UnInstall();
}

void CPortivo::OnComponentInit()
{
    // The component's step; the door lock's own is left out.
    CSystemComponent::OnComponentInit();
    Init();
    RegisterEventServer();
}

void CPortivo::OnPostSystemInit()
{
    CDoorLock::OnPostSystemInit();
    Init();
    RegisterEventServer();
}

int CPortivo::CommandStackEmpty()
{
    // Replies that wait, and the command under way, are not counted.
    CVestaraInterface* pInterface = Interface();
    return !pInterface || pInterface->NCommands() == 0 ? 1 : 0;
}

void CPortivo::RegisterEventServer()
{
    CDoorLock::RegisterEventServer();
}

void CPortivo::RegisterWorking(int bWorking)
{
    CDoorLock::RegisterWorking(bWorking);
}

void CPortivo::RegisterUnknownState()
{
    CDoorLock::RegisterUnknownState();
}

void CPortivo::RegisterErrorState(CQXString sError)
{
    CDoorLock::RegisterErrorState(std::move(sError));
}

void CPortivo::UpdateTraceName()
{
    // Put together without the formatter: this runs for every lock of every status reply.
    CQXString sName("Portivo (");
    sName += Name();
    sName += ")";
    TraceName(std::move(sName));
}

void CPortivo::DeviceName(CQXString sName)
{
    if (sName.IsEmpty() || sName.Compare(Name()) == 0)
        return;
    Name(std::move(sName));
    UpdateTraceName();
    m_bNotifyConfig = 1;
    CSystem::Instance()->NotifyWrite();
}

void CPortivo::DoHousekeeping()
{
    if (m_bWriteStatePending && m_tmrWriteState.QXTickCount() > kWriteStateDelayMs) {
        CDoorLock::WriteState();
        m_bWriteStatePending = 0;
    }
    if (m_tmrHousekeeping.QXTickCount() <= kHousekeepingMs)
        return;
    Init();
    if (m_bNotifyConfig) {
        CSystem::Instance()->NotifyConfigChanged(kLockSource, 274);
        m_bNotifyConfig = 0;
    }
    m_tmrHousekeeping.Restart();
}
