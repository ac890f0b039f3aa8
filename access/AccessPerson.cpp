// One access person and its flags; the order of persons and their slots is the registry's work.

#include "access/AccessPerson.h"

#include <utility>

CAccessPerson::CAccessPerson(int iIndex, CQXString sID, CQXString sPinCode, CQXString sName, CQXString sEmail)
    : m_iIndex(iIndex), m_sID(std::move(sID)), m_sPinCode(std::move(sPinCode)), m_sName(std::move(sName)),
      m_sEmail(std::move(sEmail)), m_bIndexed(m_iIndex != -1), m_bNeedsID(m_sID.IsEmpty() != 0),
      m_bHasEmail(m_sEmail.IsEmpty() == 0)
{
}

void CAccessPerson::Index(int iIndex)
{
    m_iIndex = iIndex;
    m_bIndexed = m_iIndex != -1;
}

void CAccessPerson::ID(CQXString sID)
{
    m_sID = std::move(sID);
    m_bNeedsID = m_sID.IsEmpty() != 0;
}

void CAccessPerson::Email(CQXString sEmail)
{
    m_sEmail = std::move(sEmail);
    m_bHasEmail = m_sEmail.IsEmpty() == 0;
}
