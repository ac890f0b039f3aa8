#pragma once
// One location of the account as the cloud names it.

#include "host/QXString.h"

// Owned by the location list that holds it; created by the location list reply only.
class CLocationPair
{
public:
    CLocationPair(CQXString sID, CQXString sName) : m_sID(std::move(sID)), m_sName(std::move(sName)) {}
    CQXString ID() const { return m_sID; }
    CQXString Name() const { return m_sName; }

private:
    CQXString m_sID;
    CQXString m_sName;
};
