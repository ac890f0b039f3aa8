// Decides which requests reach the configurator at all.

#include "devhost/controller/RequestGuard.h"

#include <boost/beast/core/string.hpp>
#include <boost/url/authority_view.hpp>

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace devhost
{

namespace
{

constexpr std::array<std::string_view, 3> kOurNames = {"127.0.0.1", "localhost", "[::1]"};

bool IsOurHost(std::string_view host, std::uint16_t port)
{
    const auto authority = boost::urls::parse_authority(host);
    if (!authority || authority->has_userinfo() || authority->port() != std::to_string(port))
        return false;
    const std::string_view name = authority->encoded_host();
    return std::ranges::any_of(kOurNames,
                               [name](std::string_view ours) { return boost::beast::iequals(name, ours); });
}

bool IsOurOrigin(std::string_view origin, std::uint16_t port)
{
    constexpr std::string_view kScheme = "http://";
    return origin.starts_with(kScheme) && IsOurHost(origin.substr(kScheme.size()), port);
}

// Fetch Metadata Request Headers, section 2.3 (W3C): "none" is the user's own doing, such as an address typed
// in. Other programs than browsers send no such header. "same-site" is another port of this machine, or a
// page of any other local program.
bool IsOurFetch(std::string_view fetchSite)
{
    return fetchSite.empty() || fetchSite == "same-origin" || fetchSite == "none";
}

// By what needs none, so that an address in a form that was not thought of needs one.
bool NeedsToken(std::string_view path)
{
    return path != "/" && !path.starts_with(kAssetsPath) && path != kRedirectPath;
}

// The time that the comparison takes says nothing about the token but its length, which is no secret.
bool Bears(std::string_view authorization, std::string_view token)
{
    constexpr std::string_view kScheme = "Bearer ";
    if (!boost::beast::iequals(authorization.substr(0, kScheme.size()), kScheme))
        return false;
    authorization.remove_prefix(authorization.find_first_not_of(' ', kScheme.size() - 1));
    return authorization.size() == token.size() &&
           CRYPTO_memcmp(authorization.data(), token.data(), token.size()) == 0;
}

ApiResponse WantToken(const WantedToken& wanted)
{
    ApiResponse refusal =
        ErrorResponse(401, "needs_token",
                      "this host serves only who knows its token: open the address that it printed when it "
                      "started, or send the token from " +
                          wanted.where + " as \"Authorization: Bearer TOKEN\"");
    refusal.authenticate = "Bearer realm=\"configurator\"";
    return refusal;
}

bool IsJson(std::string_view contentType)
{
    const std::string_view type = contentType.substr(0, contentType.find(';'));
    return boost::beast::iequals(type.substr(0, type.find_last_not_of(" \t") + 1), kJsonType);
}

} // namespace

std::optional<ApiResponse> CheckRequest(const GuardedHeaders& headers, std::uint16_t port,
                                        const WantedToken& wanted)
{
    if (!IsOurHost(headers.host, port))
        return ErrorResponse(421, "wrong_host",
                             "the Host header must name localhost or 127.0.0.1 and port " +
                                 std::to_string(port));
    // The redirect comes from the cloud's page: browsers call that cross-site, and some send a foreign
    // origin. The state value guards it.
    const bool foreign =
        (!headers.origin.empty() && !IsOurOrigin(headers.origin, port)) || !IsOurFetch(headers.fetchSite);
    if (foreign && headers.path != kRedirectPath)
        return ErrorResponse(403, "wrong_origin",
                             "requests of other web pages are refused; enter the address in the browser");
    if (!wanted.token.empty() && NeedsToken(headers.path) && !Bears(headers.authorization, wanted.token))
        return WantToken(wanted);
    // A page can send a GET or a POST anywhere without asking, but a DELETE only after a preflight request,
    // which nobody answers here; so a DELETE needs no body whose type could be checked.
    const bool writes = headers.method != "GET" && headers.method != "HEAD" && headers.method != "DELETE";
    if ((writes || headers.hasBody) && !IsJson(headers.contentType))
        return ErrorResponse(415, "wrong_content_type", "the Content-Type must be application/json");
    return std::nullopt;
}

} // namespace devhost
