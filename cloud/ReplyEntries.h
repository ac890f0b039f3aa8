#pragma once
// The entries of a reply that carries either a list or a single object.

#include "host/JSON.h"

// Borrows the reply tree; valid as long as the tree.
class CReplyEntries
{
public:
    // The cloud adds "meta" to its lists only, so it tells the two apart, wherever in the reply it stands.
    explicit CReplyEntries(CJSONObject* pReply)
        : m_pData(pReply->FindNode("data", 1)), m_bList(pReply->FindNode("meta", 1) != nullptr)
    {
    }

    bool HasData() const { return m_pData != nullptr; }
    int Count() const { return m_bList ? m_pData->NObjects() : 1; } // only with data
    CJSONObject* Entry(int i) const { return m_bList ? m_pData->Object(i) : m_pData; }

private:
    CJSONObject* m_pData;
    bool m_bList;
};
