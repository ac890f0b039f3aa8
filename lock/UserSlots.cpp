// A changed user slot of the controller: which steps towards the cloud follow for this lock; the access
// persons and their requests are the interface's.

#include "access/UserSlots.h"
#include "access/AccessPerson.h"
#include "cloud/Text.h"
#include "host/Servers.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

int CPortivo::SendHardwareSlotConfig(int iSlot, QXT_SLOT_CONFIG* /*pConfig*/)
{
    if (!Interface())
        return 0;
    if (iSlot < 0 || iSlot >= kUserSlots)
        return Report(604,
                      FormatLine("Index outside of range: [%s]", Text(CQXString::IntegerToString(iSlot))));
    // The slot's record is not read: the user counts as the security server has him.
    if (CUser* pUser = CSecurityServer::Instance()->GetUserAtDoorLockSlot(iSlot))
        return SyncUser(iSlot, pUser);
    return RemoveUser(iSlot);
}

int CPortivo::SyncUser(int iSlot, CUser* pUser)
{
    // A push that finds nothing to do ends the call as well, on purpose: the host calls every lock for one
    // change of a slot, so for a person who exists already only the first lock's call grants or revokes.
    if (!Interface()->PushUser(iSlot, DeviceID(), pUser))
        return Report(617, FormatLine("PushUser failed or wasn't required"));
    return IsUserEnabled(pUser->ID()) ? GrantSlot(iSlot) : RevokeSlot(iSlot);
}

int CPortivo::GrantSlot(int iSlot)
{
    CVestaraInterface* pInterface = Interface();
    // A person whom the cloud has not named yet is granted when the reply to the creation brings the id. The
    // worker may drop the registry between the two calls, so the person is tested too.
    const CAccessPerson* pPerson =
        pInterface->AccessPersonExists(iSlot) ? pInterface->AccessPersonByIndex(iSlot) : nullptr;
    if (!pPerson || pPerson->NeedsID())
        return 1;
    if (!pInterface->GrantAccess(iSlot, DeviceID()))
        return Report(629, FormatLine("GrantAccess failed"));
    return 1;
}

int CPortivo::RevokeSlot(int iSlot)
{
    if (TraceEnabled())
        Trace(FormatLine("User at index [%s] not enabled for this DoorLock - revoking cloud access",
                         Text(CQXString::IntegerToString(iSlot))));
    // A person who was just created has no id to revoke by: that is refused and reported, while the creation
    // stays queued. No access is lost or left over by it, because the person starts without any.
    if (!Interface()->RevokeAccess(iSlot, DeviceID()))
        return Report(641, FormatLine("RevokeAccess failed"));
    return 1;
}

int CPortivo::RemoveUser(int iSlot)
{
    if (TraceEnabled())
        Trace(FormatLine("No user found at index [%s] - removing from cloud",
                         Text(CQXString::IntegerToString(iSlot))));
    if (!Interface()->PullUser(iSlot, DeviceID()))
        return Report(651, FormatLine("PullUser failed"));
    return 1;
}
