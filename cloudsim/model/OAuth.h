#pragma once

#include "cloudsim/model/Forms.h"
#include "cloudsim/model/Http.h"
#include "cloudsim/model/Options.h"
#include "cloudsim/model/World.h"

#include <map>
#include <string>
#include <string_view>

namespace cloudsim
{

inline constexpr std::chrono::minutes kCodeLifetime{10};

// The authorisation server: the authorize page, the token endpoint and the check of bearer tokens (RFC 6749,
// 6750). Codes and consent pages live here and are lost at a restart; tokens live in the world.
class OAuthService
{
public:
    // Borrows the options and the world.
    OAuthService(const Options& options, World& world, RandomSource random);

    // GET shows the consent page (or redirects at once with Options::autoApprove), POST takes its answer.
    Response Authorize(const Request& request, TimePoint now);

    // POST /oauth/token with one of the two grants. Throws Refusal; TokenError turns that into the OAuth
    // form.
    Response Token(const Request& request, TimePoint now);
    static Response TokenError(const Refusal& refusal);

    // Throws Refusal (401) unless the request carries a bearer token that is valid now.
    void Authenticate(const Request& request, TimePoint now) const;

    // Both return how many tokens they revoked.
    std::size_t RevokeAccessTokens();
    std::size_t RevokeRefreshTokens();

private:
    struct AuthorizeQuery {
        std::string redirectUri;
        std::string state;
    };
    struct Code {
        std::string redirectUri;
        TimePoint expiresAt;
    };
    struct Consent {
        AuthorizeQuery query;
        TimePoint expiresAt;
    };

    AuthorizeQuery CheckAuthorizeQuery(const Request& request) const;
    Response ConsentPage(const Request& request, const AuthorizeQuery& query, TimePoint now);
    Response AnswerConsent(const Request& request, const AuthorizeQuery& query, TimePoint now);
    Response RedirectWithCode(const AuthorizeQuery& query, TimePoint now);
    void RedeemCode(const FormFields& fields);
    void RedeemRefreshToken(const FormFields& fields, TimePoint now);
    Response IssueTokens(TimePoint now);
    void ForgetExpired(TimePoint now);

    const Options& m_options;
    World& m_world;
    RandomSource m_random;
    std::map<std::string, Code, std::less<>> m_codes;
    std::map<std::string, TimePoint, std::less<>> m_spent;  // refresh tokens in their grace, and its end
    std::map<std::string, Consent, std::less<>> m_consents; // by the form's one-time token
};

} // namespace cloudsim
