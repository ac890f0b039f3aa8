// The singletons of the host, which are the parts plugged into the framework.

#include "devhost/framework/seams/Framework.h"
#include "host/Servers.h"
#include "host/System.h"
#include "host/Trace.h"

CSystem* CSystem::Instance()
{
    return devhost::TheFramework().system;
}

CIDServer* CIDServer::Instance()
{
    return devhost::TheFramework().idServer;
}

CEventServer* CEventServer::Instance()
{
    return devhost::TheFramework().eventServer;
}

CSecurityServer* CSecurityServer::Instance()
{
    return devhost::TheFramework().securityServer;
}

CTraceServer* CTraceServer::Instance()
{
    return devhost::TheFramework().traceServer;
}
