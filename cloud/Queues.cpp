// The two queues between the host thread and the worker; what is done with a command is decided elsewhere.

#include "host/Platform.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::AddCommand(VestaraMethod eMethod, CommandID eCommand, CQXString sLocationID,
                                  CQXString sDeviceID, CQXString sUserID, CQXString sAccessID)
{
    auto pCommand =
        std::make_unique<CVestaraCommand>(eMethod, eCommand, std::move(sLocationID), std::move(sDeviceID),
                                          std::move(sUserID), std::move(sAccessID));
    m_Commands.AddTail(pCommand.get());
    static_cast<void>(pCommand.release()); // only now: the queue may have no memory for it

    // The new command counts already, so the worker's next turn comes sooner.
    return AdjustTickRate();
}

std::unique_ptr<CVestaraCommand> CVestaraInterface::NextCommand()
{
    return std::unique_ptr<CVestaraCommand>(static_cast<CVestaraCommand*>(m_Commands.RemoveHead()));
}

int CVestaraInterface::AddResponse(std::unique_ptr<CVestaraCommand> pCommand)
{
    // The pace stays as it is on purpose: a waiting reply is the host thread's work, and the worker counts it
    // at the end of its turn.
    m_Responses.AddTail(pCommand.get());
    static_cast<void>(pCommand.release());
    return SetMainLoopTrigger();
}

std::unique_ptr<CVestaraCommand> CVestaraInterface::NextResponse()
{
    return std::unique_ptr<CVestaraCommand>(static_cast<CVestaraCommand*>(m_Responses.RemoveHead()));
}
