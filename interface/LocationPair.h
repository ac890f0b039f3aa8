#pragma once
// One location of the account as the cloud names it.

#include "cloud/WantedText.h"
#include "host/QXString.h"

#include <cstddef>
#include <utility>

// Owned by the location list that holds it; created by the location list reply only. Host thread.
class CLocationPair
{
public:
    CLocationPair(CQXString sID, CQXString sName)
        : m_uIDHash(CWantedText::Hash(sID)), m_sID(std::move(sID)), m_sName(std::move(sName))
    {
    }
    const CQXString& ID() const { return m_sID; }
    const CQXString& Name() const { return m_sName; }
    bool HasID(const CWantedText& Wanted) const { return Wanted.Is(m_sID, m_uIDHash); }

private:
    std::size_t m_uIDHash;
    CQXString m_sID;
    CQXString m_sName;
};
