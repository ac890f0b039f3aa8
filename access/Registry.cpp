// The list of the account's access persons: look-ups, order, ties to user slots; the cloud is not asked here.

#include "access/AccessPerson.h"
#include "access/UserSlots.h"
#include "host/Servers.h"
#include "interface/VestaraInterface.h"

#include <utility>

namespace
{

constexpr const char kEmptyRegistry[] =
    "AccessPersons list has not yet been initialzied or there are no users";

template <class Match>
CAccessPerson* FirstPerson(const CQXObList& Persons, Match Matches)
{
    CQXPos* pPos = Persons.GetHeadPosition();
    while (pPos) {
        auto* pPerson = static_cast<CAccessPerson*>(Persons.GetNext(pPos));
        if (pPerson && Matches(*pPerson))
            return pPerson;
    }
    return nullptr;
}

CAccessPerson* PersonAtIndex(const CQXObList& Persons, int iIndex)
{
    return FirstPerson(Persons, [iIndex](const CAccessPerson& Person) {
        return Person.Indexed() && Person.Index() == iIndex;
    });
}

} // namespace

// A list that is empty is taken for one that the cloud has not sent yet, so every look-up brings the polls
// forward, also when the account really has no users.
int CVestaraInterface::AwaitsAccessPersons()
{
    if (!m_AccessPersons.IsEmpty())
        return 0;
    InitTimers();
    if (TraceEnabled())
        Trace(kEmptyRegistry);
    return 1;
}

CAccessPerson* CVestaraInterface::AccessPersonByIndex(int iIndex)
{
    // A report here and a trace line in the other look-ups, on purpose: whoever asks for a slot without
    // having asked whether it exists expects to find it.
    if (m_AccessPersons.IsEmpty()) {
        InitTimers();
        Report(3204, FormatLine(kEmptyRegistry));
        return nullptr;
    }
    return PersonAtIndex(m_AccessPersons, iIndex);
}

CAccessPerson* CVestaraInterface::AccessPersonByID(CQXString sID)
{
    if (AwaitsAccessPersons())
        return nullptr;
    return FirstPerson(m_AccessPersons, [&sID](const CAccessPerson& Person) {
        return !Person.NeedsID() && Person.ID().Compare(sID) == 0;
    });
}

CAccessPerson* CVestaraInterface::AccessPersonByName(CQXString sName)
{
    if (AwaitsAccessPersons())
        return nullptr;
    return FirstPerson(m_AccessPersons,
                       [&sName](const CAccessPerson& Person) { return Person.Name().Compare(sName) == 0; });
}

int CVestaraInterface::AccessPersonExists(int iIndex)
{
    return !AwaitsAccessPersons() && PersonAtIndex(m_AccessPersons, iIndex) ? 1 : 0;
}

int CVestaraInterface::AccessPersonExists(CQXString sName)
{
    return AccessPersonByName(std::move(sName)) ? 1 : 0;
}

int CVestaraInterface::InsertAccessPerson(std::unique_ptr<CAccessPerson>& pPerson)
{
    return pPerson->Indexed() ? InsertIndexed(pPerson) : InsertUnindexed(pPerson);
}

int CVestaraInterface::InsertIndexed(std::unique_ptr<CAccessPerson>& pPerson)
{
    if (AwaitsAccessPersons()) {
        m_AccessPersons.AddTail(pPerson.release());
        return 1;
    }
    const int iIndex = pPerson->Index();
    if (PersonAtIndex(m_AccessPersons, iIndex))
        return Report(3251, FormatLine("AccessPersons already exists with this index"));

    // The worker may have emptied the list since. Then the person goes too: it belonged to the account that
    // was just dropped.
    CQXPos* pPos = m_AccessPersons.GetHeadPosition();
    if (!pPos) {
        pPerson.reset();
        return Report(3258, FormatLine("AccessPersons could not be inserted"));
    }
    for (; pPos; pPos = pPos->Next()) {
        const auto* pOther = static_cast<const CAccessPerson*>(m_AccessPersons.GetAt(pPos));
        if (pOther && (!pOther->Indexed() || pOther->Index() > iIndex))
            break;
    }
    if (pPos)
        m_AccessPersons.InsertBefore(pPos, pPerson.release());
    else
        m_AccessPersons.AddTail(pPerson.release());
    return 1;
}

int CVestaraInterface::InsertUnindexed(std::unique_ptr<CAccessPerson>& pPerson)
{
    if (TraceEnabled())
        Trace("AccessPerson added from remote - non-indexed");
    if (AccessPersonExists(pPerson->Name()))
        return Report(3277, FormatLine("AccessPerson already in list - not adding"));
    m_AccessPersons.AddTail(pPerson.release());
    return 1;
}

void CVestaraInterface::ClearIndexes()
{
    CQXPos* pPos = m_AccessPersons.GetHeadPosition();
    while (pPos) {
        auto* pPerson = static_cast<CAccessPerson*>(m_AccessPersons.GetNext(pPos));
        if (pPerson && pPerson->Indexed())
            pPerson->UnIndex();
    }
}

void CVestaraInterface::RefreshIndexes()
{
    // Slots come from the controller only. The order of the list stays as it is: insertion alone orders it.
    // Of users with one name the last slot wins, and of persons with one name only the first is tied.
    ClearIndexes();
    for (int iSlot = 0; iSlot < kUserSlots; ++iSlot) {
        const CUser* pUser = CSecurityServer::Instance()->GetUserAtDoorLockSlot(iSlot);
        if (!pUser)
            continue;
        if (CAccessPerson* pPerson = AccessPersonByName(pUser->Name()))
            pPerson->Index(iSlot);
    }
}

void CVestaraInterface::RemoveAllAccessPersons()
{
    while (!m_AccessPersons.IsEmpty())
        delete static_cast<CAccessPerson*>(m_AccessPersons.RemoveHead());
}
