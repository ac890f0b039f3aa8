// The singletons of the host, which are the parts plugged into the framework.

#include "devhost/framework/seams/Framework.h"
#include "host/Servers.h"
#include "host/System.h"
#include "host/Trace.h"

CSystem* CSystem::Instance()
{
    return devhost::TheFramework().pSystem;
}

CIDServer* CIDServer::Instance()
{
    return devhost::TheFramework().pIDServer;
}

CEventServer* CEventServer::Instance()
{
    return devhost::TheFramework().pEventServer;
}

CSecurityServer* CSecurityServer::Instance()
{
    return devhost::TheFramework().pSecurityServer;
}

CTraceServer* CTraceServer::Instance()
{
    return devhost::TheFramework().pTraceServer;
}
