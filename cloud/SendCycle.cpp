// Carries one command over TLS to the cloud and sorts the answer by its status; what a reply means is decided
// on the host thread.

#include "cloud/RequestText.h"
#include "cloud/Text.h"
#include "host/HTTP.h"
#include "host/Platform.h"
#include "interface/VestaraInterface.h"

#include <utility>

namespace
{

constexpr int kHttpsPort = 443;
constexpr int kConnectTimeoutMs = 5000;
constexpr unsigned kFailedConnectionPauseMs = 10000;
constexpr const char kNoPage[] = "Page returned NULL - failed to process request";

} // namespace

int CVestaraInterface::SendCommand(std::unique_ptr<CVestaraCommand> pCommand)
{
    CQXString sBody;
    if (!AssembleData(&sBody, pCommand.get())) {
        pCommand.reset();
        return Report(830, FormatLine("Data could not be assembled"));
    }
    CQXString sRequest;
    if (!AssembleHeader(&sRequest, pCommand.get())) {
        pCommand.reset();
        return Report(837, FormatLine("Header could not be assembled"));
    }
    PackData(&sRequest, &sBody, pCommand.get());
    TraceRequest(sRequest, sBody);

    // One connection for each request; none is used again.
    CHTTPConnectionSSL Connection(0);
    std::unique_ptr<CHTMLPage> pPage = Exchange(&Connection, sRequest, pCommand->Method());
    if (!pPage)
        return GiveUpWithoutPage(std::move(pCommand));

    if (CNetworkBridge* pBridge = NetworkBridge()) {
        pBridge->AddNBytesReceived(pPage->NBytes());
        pBridge->AddNReceives(1);
    }

    // Token replies are never traced as they came, because the tokens in them are new to the mask list.
    if (IsApiMethod(pCommand->Method()) && TraceEnabled()) {
        Trace(FormatLine("Got [%s]", Text(m_ObfuscationList.Masked(pPage->Data()))));
    }
    return HandleReply(std::move(pCommand), std::move(pPage));
}

void CVestaraInterface::TraceRequest(const CQXString& sRequest, const CQXString& sBody)
{
    if (!TraceEnabled())
        return;
    Trace(FormatLine("HTTPS message [%s]", Text(m_ObfuscationList.Masked(sRequest))));
    if (!sBody.IsEmpty())
        Trace(FormatLine("HTTPS data [%s]", Text(m_ObfuscationList.Masked(sBody))));
}

std::unique_ptr<CHTMLPage> CVestaraInterface::Exchange(CHTTPConnectionSSL* pConnection,
                                                       const CQXString& sRequest, VestaraMethod eMethod)
{
    if (!pConnection->CreateConnection(HostName(eMethod), kHttpsPort, kConnectTimeoutMs, 0)) {
        Trace("Unable to create SSL connection");
        Sleep(kFailedConnectionPauseMs);
        return nullptr;
    }
    if (CNetworkBridge* pBridge = NetworkBridge()) {
        pBridge->AddNBytesSent(sRequest.GetLength());
        pBridge->AddNSends(1);
    }
    return std::unique_ptr<CHTMLPage>(DoHTTPExchangeWithConnection(pConnection, sRequest, CQXString(), 0, 0));
}

int CVestaraInterface::GiveUpWithoutPage(std::unique_ptr<CVestaraCommand> pCommand)
{
    const CommandID eCommand = pCommand->GetCommandID();
    HandleError(std::move(pCommand), nullptr, kNoPage);

    // A refresh without an answer counts as a lost authorisation: the refresh token may be spent although the
    // answer got lost. A connection that could not be made is treated the same, although nothing was sent
    // then. After a 401 there is no access token any more, so the clean-up leaves everything and the refresh
    // is tried again.
    if (eCommand == CMD_TOKEN_REFRESH) {
        Report(884, FormatLine("Refresh Token cleared due to being invalid"));
        TokenCleanup();
    }
    return Report(888, FormatLine(kNoPage));
}

int CVestaraInterface::HandleReply(std::unique_ptr<CVestaraCommand> pCommand,
                                   std::unique_ptr<CHTMLPage> pPage)
{
    int iStatus = 0;
    CQXString sStatus;
    pPage->ParseResponseCode(&iStatus, &sStatus);
    CHTMLPage* pConsumed = pPage.release();
    std::unique_ptr<CJSONObject> pReply(CHTMLPage::HTMLPageToJSON(pConsumed));

    // Only 200 and 204 are successes; any other code is a failure, 201 included.
    switch (iStatus) {
    case 200:
        return QueueReply(std::move(pCommand), std::move(pReply));
    case 204:
        return FinishDeletion(std::move(pCommand));
    case 401:
        return DropAuthorization(std::move(pCommand), std::move(pReply), std::move(sStatus));
    default:
        HandleError(std::move(pCommand), std::move(pReply), sStatus);
        return Report(967, FormatLine("Command unsuccessful [%s]", Text(sStatus)));
    }
}

int CVestaraInterface::QueueReply(std::unique_ptr<CVestaraCommand> pCommand,
                                  std::unique_ptr<CJSONObject> pReply)
{
    // Without JSON there is nothing to process; the success itself is all that the cloud had to say.
    if (pReply) {
        pCommand->Response(pReply.release());
        if (IsApiMethod(pCommand->Method()))
            pCommand->Response()->Trace(this);
        AddResponse(std::move(pCommand));
    }
    pCommand.reset();
    if (TraceEnabled())
        Trace("Command successful");
    return 1;
}

int CVestaraInterface::FinishDeletion(std::unique_ptr<CVestaraCommand> pCommand)
{
    if (TraceEnabled()) {
        if (pCommand->GetCommandID() == CMD_ACCESS_PERSON_DELETE)
            Trace(FormatLine("User [%s] Deleted", Text(pCommand->UserID())));
        else if (pCommand->GetCommandID() == CMD_ACCESS_REVOKE)
            Trace(FormatLine("User [%s] Access Revoked from [%s]", Text(pCommand->UserID()),
                             Text(pCommand->AccessID())));
    }
    pCommand.reset();

    // Said for every command without content, deletion or not: the code alone decides.
    if (TraceEnabled()) {
        Trace("Deletion Handled");
        Trace("Command successful");
    }
    return 1;
}

int CVestaraInterface::DropAuthorization(std::unique_ptr<CVestaraCommand> pCommand,
                                         std::unique_ptr<CJSONObject> pReply, CQXString sStatus)
{
    // All lists of the account go, not only the commands that the refused token would spoil: replies that
    // wait (a token reply among them is lost, and with it a refresh token that it may bring), locations,
    // access persons and the mask list, which stays empty until the record is read again. Refresh token and
    // location stay. On the master the refresh falls due with the next turn if the lifetime is 600 to 7200 s;
    // the age that the worker sets without an access token reaches lifetimes up to some 7810 s; others are
    // not refreshed after a loss. Any other account waits until the master shares a token.
    RemoveAllObjects();
    ClientBroadcast(0);
    DelayTokenRefresh();
    ResetUpdateTimers();
    m_sAccessToken.Empty();
    HandleError(std::move(pCommand), std::move(pReply), std::move(sStatus));
    if (TraceEnabled())
        Trace("Token has been revoked - re-authentication needed");
    return 0;
}
