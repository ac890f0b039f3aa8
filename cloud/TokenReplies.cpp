// Takes in the tokens and their lifetime; when a refresh falls due is decided by the authorisation.

#include "cloud/Text.h"
#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <utility>

int CVestaraInterface::ProcessTokenReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    CJSONObject* pReply = pCommand->Response();

    // Straight into the member on purpose: a reply without the token leaves the account without one, so that
    // nothing goes on working with a token that the cloud may have replaced.
    const CQXString sOldToken = m_sAccessToken;
    if (ParseData(pReply, GetAttribute(ATTR_ACCESS_TOKEN), &m_sAccessToken) &&
        m_sAccessToken.Compare(sOldToken) != 0)
        OnNewAccessToken();

    // Through a local, unlike the access token: a reply need not repeat the refresh token (RFC 6749, section
    // 6).
    CQXString sRefreshToken;
    if (ParseData(pReply, GetAttribute(ATTR_REFRESH_TOKEN), &sRefreshToken))
        TakeRefreshToken(sRefreshToken);

    if (ParseData(pReply, GetAttribute(ATTR_EXPIRES_IN), &m_iTokenLifetime)) {
        if (TraceEnabled())
            Trace(FormatLine("Token expires in [%d]", m_iTokenLifetime));
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

void CVestaraInterface::OnNewAccessToken()
{
    // The doubled percent sign is on purpose: the line shows the length and the characters %s, never the
    // token.
    if (TraceEnabled())
        Trace(FormatLine("Got new AccessToken [%d:%%s]", m_sAccessToken.GetLength()));
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
    if (sRefreshToken.Compare(m_sRefreshToken) == 0)
        return;

    if (TraceEnabled()) {
        Trace(FormatLine("Received new RefreshToken: [%s]",
                         Text(CQXString::Obfuscate(&sRefreshToken, nullptr))));
        Trace(FormatLine("Old RefreshToken: [%s]", Text(CQXString::Obfuscate(&m_sRefreshToken, nullptr))));
    }
    m_sRefreshToken.Format("%s", Text(sRefreshToken));
    CSystem::Instance()->NotifyWrite();
}
