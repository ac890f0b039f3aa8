// The end of a command that is given up: names the error and disposes of the command; state is the sender's.

#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::HandleError(std::unique_ptr<CVestaraCommand> pCommand,
                                   std::unique_ptr<CJSONObject> pReply, CQXString sMessage)
{
    // A "message" that is there but empty hides the "errorcode", on purpose; the caller's text is used then.
    CQXString sError;
    if (pReply && !pReply->FindString("message", &sError, 1) &&
        !pReply->FindString("errorcode", &sError, 1) && TraceEnabled())
        Trace("Failed to parse error from JSON");

    // What the cloud says about its refusal is more specific than the status text.
    if (!sError.IsEmpty())
        sMessage = std::move(sError);
    else if (sMessage.IsEmpty())
        sMessage = "Unknown Error";
    if (TraceEnabled())
        Trace(std::move(sMessage));

    pReply.reset();
    pCommand.reset();
    return 1;
}
