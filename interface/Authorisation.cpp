// Authorisation of the account: the address that the installer's browser opens, the code that comes back, and
// when the access token is refreshed; the token requests and their replies are the cloud side's.

#include "cloud/CloudConstants.h"
#include "cloud/Text.h"
#include "host/Platform.h"
#include "host/System.h"
#include "interface/VestaraInterface.h"

#include <cstdint>
#include <utility>

namespace
{

constexpr std::uint32_t kRefreshMarginMs = 600000;
constexpr unsigned kNoRefreshTokenPauseMs = 7000;

} // namespace

CQXString CVestaraInterface::GetAuthURL()
{
    // Built anew each time, so that a changed schema or state value shows at once.
    UpdateAuthURL();
    return m_sAuthURL;
}

void CVestaraInterface::UpdateAuthURL()
{
    m_sOAuthState = CSystem::Instance()->GetOAuthState(BridgeID());
    // The redirect address goes in as the host gives it, without encoding.
    const CQXString sRedirect = OAuthRedirectURI(m_iRedirectSchema);
    m_sAuthURL.Format("https://%s/oauth/authorize?client_id=%s&response_type=code&redirect_uri=%s&state=%s",
                      kOAuthHost, kClientID, Text(sRedirect), Text(m_sOAuthState));
}

void CVestaraInterface::SetAuthCode(CQXString sCode)
{
    m_sAuthCode.Set(std::move(sCode));
}

void CVestaraInterface::ProcessAuthCode(CQXString sCode)
{
    // The code stays here while the master sends the request, so only the master can be authorised: on any
    // other interface the request finds no code and is refused. The page offers the button on the master
    // only.
    SetAuthCode(std::move(sCode));
    MasterInterface()->AddCommand(METHOD_TOKEN_CODE, CMD_TOKEN_AUTHORIZE, "", "", "", "");
}

int CVestaraInterface::RefreshToken()
{
    if (!m_bMaster)
        return 0;
    if (m_sRefreshToken.IsEmpty()) {
        DelayTokenRefresh();
        Report(729, FormatLine("Refresh Token is Empty - cannot re-authenticate"));
        // Only a new authorisation helps. Together with the delay of the turns the pause makes one report in
        // about 17 s, with an access token one in about 10 s; commands wait meanwhile.
        Sleep(kNoRefreshTokenPauseMs);
        return 0;
    }
    // 32 bits, unsigned: a lifetime below the margin, zero, or a little below zero wraps to a threshold of
    // some 49 days, which the forced ages do not reach either, so such a token is not refreshed. Lifetimes
    // beyond 4294967 s, of either sign, wrap to any threshold.
    const std::uint32_t uDueMs =
        static_cast<std::uint32_t>(m_iTokenLifetime.load()) * 1000u - kRefreshMarginMs;
    if (m_tmrToken.QXTickCount() < uDueMs)
        return 0;
    MasterInterface()->AddCommand(METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH, "", "", "", "");
    if (TraceEnabled())
        Trace("Sending Token Refresh Command");
    return 1;
}
