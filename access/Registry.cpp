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

// The look-up by slot reports what the other look-ups only trace.
int CVestaraInterface::ReportsEmptyRegistry()
{
    if (!m_AccessPersons.IsEmpty())
        return 0;
    InitTimers();
    Report(3204, FormatLine(kEmptyRegistry));
    return 1;
}

CAccessPerson* CVestaraInterface::AccessPersonByIndex(int iIndex)
{
    return ReportsEmptyRegistry() ? nullptr : m_AccessPersons.AtIndex(iIndex);
}

CAccessPerson* CVestaraInterface::AccessPersonByID(CQXString sID)
{
    return AwaitsAccessPersons() ? nullptr : m_AccessPersons.WithID(sID);
}

CAccessPerson* CVestaraInterface::AccessPersonByName(CQXString sName)
{
    return AwaitsAccessPersons() ? nullptr : m_AccessPersons.WithName(sName);
}

std::optional<CAccessPerson> CVestaraInterface::CopyOfPersonByIndex(int iIndex)
{
    return ReportsEmptyRegistry() ? std::nullopt : m_AccessPersons.CopyAtIndex(iIndex);
}

std::optional<CAccessPerson> CVestaraInterface::CopyOfPersonByID(const CQXString& sID)
{
    return AwaitsAccessPersons() ? std::nullopt : m_AccessPersons.CopyWithID(sID);
}

int CVestaraInterface::AccessPersonExists(int iIndex)
{
    return !AwaitsAccessPersons() && m_AccessPersons.AtIndex(iIndex) ? 1 : 0;
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
        m_AccessPersons.Append(std::move(pPerson));
        return 1;
    }
    if (m_AccessPersons.AtIndex(pPerson->Index()))
        return Report(3251, FormatLine("AccessPersons already exists with this index"));

    // The worker may have dropped the list since. Then the person goes too: it belonged to the account that
    // was just dropped.
    if (!m_AccessPersons.InsertByIndex(pPerson)) {
        pPerson.reset();
        return Report(3258, FormatLine("AccessPersons could not be inserted"));
    }
    return 1;
}

int CVestaraInterface::InsertUnindexed(std::unique_ptr<CAccessPerson>& pPerson)
{
    if (TraceEnabled())
        Trace("AccessPerson added from remote - non-indexed");
    if (AccessPersonExists(pPerson->Name()))
        return Report(3277, FormatLine("AccessPerson already in list - not adding"));
    m_AccessPersons.Append(std::move(pPerson));
    return 1;
}

void CVestaraInterface::ClearIndexes()
{
    for (const auto& pPerson : m_AccessPersons.All()) {
        if (pPerson->Indexed())
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
    m_AccessPersons.Drop();
}
