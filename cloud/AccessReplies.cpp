// Finds the accesses that a revocation must delete; the revocation itself ends in the send cycle.

#include "cloud/ReplyEntries.h"
#include "cloud/Text.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::ProcessAccessReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    const CReplyEntries Entries(pCommand->Response());
    if (!Entries.HasData()) {
        pCommand.reset();
        return Report(1452, FormatLine("'data' node not found - aborting ProcessResponse"));
    }
    for (int i = 0; i < Entries.Count(); ++i)
        ProcessAccess(Entries.Entry(i), *pCommand);
    return 1;
}

void CVestaraInterface::ProcessAccess(CJSONObject* pEntry, const CVestaraCommand& Command)
{
    CQXString sType;
    ParseAttribute(pEntry, ATTR_ACCESS_TYPE, &sType);
    if (sType.Compare("access_person_access") != 0) {
        if (TraceEnabled())
            Trace(FormatLine("Unsupported AccessPersonAccess Type: [%s]", Text(sType)));
        return;
    }
    CQXString sID;
    CQXString sAccessibleID;
    CQXString sPersonID;
    if (!ParseAttribute(pEntry, ATTR_ACCESS_ID, &sID) ||
        !ParseAttribute(pEntry, ATTR_ACCESSIBLE_ID, &sAccessibleID) ||
        !ParseAttribute(pEntry, ATTR_ACCESS_PERSON_ID, &sPersonID)) {
        Report(1478, FormatLine("Something went wrong parsing user accesses"));
        return;
    }
    if (TraceEnabled())
        Trace(FormatLine("Processing [%s:%s] ...", Text(sID), Text(sAccessibleID)));

    // The list was read to take one person's access to one lock away. A lock that was granted twice has two
    // accesses, and each is revoked.
    if (Command.GetCommandID() == CMD_ACCESSES_LIST && sAccessibleID.Compare(Command.DeviceID()) == 0 &&
        sPersonID.Compare(Command.UserID()) == 0)
        AddCommand(METHOD_DELETE, CMD_ACCESS_REVOKE, Command.LocationID(), Command.DeviceID(),
                   Command.UserID(), std::move(sID));
}
