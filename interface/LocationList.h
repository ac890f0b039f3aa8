#pragma once
// The account's candidate locations, in the order in which they were added.

#include "host/QXList.h"

#include <atomic>

// Owns its CLocationPair entries. The list is the host thread's; what any thread may do is declare it
// dropped. From then on it counts as empty, and the host thread frees the entries when it next asks for the
// list, at the latest in its next idle call, so that no walk loses an entry under its feet.
class CLocationList
{
public:
    CLocationList() = default;
    ~CLocationList();
    CLocationList(const CLocationList&) = delete;
    CLocationList& operator=(const CLocationList&) = delete;

    void Drop() { m_bDropped.store(true); } // any thread

    // Host thread: the list, after what was dropped has been freed. A walk asks once and goes on with the
    // reference: a drop that comes meanwhile takes effect at the next call.
    CQXObList& Live();
    void FreeDropped();

private:
    CQXObList m_List;
    std::atomic<bool> m_bDropped{false};
};
