// Lock and unlock as the controller's users ask for them; the request is queued here, and its outcome arrives
// as a reported state.

#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

namespace
{

constexpr int kLockCommand = 1270;
constexpr int kUnlockCommand = 1271;

} // namespace

int CPortivo::ExecuteCommand(int iCommand, int iArgument)
{
    // Without an interface nothing could be sent, so the lock must not look as if something had been.
    if (!Interface())
        return 0;
    if (iCommand == kLockCommand && State() != STATE_SECURED)
        return SendLock();
    if (iCommand == kUnlockCommand && State() != STATE_UNSECURED)
        return SendUnlock(iArgument);
    return 0;
}

int CPortivo::SendLock()
{
    if (TraceEnabled())
        Trace("Sending LOCK command - Mark Working");
    RegisterWorking(1);
    QueueWrite(CMD_DEVICE_LOCK);
    m_iLastCommand = kLastCommandLock;
    LockState(STATE_IN_TRANSIT);
    return 1;
}

int CPortivo::SendUnlock(int iUser)
{
    m_tmrUnlock.Restart();
    // Users count from 1 here and from 0 in the field. Unsigned, because the host's number may be any.
    m_iUnlockUser = static_cast<std::int32_t>(static_cast<std::uint32_t>(iUser) - 1u);
    if (TraceEnabled())
        Trace("Sending UNLOCK command - Mark Working");
    RegisterWorking(1);
    CDoorLock::RegisterUnlockCommand(iUser);
    QueueWrite(CMD_DEVICE_UNLOCK);
    m_iLastCommand = kLastCommandUnlock;
    LockState(STATE_IN_TRANSIT);
    return 1;
}

void CPortivo::QueueWrite(CommandID eCommand)
{
    CVestaraInterface* pInterface = Interface();
    pInterface->AddCommand(METHOD_WRITE, eCommand, pInterface->LocationID(), DeviceID(), "", "");
}
