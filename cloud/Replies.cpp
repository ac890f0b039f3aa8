// The frame of the reply processing: checks, dispatch and disposal; the replies themselves are in their own
// files.

#include "cloud/LiteralFormat.h"
#include "cloud/Text.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::ProcessResponse(std::unique_ptr<CVestaraCommand> pCommand)
{
    const CommandID eCommand = pCommand->GetCommandID();
    if (TraceEnabled())
        Trace(FormatLine("ProcessingResponse [%d]", static_cast<int>(eCommand)));
    if (!pCommand->Response()) {
        pCommand.reset();
        return Report(1012, FormatLine("Missing response"));
    }

    // A reply that carries "messages" anywhere is the server's notice of a failure, whatever else is in it.
    CQXString sMessages;
    if (pCommand->Response()->FindString("messages", &sMessages, 1)) {
        pCommand.reset();
        return Report(1020, FormatLine("%s", Text(LiteralFormat(sMessages))));
    }

    switch (eCommand) {
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
        return ProcessTokenReply(std::move(pCommand));
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
        return ProcessLocationReply(std::move(pCommand));
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
        return ProcessDeviceListReply(std::move(pCommand));
    case CMD_DEVICE_GET:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        return ProcessDeviceReply(std::move(pCommand));
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESS_PERSON_CREATE:
    case CMD_ACCESS_PERSON_UPDATE:
        return ProcessPersonReply(std::move(pCommand));
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESSES_LIST:
    case CMD_ACCESS_GRANT:
        return ProcessAccessReply(std::move(pCommand));
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESS_REVOKE:
    case CMD_ACCESS_PERSON_NOTIFY:
        break;
    }

    // Deletions end in the send cycle and have no reply to process. Such a command counts as processed: there
    // is nothing to repeat.
    Report(1058, FormatLine("Unhandled CommandID"));
    return 1;
}
