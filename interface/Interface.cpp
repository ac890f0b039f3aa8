// Object, persisted record and start of the account interface; what its record and its loops mean is left to
// the folders that define the other members.

#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

namespace
{

// Two numbers of the device network's constructor; only the host knows their meaning.
constexpr int kNetworkNumber1 = 15000;
constexpr unsigned kNetworkNumber2 = 1000;

// Set in the host's flag word at construction, and again after a record was read, which replaces the word.
constexpr int kInterfaceFlagBits = 0x4000 | 0x4000000;

// Until the first token reply says otherwise.
constexpr int kDefaultTokenLifetimeSeconds = 7200;

// Records up to this version end before the redirect schema.
constexpr int kLastVersionWithoutSchema = 1460;

// Both polls come about two seconds after a start: they fall due past 15 s and past 60 s.
constexpr std::uint32_t kStatusPollHeadStartMs = 13000;
constexpr std::uint32_t kAccessPollHeadStartMs = 58000;

} // namespace

CVestaraInterface::CVestaraInterface(CDeviceInterfaceDef* pDefinition)
    : CDeviceNetwork(pDefinition, kNetworkNumber1, kNetworkNumber2),
      m_iTokenLifetime(kDefaultTokenLifetimeSeconds)
{
    AdjustTickRate();
    UpdateAuthURL();
    InitTimers();
    SetFlagBits(kInterfaceFlagBits);
}

CVestaraInterface::~CVestaraInterface()
{
    RemoveAllObjects();
}

int CVestaraInterface::Report(int iNumber, CQXString sText)
{
    AssertWrap(kInterfaceSource, iNumber, sText);
    return 0;
}

CVestaraInterface* CVestaraInterface::Sibling(int iBridge)
{
    CBridge* pBridge = CSystem::Instance()->Bridge(iBridge);
    if (!pBridge || pBridge->InterfaceType() != kVestaraInterfaceType)
        return nullptr;
    return dynamic_cast<CVestaraInterface*>(pBridge->DeviceInterface());
}

int CVestaraInterface::WriteClientData(CQXFile* pFile, int iVersion)
{
    if (!CDeviceInterface::WriteClientData(pFile, iVersion))
        return 0;
    for (const CSharedText* pText : {&m_sRefreshToken, &m_sAccessToken, &m_sLocationID, &m_sLocationName}) {
        if (!pFile->WriteString(pText->Get()))
            return 0;
    }
    // A record is always written in its newest form, whatever version the host names.
    return pFile->WriteInt(m_bMaster) && pFile->WriteInt(m_iRedirectSchema) ? 1 : 0;
}

int CVestaraInterface::ReadClientData(CQXFile* pFile, int iVersion)
{
    // Stored one by one, so that a record that ends early leaves what it did carry in place.
    if (!CDeviceInterface::ReadClientData(pFile, iVersion))
        return 0;
    for (CSharedText* pText : {&m_sRefreshToken, &m_sAccessToken, &m_sLocationID, &m_sLocationName}) {
        CQXString sText;
        if (!pFile->ReadString(&sText))
            return 0;
        pText->Set(std::move(sText));
    }
    int bMaster = 0;
    if (!pFile->ReadInt(&bMaster))
        return 0;
    m_bMaster = bMaster;

    // Records of those versions get this schema on purpose, and not the constructor's.
    int iSchema = OAUTH_REDIRECT_LEGACY;
    if (iVersion > kLastVersionWithoutSchema && !pFile->ReadInt(&iSchema))
        return 0;
    m_iRedirectSchema = static_cast<OAUTH_REDIRECT_SCHEMA>(iSchema);

    UpdateInterfaceName(this, LocationName());
    CTraceServer::Instance()->LoadStateFor(this);
    GenObfuscationList();
    SetFlagBits(kInterfaceFlagBits);
    return 1;
}

void CVestaraInterface::OnInterfaceInit()
{
    m_bUnInstalled = 0;
    if (!m_bMaster)
        TokenCheck();
    CVestaraInterface* pMaster = MasterInterface();
    // Asked after the election, which may have made this interface the master. Otherwise its location is
    // taken now, so the master offers its locations from a new list.
    if (!m_bMaster)
        pMaster->RemoveAllLocations();
}

void CVestaraInterface::InitTimers()
{
    // Only ever forwards: a poll that is nearer than the head start stays where it is.
    if (m_tmrStatusPoll.QXTickCount() < kStatusPollHeadStartMs)
        m_tmrStatusPoll.SetElapsed(kStatusPollHeadStartMs);
    if (m_tmrAccessPoll.QXTickCount() < kAccessPollHeadStartMs)
        m_tmrAccessPoll.SetElapsed(kAccessPollHeadStartMs);
}
