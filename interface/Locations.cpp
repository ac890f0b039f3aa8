// The account's locations: choosing one, discovery, and the list of candidates; the list is filled by the
// location list reply.

#include "cloud/Text.h"
#include "host/System.h"
#include "interface/LocationPair.h"
#include "interface/VestaraInterface.h"

#include <utility>

void CVestaraInterface::Discover()
{
    Trace("Discovering...");
    RemoveAllObjects();
    if (m_sLocationID.IsEmpty())
        QueueRead(CMD_LOCATIONS_LIST, "");
    else
        QueueRead(CMD_DEVICES_DISCOVER, LocationID());
    QueueRead(CMD_ACCESS_PERSONS_LIST, "");
}

void CVestaraInterface::SetLocationIdx(int iIndex)
{
    if (TraceEnabled())
        Trace(FormatLine("Incoming location selection: [%d]", iIndex));
    const CQXObList& Locations = m_Locations.Live();
    const int nLocations = Locations.GetCount();
    if (iIndex >= nLocations) {
        // People count from 1; the sum may lie past the range of the index itself.
        if (TraceEnabled())
            Trace(
                FormatLine("iVal out of bounds: [%lld/%d]", static_cast<long long>(iIndex) + 1, nLocations));
        return;
    }
    // Only a negative index gets here with an empty list; nothing happens then.
    if (nLocations == 0)
        return;

    // A negative index finds no pair: the selection stays, and the candidates are asked for again.
    const auto* pLocation = static_cast<const CLocationPair*>(Locations.GetAt(Locations.FindIndex(iIndex)));
    if (pLocation && m_sLocationID.Compare(pLocation->ID()) == 0)
        return;
    const bool bChanged = pLocation != nullptr;
    if (bChanged) {
        m_sLocationID.Set(pLocation->ID());
        m_sLocationName.Set(pLocation->Name());
        if (TraceEnabled())
            Trace(FormatLine("New location selected: [%s][%d]", Text(pLocation->Name()), iIndex + 1));
        // The pair is given up with this, and so are all requests that were made for the old location.
        RemoveAllObjects();
        RemoveAllDevices(1);
        QueueRead(CMD_DEVICES_DISCOVER, LocationID());
    }
    QueueRead(CMD_LOCATIONS_LIST, "");
    if (bChanged)
        CSystem::Instance()->NotifyWrite();
}

void CVestaraInterface::RemoveAllLocations()
{
    m_Locations.Drop();
    m_bLocationsRequested = 0;
}

void CVestaraInterface::RemoveThisLocation(CQXString sID)
{
    // The count shrinks with each removal while the counter goes on, so the walk stops early and the rest may
    // end up rotated, on purpose: without "B", A, B, C becomes C, A.
    CQXObList& Locations = m_Locations.Live();
    for (int i = 0; i < Locations.GetCount(); ++i) {
        auto* pLocation = static_cast<CLocationPair*>(Locations.RemoveHead());
        if (pLocation->ID().Compare(sID) == 0) {
            delete pLocation;
            m_bNotifyConfig = 1;
        } else {
            Locations.AddTail(pLocation);
        }
    }
}
