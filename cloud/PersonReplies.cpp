// Keeps the access persons in step with the cloud's replies and grants a new person its locks; the order of
// the registry and the requests themselves are left to the access folder.

#include "access/AccessPerson.h"
#include "cloud/Number.h"
#include "cloud/ReplyEntries.h"
#include "cloud/Text.h"
#include "host/Servers.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

#include <utility>

int CVestaraInterface::ProcessPersonReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    const CReplyEntries Entries(pCommand->Response());
    if (!Entries.HasData()) {
        pCommand.reset();
        return Report(1347, FormatLine("'data' node not found - aborting ProcessResponse"));
    }
    for (int i = 0; i < Entries.Count(); ++i) {
        if (!ProcessPerson(Entries.Entry(i), *pCommand)) {
            // What came before stays applied; slots are tied anew with the next person reply that gets
            // through.
            pCommand.reset();
            return Report(1356, FormatLine("User Creation Failed"));
        }
    }
    RefreshIndexes();
    return 1;
}

int CVestaraInterface::ProcessPerson(CJSONObject* pEntry, const CVestaraCommand& Command)
{
    CQXString sType;
    ParseAttribute(pEntry, ATTR_PERSON_TYPE, &sType);
    if (sType.Compare("access_user") != 0) {
        if (TraceEnabled())
            Trace(FormatLine("Unsupported AccessPerson Type: [%s]", Text(sType)));
        return 1;
    }
    CQXString sID;
    CQXString sName;
    CQXString sPin;
    CQXString sEmail;
    if (!ParseAttribute(pEntry, ATTR_PERSON_ID, &sID) || !ParseAttribute(pEntry, ATTR_PERSON_NAME, &sName) ||
        !ParseAttribute(pEntry, ATTR_PIN, &sPin) || !ParseAttribute(pEntry, ATTR_EMAIL, &sEmail)) {
        Report(1379, FormatLine("Something went wrong parsing user"));
        return 1;
    }
    // A person without an address has the JSON value null, or a text that says so.
    if (sEmail.CompareNoCase("null") == 0)
        sEmail.Empty();
    if (TraceEnabled())
        Trace(FormatLine("Processing [%s:%s] ...", Text(sName), Text(sID)));

    CAccessPerson* pPerson = PersonOfReply(Command, sID);
    if (!pPerson)
        return AddRemotePerson(std::move(sID), std::move(sName), std::move(sPin), std::move(sEmail));
    UpdateAccessPerson(pPerson, nullptr, std::move(sName), std::move(sID), std::move(sPin),
                       std::move(sEmail));
    if (Command.GetCommandID() == CMD_ACCESS_PERSON_CREATE)
        GrantEnabledLocks(IntegerOf(Command.UserID()));
    return 1;
}

CAccessPerson* CVestaraInterface::PersonOfReply(const CVestaraCommand& Command, const CQXString& sEntryID)
{
    // A person that was just created is known by its slot only, a changed one by the id that was sent.
    if (Command.GetCommandID() == CMD_ACCESS_PERSON_CREATE)
        return AccessPersonByIndex(IntegerOf(Command.UserID()));
    if (Command.GetCommandID() == CMD_ACCESS_PERSON_UPDATE)
        return AccessPersonByID(Command.UserID());
    return AccessPersonByID(sEntryID);
}

int CVestaraInterface::AddRemotePerson(CQXString sID, CQXString sName, CQXString sPin, CQXString sEmail)
{
    // A namesake is left as it is, on purpose: one that has no id yet does not get this entry's.
    if (AccessPersonByName(sName)) {
        Trace("Found existing AccessPerson with matching name");
        return 1;
    }
    auto pPerson = std::make_unique<CAccessPerson>(-1, std::move(sID), std::move(sPin), std::move(sName),
                                                   std::move(sEmail));
    return InsertAccessPerson(pPerson);
}

void CVestaraInterface::GrantEnabledLocks(int iSlot)
{
    CUser* pUser = CSecurityServer::Instance()->GetUserAtDoorLockSlot(iSlot);
    if (!pUser) {
        Report(1421, FormatLine("User is NULL"));
        return;
    }

    // As many turns as there are clients, because the walk begins again behind the last one; it stops where a
    // client is no lock.
    CPortivo* pLock = NextDoorLock(nullptr);
    for (int i = 0; i < NClients() && pLock; ++i) {
        if (pLock->IsUserEnabled(pUser->ID()) && !GrantAccess(iSlot, pLock->DeviceID()))
            Report(1431, FormatLine("GrantAccess failed"));
        pLock = NextDoorLock(pLock);
    }
}
