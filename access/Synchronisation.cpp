// Carries a change of one user slot to the cloud: changes the registry at once and queues the request; the
// answers are processed with the replies.

#include "access/AccessPerson.h"
#include "access/UserSlots.h"
#include "cloud/Text.h"
#include "host/Servers.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::PushUser(int iSlot, CQXString sDeviceID, CUser* pUser)
{
    if (CAccessPerson* pPerson = PersonAtSlot(iSlot))
        return PushChangedPerson(pPerson, std::move(sDeviceID), pUser);
    if (CAccessPerson* pPerson = AccessPersonByName(pUser->Name()))
        return TakeOverPerson(pPerson, iSlot, pUser);

    auto pNew = std::make_unique<CAccessPerson>(iSlot, CQXString(), pUser->PIN_DoorLock(), pUser->Name(),
                                                pUser->Email());
    if (!InsertAccessPerson(pNew))
        return Report(3324, FormatLine("User Creation Failed"));

    // The slot stands in for the id until the cloud has given one. A create that gets lost is not repeated:
    // the person stays without an id, and a later push says so as soon as it has a change to send.
    QueueForPerson(METHOD_WRITE, CMD_ACCESS_PERSON_CREATE, std::move(sDeviceID),
                   CQXString::IntegerToString(iSlot));
    return 1;
}

int CVestaraInterface::PushChangedPerson(CAccessPerson* pPerson, CQXString sDeviceID, CUser* pUser)
{
    // Every lock pushes the same slot. The first push finds the change, the others find nothing left to do; a
    // person reply that came in between may have taken the change in already, and then nobody sends it.
    if (!UpdateAccessPerson(pPerson, pUser, CQXString(), CQXString(), CQXString(), CQXString())) {
        if (TraceEnabled())
            Trace("Failed to Update AccessPerson details or update not required");
        return 0;
    }
    if (pPerson->NeedsID())
        return Report(3343, FormatLine("AccessPerson missing ID - can't identify for update"));
    QueueForPerson(METHOD_WRITE, CMD_ACCESS_PERSON_UPDATE, std::move(sDeviceID), pPerson->ID());
    return 1;
}

int CVestaraInterface::TakeOverPerson(CAccessPerson* pPerson, int iSlot, CUser* pUser)
{
    // The name is the tie, so the person follows it to this slot, also from another one. Nothing is sent, on
    // purpose, even when fields changed: the registry has the controller's values from now on and the cloud
    // its own, until a later change is pushed.
    pPerson->Index(iSlot);
    if (!UpdateAccessPerson(pPerson, pUser, CQXString(), CQXString(), CQXString(), CQXString()) &&
        TraceEnabled())
        Trace("Failed to Update AccessPerson details or no changes to update");
    if (pPerson->NeedsID())
        return Report(3358, FormatLine("AccessPerson missing ID - can't identify for update"));
    return 1;
}

int CVestaraInterface::PullUser(int iSlot, CQXString sDeviceID)
{
    CAccessPerson* pPerson = PersonAtSlot(iSlot);
    if (!pPerson) {
        if (TraceEnabled())
            Trace(FormatLine("No AccessPerson found with index: [%d]", iSlot));
        return 1;
    }
    if (pPerson->NeedsID())
        return Report(3371, FormatLine("AccessPerson missing ID - can't identify for deletion"));

    const CQXString sID = pPerson->ID();
    const CQXString sName = pPerson->Name();
    QueueForPerson(METHOD_DELETE, CMD_ACCESS_PERSON_DELETE, std::move(sDeviceID), sID);

    // Gone at once, without waiting for the cloud: the slot may have a new user before the answer comes.
    m_AccessPersons.Remove(pPerson);
    if (TraceEnabled())
        Trace(FormatLine("AccessPerson deletion queued for: [%d][%s][%s]", iSlot, Text(sName), Text(sID)));
    return 1;
}

int CVestaraInterface::GrantAccess(int iSlot, CQXString sDeviceID)
{
    const CAccessPerson* pPerson = PersonAtSlot(iSlot);
    if (!pPerson)
        return 0;
    if (pPerson->NeedsID()) {
        // No fault: the reply to the person's creation grants every lock that is enabled by then.
        if (TraceEnabled())
            Trace("AccessPerson missing ID - can't identify for granting access");
        return 0;
    }
    QueueForPerson(METHOD_WRITE, CMD_ACCESS_GRANT, std::move(sDeviceID), pPerson->ID());
    return 1;
}

int CVestaraInterface::RevokeAccess(int iSlot, CQXString sDeviceID)
{
    const CAccessPerson* pPerson = PersonAtSlot(iSlot);
    if (!pPerson)
        return 0;
    if (pPerson->NeedsID())
        return Report(3406, FormatLine("AccessPerson missing ID - can't identify for revokin access"));

    // The id of the access is not kept here, so the person's accesses are read first; the reply to that finds
    // the one to this lock and revokes it.
    QueueForPerson(METHOD_READ, CMD_ACCESSES_LIST, std::move(sDeviceID), pPerson->ID());
    return 1;
}

int CVestaraInterface::UpdateAccessPerson(CAccessPerson* pPerson, CUser* /*pUser*/, CQXString sName,
                                          CQXString sID, CQXString sPinCode, CQXString sEmail)
{
    if (!pPerson)
        return Report(3419, FormatLine("AccessPerson NULL - cannot update"));

    // The caller's user does not count on purpose: what the controller holds at the person's slot does, so
    // that a reply and a push bring the person to the same values.
    if (const CUser* pSlotUser = SlotUser(pPerson)) {
        sName = pSlotUser->Name();
        sPinCode = pSlotUser->PIN_DoorLock();
        sEmail = pSlotUser->Email();
        if (sID.IsEmpty())
            sID = pPerson->ID();
    }
    if (TraceEnabled())
        Trace(FormatLine("Updating AccessPerson: [%s][%s][%s][%s]", Text(sName), Text(sID), Text(sPinCode),
                         Text(sEmail)));

    int bChanged = 0;
    if (DiffersTraced("User's Name", pPerson->Name(), sName)) {
        pPerson->Name(std::move(sName));
        bChanged = 1;
    }
    if (DiffersTraced("User's ID", pPerson->ID(), sID)) {
        pPerson->ID(std::move(sID));
        bChanged = 1;
    }
    if (DiffersTraced("User's PinCode", pPerson->PinCode(), sPinCode)) {
        pPerson->PinCode(std::move(sPinCode));
        bChanged = 1;
    }
    if (DiffersTraced("User's Email", pPerson->Email(), sEmail)) {
        pPerson->Email(std::move(sEmail));
        bChanged = 1;
    }
    return bChanged;
}

CAccessPerson* CVestaraInterface::PersonAtSlot(int iSlot)
{
    // Asked first, because an account without persons is no fault here and must not be reported as one.
    return AccessPersonExists(iSlot) ? AccessPersonByIndex(iSlot) : nullptr;
}

CUser* CVestaraInterface::SlotUser(CAccessPerson* pPerson)
{
    CSecurityServer* pSecurity = CSecurityServer::Instance();
    if (pPerson->Indexed())
        return pSecurity->GetUserAtDoorLockSlot(pPerson->Index());

    // Name and PIN must both match here; RefreshIndexes and a push tie by the name alone.
    for (int iSlot = 0; iSlot < kUserSlots; ++iSlot) {
        CUser* pUser = pSecurity->GetUserAtDoorLockSlot(iSlot);
        if (pUser && pUser->Name().Compare(pPerson->Name()) == 0 &&
            pUser->PIN_DoorLock().Compare(pPerson->PinCode()) == 0) {
            pPerson->Index(iSlot);
            return pUser;
        }
    }
    return nullptr;
}

bool CVestaraInterface::DiffersTraced(const char* pField, const CQXString& sOld, const CQXString& sNew)
{
    if (sOld.Compare(sNew) == 0)
        return false;
    // PINs stand in clear in this line; hiding them is left to the host's log.
    if (TraceEnabled())
        Trace(FormatLine("%s changed from [%s] to [%s]", pField, Text(sOld), Text(sNew)));
    return true;
}

void CVestaraInterface::QueueForPerson(VestaraMethod eMethod, CommandID eCommand, CQXString sDeviceID,
                                       CQXString sUserID)
{
    AddCommand(eMethod, eCommand, LocationID(), std::move(sDeviceID), std::move(sUserID), CQXString());
}
