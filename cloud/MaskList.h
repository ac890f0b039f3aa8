#pragma once
// The secrets that traces of whole requests and replies hide.

#include "host/QXList.h"
#include "host/QXString.h"

#include <initializer_list>
#include <mutex>

// Owns its CQXString entries. Any thread: the host thread fills the list while the worker masks with it, and
// both empty it.
class CMaskList
{
public:
    CMaskList() = default;
    ~CMaskList() { Purge(); }
    CMaskList(const CMaskList&) = delete;
    CMaskList& operator=(const CMaskList&) = delete;

    void Fill(std::initializer_list<CQXString> Secrets); // in place of what was there
    void Purge();

    // A copy of the text with every secret hidden. The list is copied first, so that masking a long text
    // keeps nobody waiting.
    CQXString Masked(CQXString sText) const;

    // For the host thread, while no other thread uses the list.
    CQXObList* Entries() { return &m_List; }

private:
    void Free();

    mutable std::mutex m_Mutex;
    CQXObList m_List;
};
