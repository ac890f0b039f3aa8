// One access person and its flags; the order of persons and their slots is the registry's work.

#include "access/AccessPerson.h"

#include <utility>

CAccessPerson::CAccessPerson(int iIndex, CQXString sID, CQXString sPinCode, CQXString sName, CQXString sEmail)
    : m_iIndex(iIndex), m_bIndexed(m_iIndex != -1), m_bNeedsID(sID.IsEmpty() != 0),
      m_bHasEmail(sEmail.IsEmpty() == 0), m_uIDHash(CWantedText::Hash(sID)),
      m_uNameHash(CWantedText::Hash(sName)), m_sID(std::move(sID)), m_sPinCode(std::move(sPinCode)),
      m_sName(std::move(sName)), m_sEmail(std::move(sEmail))
{
}

CAccessPerson::CAccessPerson(const CAccessPerson& Other)
    : CAccessPerson(Other.m_iIndex, Other.m_sID, Other.m_sPinCode, Other.m_sName, Other.m_sEmail)
{
}

std::unique_lock<std::mutex> CAccessPerson::Changing() const
{
    return m_pLock ? std::unique_lock(*m_pLock) : std::unique_lock<std::mutex>();
}

void CAccessPerson::Index(int iIndex)
{
    const auto Lock = Changing();
    m_iIndex = iIndex;
    m_bIndexed = m_iIndex != -1;
}

void CAccessPerson::ID(CQXString sID)
{
    const auto Lock = Changing();
    m_sID = std::move(sID);
    m_bNeedsID = m_sID.IsEmpty() != 0;
    m_uIDHash = CWantedText::Hash(m_sID);
}

void CAccessPerson::PinCode(CQXString sPinCode)
{
    const auto Lock = Changing();
    m_sPinCode = std::move(sPinCode);
}

void CAccessPerson::Name(CQXString sName)
{
    const auto Lock = Changing();
    m_sName = std::move(sName);
    m_uNameHash = CWantedText::Hash(m_sName);
}

void CAccessPerson::Email(CQXString sEmail)
{
    const auto Lock = Changing();
    m_sEmail = std::move(sEmail);
    m_bHasEmail = m_sEmail.IsEmpty() == 0;
}
