// The list of an account's access persons and its lock; what an empty list means, and which person may join,
// is the registry's.

#include "access/AccessPersonList.h"

#include <algorithm>
#include <utility>

template <class Match>
CAccessPerson* CAccessPersonList::First(Match Matches) const
{
    const auto Found = std::find_if(m_Persons.begin(), m_Persons.end(),
                                    [&Matches](const auto& pPerson) { return Matches(*pPerson); });
    return Found == m_Persons.end() ? nullptr : Found->get();
}

template <class Match>
std::optional<CAccessPerson> CAccessPersonList::CopyFirst(Match Matches) const
{
    const std::lock_guard Lock(m_Mutex);
    const CAccessPerson* pPerson = m_bDropped.load() ? nullptr : First(Matches);
    return pPerson ? std::optional<CAccessPerson>(*pPerson) : std::nullopt;
}

std::optional<CAccessPerson> CAccessPersonList::CopyAtIndex(int iIndex) const
{
    return CopyFirst([iIndex](const CAccessPerson& Person) { return Person.IsAt(iIndex); });
}

std::optional<CAccessPerson> CAccessPersonList::CopyWithID(const CQXString& sID) const
{
    const CWantedText Wanted(sID);
    return CopyFirst([&Wanted](const CAccessPerson& Person) { return Person.HasID(Wanted); });
}

void CAccessPersonList::FreeDropped()
{
    // Read first: this is asked in every idle call.
    if (!m_bDropped.load())
        return;
    Persons Dropped;
    const std::lock_guard Lock(m_Mutex);
    Dropped.swap(m_Persons);
    m_nPersons.store(0);
    m_bDropped.store(false);
}

CAccessPerson* CAccessPersonList::AtIndex(int iIndex)
{
    FreeDropped();
    return First([iIndex](const CAccessPerson& Person) { return Person.IsAt(iIndex); });
}

CAccessPerson* CAccessPersonList::WithID(const CQXString& sID)
{
    FreeDropped();
    const CWantedText Wanted(sID);
    return First([&Wanted](const CAccessPerson& Person) { return Person.HasID(Wanted); });
}

CAccessPerson* CAccessPersonList::WithName(const CQXString& sName)
{
    FreeDropped();
    const CWantedText Wanted(sName);
    return First([&Wanted](const CAccessPerson& Person) { return Person.HasName(Wanted); });
}

void CAccessPersonList::Insert(Persons::const_iterator Place, std::unique_ptr<CAccessPerson> pPerson)
{
    const std::lock_guard Lock(m_Mutex);
    pPerson->m_pLock = &m_Mutex;
    m_Persons.insert(Place, std::move(pPerson));
    m_nPersons.store(m_Persons.size());
}

void CAccessPersonList::Append(std::unique_ptr<CAccessPerson> pPerson)
{
    FreeDropped();
    Insert(m_Persons.end(), std::move(pPerson));
}

bool CAccessPersonList::InsertByIndex(std::unique_ptr<CAccessPerson>& pPerson)
{
    if (m_bDropped.load())
        return false;
    const int iIndex = pPerson->Index();
    const auto Place = std::find_if(m_Persons.begin(), m_Persons.end(), [iIndex](const auto& pOther) {
        return !pOther->Indexed() || pOther->Index() > iIndex;
    });
    Insert(Place, std::move(pPerson));
    return true;
}

void CAccessPersonList::Remove(const CAccessPerson* pPerson)
{
    const auto Place = std::find_if(m_Persons.begin(), m_Persons.end(),
                                    [pPerson](const auto& pOther) { return pOther.get() == pPerson; });
    if (Place == m_Persons.end())
        return;
    const std::lock_guard Lock(m_Mutex);
    m_Persons.erase(Place);
    m_nPersons.store(m_Persons.size());
}

const std::vector<std::unique_ptr<CAccessPerson>>& CAccessPersonList::All()
{
    FreeDropped();
    return m_Persons;
}
