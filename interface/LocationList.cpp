// The list of candidate locations and when its entries are freed; what is in it is decided by the location
// replies.

#include "interface/LocationList.h"

#include "interface/LocationPair.h"

CLocationList::~CLocationList()
{
    Drop();
    FreeDropped();
}

CQXObList& CLocationList::Live()
{
    FreeDropped();
    return m_List;
}

void CLocationList::FreeDropped()
{
    // Read first: this is asked in every idle call.
    if (!m_bDropped.load() || !m_bDropped.exchange(false))
        return;
    while (void* pLocation = m_List.RemoveHead())
        delete static_cast<CLocationPair*>(pLocation);
}
