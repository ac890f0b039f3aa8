// Tells the locks of an account whether it is authorised; how a lock shows that is left to the lock.

#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

int CVestaraInterface::ClientBroadcast(int bAuthorized)
{
    // Only changes are told, each by the thread that made it. After a start the state is "not authorised", so
    // a loss is not told to the locks before the account has got a new token. An account that is no master
    // sets it only when its own token check brings a token, so its locks are told of one loss after each of
    // those and not of later ones.
    if (m_bAuthorized.exchange(bAuthorized) == bAuthorized)
        return bAuthorized;

    const int nClients = NClients();
    if (TraceEnabled())
        Trace(FormatLine("ClientBroadcast message: [%d] to [%d] clients", bAuthorized, nClients));
    for (int i = 0; i < nClients; ++i) {
        CBridgeClient* pClient = Client(i);
        if (!pClient)
            return 0;
        auto* pLock = dynamic_cast<CPortivo*>(pClient);
        if (!pLock)
            continue;
        if (!bAuthorized)
            TellAuthLost(pLock);
        else if (pLock->NeedAuth())
            pLock->NeedAuth(0);
    }
    return nClients;
}

void CVestaraInterface::TellAuthLost(CPortivo* pLock)
{
    if (!pLock->NeedAuth()) {
        pLock->NeedAuth(1);
        DelayTokenRefresh();
        pLock->RegisterErrorState("Authentication Lost");
    }
    // A lock that was told before may have been commanded since, so these two do not depend on the notice.
    if (pLock->Working())
        pLock->RegisterWorking(0);
    if (pLock->State() != CDoorLock::STATE_UNKNOWN)
        pLock->RegisterUnknownState();
}
