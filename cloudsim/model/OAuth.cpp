// Issues and checks authorisation codes and tokens; the pages' text stands in ConsentPage.cpp.
#include "cloudsim/model/OAuth.h"

#include "cloudsim/model/ConsentPage.h"
#include "cloudsim/model/Replies.h"
#include "cloudsim/model/RequestChecks.h"

#include <algorithm>
#include <boost/url/encode.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>

namespace cloudsim
{
namespace
{

constexpr std::string_view kFormType = "application/x-www-form-urlencoded";
constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kMaxOpenCodes = 1000; // a page that is reloaded for ever must not fill the memory

std::string RequireField(const FormFields& fields, std::string_view name)
{
    const auto field = fields.find(name);
    if (field == fields.end() || field->second.empty())
        throw Refusal(400, "invalid_request", std::string(name) + " is missing");
    return field->second;
}

void RefuseUnknownFields(const FormFields& fields, std::initializer_list<std::string_view> known)
{
    for (const auto& [name, value] : fields) {
        if (std::ranges::find(known, name) == known.end())
            throw Refusal(400, "invalid_request", "field '" + name.substr(0, 64) + "' is not known here");
    }
}

void CheckClient(const FormFields& fields)
{
    if (RequireField(fields, "client_id") != kClientId)
        throw Refusal(401, "invalid_client", "client_id is not that of a known client");
    if (RequireField(fields, "client_secret") != kClientSecret)
        throw Refusal(401, "invalid_client", "client_secret is wrong");
}

std::string Redirect(const std::string& redirectUri, const std::string& outcome, const std::string& state)
{
    const char separator = redirectUri.find('?') == std::string::npos ? '?' : '&';
    return redirectUri + separator + outcome +
           "&state=" + boost::urls::encode(state, boost::urls::unreserved_chars);
}

template <typename Entries>
void EraseExpired(Entries& entries, TimePoint now)
{
    std::erase_if(entries, [now](const auto& entry) { return entry.second.expiresAt <= now; });
    // All live equally long, so the one that ends first is the oldest.
    while (entries.size() >= kMaxOpenCodes)
        entries.erase(
            std::ranges::min_element(entries, {}, [](const auto& entry) { return entry.second.expiresAt; }));
}

} // namespace

OAuthService::OAuthService(const Options& options, World& world, RandomSource random)
    : m_options(options), m_world(world), m_random(std::move(random))
{
}

void OAuthService::ForgetExpired(TimePoint now)
{
    std::erase_if(m_spent, [&](const auto& entry) { return entry.second <= now; });
    EraseExpired(m_codes, now);
    EraseExpired(m_consents, now);
    std::erase_if(m_world.accessTokens, [now](const AccessToken& token) { return token.expiresAt <= now; });
}

OAuthService::AuthorizeQuery OAuthService::CheckAuthorizeQuery(const Request& request) const
{
    const FormFields fields = ParseForm(request.Query().value_or(""));
    RefuseUnknownFields(fields, {"client_id", "response_type", "redirect_uri", "state", "scope"});
    if (RequireField(fields, "client_id") != kClientId)
        throw Refusal(400, "invalid_client", "client_id is not that of a known client");
    AuthorizeQuery query{RequireField(fields, "redirect_uri"), {}};
    if (!IsLoopbackHttpAddress(query.redirectUri) &&
        std::ranges::find(m_options.redirectUris, query.redirectUri) == m_options.redirectUris.end())
        throw Refusal(400, "invalid_redirect_uri",
                      "redirect_uri is neither a loopback http address nor a registered one");
    query.state = RequireField(fields, "state");
    if (RequireField(fields, "response_type") != "code")
        throw Refusal(400, "unsupported_response_type", "response_type must be \"code\"");
    return query;
}

Response OAuthService::Authorize(const Request& request, TimePoint now)
try {
    RequireMethod(request, "GET, POST");
    // A browser reaches this page by its mapped address too, so any port and the loopback names are fine.
    const auto host = HostWithoutPort(RequireHeader(request, "Host", 400, "host"));
    if (host != m_options.oauthHost && !IsLoopbackHost(host))
        throw Refusal(421, "wrong_host", "the Host header is not that of the authorisation server");
    ForgetExpired(now);
    const AuthorizeQuery query = CheckAuthorizeQuery(request);
    if (request.method == "POST")
        return AnswerConsent(request, query, now);
    RequireNoBody(request);
    return m_options.autoApprove ? RedirectWithCode(query, now) : ConsentPage(request, query, now);
} catch (const Refusal& refusal) {
    Response response = HtmlReply(refusal.Status(), ErrorPageHtml(refusal.what()));
    response.errorcode = refusal.Errorcode();
    response.reason = refusal.what();
    return response;
}

Response OAuthService::ConsentPage(const Request& request, const AuthorizeQuery& query, TimePoint now)
{
    const std::string formToken = m_random(kTokenBytes);
    m_consents[formToken] = {query, now + kCodeLifetime};
    return HtmlReply(200, ConsentPageHtml(m_world, request.target, formToken));
}

Response OAuthService::AnswerConsent(const Request& request, const AuthorizeQuery& query, TimePoint now)
{
    RequireBody(request, kFormType);
    const FormFields fields = ParseForm(request.body);
    RefuseUnknownFields(fields, {"csrf", "decision"});
    const auto consent = m_consents.find(RequireField(fields, "csrf"));
    const bool isOfThisPage = consent != m_consents.end() && consent->second.query.state == query.state &&
                              consent->second.query.redirectUri == query.redirectUri;
    if (!isOfThisPage)
        throw Refusal(403, "invalid_consent", "this page has been answered or is too old; start again");
    const std::string decision = RequireField(fields, "decision");
    if (decision != "approve" && decision != "deny")
        throw Refusal(400, "invalid_request", "decision must be \"approve\" or \"deny\"");
    m_consents.erase(consent);
    if (decision == "approve")
        return RedirectWithCode(query, now);
    return RedirectReply(Redirect(query.redirectUri, "error=access_denied", query.state));
}

Response OAuthService::RedirectWithCode(const AuthorizeQuery& query, TimePoint now)
{
    const std::string code = m_random(kTokenBytes);
    m_codes[code] = {query.redirectUri, now + kCodeLifetime};
    return RedirectReply(Redirect(query.redirectUri, "code=" + code, query.state));
}

Response OAuthService::Token(const Request& request, TimePoint now)
{
    RequireMethod(request, "POST");
    RequirePlainTarget(request);
    RequireHost(request, m_options.oauthHost);
    RequireAccept(request, kJsonMediaType);
    RequireBody(request, kFormType);
    ForgetExpired(now);
    const FormFields fields = ParseForm(request.body);
    const std::string grant = RequireField(fields, "grant_type");
    if (grant == "authorization_code")
        RedeemCode(fields);
    else if (grant == "refresh_token")
        RedeemRefreshToken(fields, now);
    else
        throw Refusal(400, "unsupported_grant_type",
                      "grant_type must be \"authorization_code\" or \"refresh_token\"");
    return IssueTokens(now);
}

void OAuthService::RedeemCode(const FormFields& fields)
{
    RefuseUnknownFields(fields, {"code", "client_id", "client_secret", "redirect_uri", "grant_type"});
    CheckClient(fields);
    const auto found = m_codes.find(RequireField(fields, "code"));
    const std::string redirectUri = RequireField(fields, "redirect_uri");
    if (found == m_codes.end())
        throw Refusal(400, "invalid_grant", "the code is unknown, used or expired");
    // A code is spent by its first use, also by a wrong one (RFC 6749 section 4.1.2).
    const std::string issuedFor = found->second.redirectUri;
    m_codes.erase(found);
    if (issuedFor != redirectUri)
        throw Refusal(400, "invalid_grant", "redirect_uri is not the one that the code was issued for");
}

void OAuthService::RedeemRefreshToken(const FormFields& fields, TimePoint now)
{
    RefuseUnknownFields(fields, {"client_id", "client_secret", "refresh_token", "grant_type"});
    CheckClient(fields);
    const std::string token = RequireField(fields, "refresh_token");
    const auto found = std::ranges::find(m_world.refreshTokens, token);
    if (found == m_world.refreshTokens.end() && m_spent.contains(token))
        return;
    if (found == m_world.refreshTokens.end())
        throw Refusal(400, "invalid_grant", "the refresh token is unknown, used or revoked");
    m_world.refreshTokens.erase(found);
    if (m_options.refreshGrace.count() > 0)
        m_spent[token] = now + m_options.refreshGrace;
}

Response OAuthService::IssueTokens(TimePoint now)
{
    const std::string access = m_random(kTokenBytes);
    const std::string refresh = m_random(kTokenBytes);
    m_world.accessTokens.push_back({access, now + m_options.tokenLifetime});
    m_world.refreshTokens.push_back(refresh);
    return JsonReply(
        200, Json{{"access_token", access},
                  {"token_type", "bearer"},
                  {"expires_in", m_options.tokenLifetime.count()},
                  {"refresh_token", refresh},
                  {"created_at", std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count()}});
}

Response OAuthService::TokenError(const Refusal& refusal)
{
    Response response = JsonReply(refusal.Status(), Json{{"error", refusal.Errorcode()},
                                                         {"error_description", refusal.what()},
                                                         {"message", refusal.what()},
                                                         {"errorcode", refusal.Errorcode()}});
    response.errorcode = refusal.Errorcode();
    response.reason = refusal.what();
    return response;
}

void OAuthService::Authenticate(const Request& request, TimePoint now) const
{
    static constexpr std::string_view scheme = "Bearer ";
    const std::string_view value = RequireHeader(request, "Authorization", 401, "authorization");
    if (!value.starts_with(scheme))
        throw Refusal(401, "wrong_authorization",
                      "the Authorization header is not of the form \"Bearer TOKEN\"");
    const auto found =
        std::ranges::find(m_world.accessTokens, value.substr(scheme.size()), &AccessToken::token);
    if (found == m_world.accessTokens.end())
        throw Refusal(401, "invalid_token", "the access token is unknown or revoked");
    if (found->expiresAt <= now)
        throw Refusal(401, "expired_token", "the access token has expired");
}

std::size_t OAuthService::RevokeAccessTokens()
{
    return std::exchange(m_world.accessTokens, {}).size();
}

std::size_t OAuthService::RevokeRefreshTokens()
{
    m_spent.clear();
    return std::exchange(m_world.refreshTokens, {}).size();
}

} // namespace cloudsim
