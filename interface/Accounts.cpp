// Several accounts: the master interface, the sharing and dropping of tokens, the naming of interfaces; the
// requests for tokens themselves are left to the authorisation and to the send cycle.

#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

CVestaraInterface* CVestaraInterface::MasterInterface()
{
    CVestaraInterface* pMaster = m_pMaster;
    if (!pMaster && m_bMaster)
        m_pMaster = pMaster = this;
    if (pMaster)
        return pMaster;

    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges && !pMaster; ++i) {
        CVestaraInterface* pSibling = Sibling(i);
        if (pSibling && pSibling->IsMaster())
            pMaster = pSibling;
    }
    // The first to look and find none is the master from now on. The flag is part of the record, but
    // nothing asks for saving here: it is on disk with the next save.
    if (!pMaster) {
        pMaster = this;
        m_bMaster = 1;
    }
    m_pMaster = pMaster;
    return pMaster;
}

void CVestaraInterface::CleanMasterPointers()
{
    m_bMaster = 0;
    m_pMaster = nullptr;
    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges; ++i) {
        if (CVestaraInterface* pSibling = Sibling(i))
            pSibling->m_pMaster = nullptr;
    }
}

int CVestaraInterface::IsOnlyInterface()
{
    int nInterfaces = 0;
    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges; ++i) {
        CVestaraInterface* pSibling = Sibling(i);
        if (!pSibling)
            continue;
        if (!pSibling->IsMaster())
            return 0;
        ++nInterfaces;
    }
    return nInterfaces < 2 ? 1 : 0;
}

int CVestaraInterface::TokenShare(CQXString* pToken)
{
    // Only the access token moves: the refresh token stays with the master, which alone refreshes. A master
    // gives and never takes, also when it has none itself. The lines speak of both tokens and stay so (see
    // Report).
    CQXString sOwnToken = m_sAccessToken.Get();
    if (pToken->Compare(sOwnToken) == 0) {
        Trace("TokenShare skipped - Access or Refresh Token unchanged");
        return 0;
    }
    if (m_bMaster && !sOwnToken.IsEmpty()) {
        *pToken = std::move(sOwnToken);
        if (TraceEnabled())
            Trace("Tokens requested from another interface");
        return 1;
    }
    if (!m_bMaster && !pToken->IsEmpty()) {
        m_sAccessToken.Set(*pToken);
        if (TraceEnabled())
            Trace("Obtained tokens from the Master Interface");
        return 1;
    }
    Trace("TokenShare failed - Access or Refresh Token missing");
    return 0;
}

int CVestaraInterface::TokenCheck()
{
    // The outcome is that of the last sibling, on purpose: every sibling is asked, because each that is no
    // master also takes the token that this interface has by then, and an earlier success is not remembered.
    int bShared = 0;
    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges; ++i) {
        CVestaraInterface* pSibling = Sibling(i);
        if (!pSibling || pSibling == this)
            continue;
        const CQXString sOwnToken = m_sAccessToken.Get();
        CQXString sToken = sOwnToken;
        bShared = pSibling->TokenShare(&sToken);
        if (sToken.Compare(sOwnToken) != 0)
            m_sAccessToken.Set(std::move(sToken));
    }
    if (!bShared) {
        Trace("TokenCheck could not find another interface or was unsuccessful");
        return 0;
    }
    ClientBroadcast(1);
    CSystem::Instance()->NotifyWrite();
    m_bNotifyConfig = 1;
    return 1;
}

void CVestaraInterface::TokenCleanup()
{
    // Nothing happens without an access token, whatever else is left: after a 401 refresh token, location and
    // locks stay, also when the refresh gets lost then, and also for Reset.
    if (m_sAccessToken.IsEmpty())
        return;
    // Locks are meant. The words stay (see Report).
    Trace("Cleaning up Token/Identifiers and removing thermostats");
    m_sAccessToken.Empty();
    m_sRefreshToken.Empty();
    m_sLocationID.Empty();
    m_sLocationName.Empty();
    RemoveAllObjects();
    ClientBroadcast(0);
    m_bRemoveDevices = 1;
    CSystem::Instance()->NotifyWrite();
    m_bNotifyConfig = 1;
}

CVestaraInterface* CVestaraInterface::FindInterface(CQXString sLocationID)
{
    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges; ++i) {
        CVestaraInterface* pSibling = Sibling(i);
        if (pSibling && pSibling->m_sLocationID.Compare(sLocationID) == 0)
            return pSibling;
    }
    return nullptr;
}

std::vector<CVestaraInterface::CSibling> CVestaraInterface::OtherAccounts()
{
    std::vector<CSibling> Others;
    const int nBridges = CSystem::Instance()->NBridges();
    for (int i = 0; i < nBridges; ++i) {
        CVestaraInterface* pSibling = Sibling(i);
        if (pSibling && pSibling != this)
            Others.push_back({pSibling, pSibling->LocationID()});
    }
    return Others;
}

void CVestaraInterface::UpdateInterfaceName(CVestaraInterface* pInterface, CQXString sLocationName)
{
    // Put together without the formatter: this runs for every device of every status reply.
    CQXString sName("Vestara Interface");
    if (!sLocationName.IsEmpty()) {
        sName += " (";
        sName += sLocationName;
        sName += ")";
    }

    bool bChanged = false;
    CNetworkBridge* pBridge = pInterface->NetworkBridge();
    if (pBridge && pBridge->Name().Compare(sName) != 0) {
        pBridge->Name(sName);
        pInterface->RemoveAllLocations();
        bChanged = true;
    }
    if (pInterface->TraceName(std::move(sName)))
        bChanged = true;
    if (!bChanged)
        return;
    CSystem::Instance()->NotifyWrite();
    // The flag of the interface that renames, not of the renamed one: its housekeeping tells the host.
    m_bNotifyConfig = 1;
}
