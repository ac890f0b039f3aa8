// Takes in the tokens and their lifetime; when a refresh falls due is decided by the authorisation.

#include "cloud/Text.h"
#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::ProcessTokenReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    CJSONObject* pReply = pCommand->Response();

    // Stored in any case: a reply without the token leaves the account without one, so that nothing goes on
    // working with a token that the cloud may have replaced. Stored once, so that the worker finds the old
    // token or the new one and never an empty one in between.
    CQXString sAccessToken;
    const int bFound = ParseAttribute(pReply, ATTR_ACCESS_TOKEN, &sAccessToken);
    const CQXString sOldToken = m_sAccessToken.Exchange(sAccessToken);
    if (bFound && sAccessToken.Compare(sOldToken) != 0)
        OnNewAccessToken(sAccessToken.GetLength());

    // Unlike the access token the refresh token stays when the reply has none: a reply need not repeat it
    // (RFC 6749, section 6).
    CQXString sRefreshToken;
    if (ParseAttribute(pReply, ATTR_REFRESH_TOKEN, &sRefreshToken))
        TakeRefreshToken(std::move(sRefreshToken));

    int iLifetime = 0;
    if (ParseData(pReply, GetAttribute(ATTR_EXPIRES_IN), &iLifetime)) {
        m_iTokenLifetime = iLifetime;
        if (TraceEnabled())
            Trace(FormatLine("Token expires in [%d]", iLifetime));
        m_tmrToken.Restart();
    }

    if (m_sAccessToken.IsEmpty())
        return 1;
    if (pCommand->GetCommandID() == CMD_TOKEN_AUTHORIZE) {
        CSystem::Instance()->NotifyWrite();
        m_bNotifyConfig = 1;
    } else {
        // Offered even when it has not changed: a sibling may have lost its copy.
        TokenCheck();
    }
    return 1;
}

void CVestaraInterface::OnNewAccessToken(int cbToken)
{
    // The doubled percent sign is on purpose: the line shows the length and the characters %s, never the
    // token.
    if (TraceEnabled())
        Trace(FormatLine("Got new AccessToken [%d:%%s]", cbToken));
    CSystem::Instance()->NotifyWrite();
    ClientBroadcast(1);
    ClearAuthCode();
    InitTimers();
}

void CVestaraInterface::TakeRefreshToken(CQXString sRefreshToken)
{
    if (TraceEnabled())
        Trace(FormatLine("Got RefreshToken [%d:%%s]", sRefreshToken.GetLength()));
    if (sRefreshToken.IsEmpty()) {
        Report(1103, FormatLine("Could not parse RefreshToken - there is likely a communications failure"));
        return;
    }
    if (m_sRefreshToken.Compare(sRefreshToken) == 0)
        return;

    if (TraceEnabled()) {
        Trace(FormatLine("Received new RefreshToken: [%s]",
                         Text(CQXString::Obfuscate(&sRefreshToken, nullptr))));
        CQXString sOldToken = m_sRefreshToken.Get();
        Trace(FormatLine("Old RefreshToken: [%s]", Text(CQXString::Obfuscate(&sOldToken, nullptr))));
    }
    m_sRefreshToken.Set(std::move(sRefreshToken));
    CSystem::Instance()->NotifyWrite();
}
