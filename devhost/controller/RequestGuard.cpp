// Decides which requests reach the configurator at all.

#include "devhost/controller/RequestGuard.h"

#include <algorithm>

namespace devhost
{

namespace
{

std::string Lower(std::string Text)
{
    std::ranges::transform(Text, Text.begin(),
                           [](char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    return Text;
}

bool IsOurHost(const std::string& host, std::uint16_t port)
{
    const std::size_t Colon = host.rfind(':');
    if (Colon == std::string::npos || host.substr(Colon + 1) != std::to_string(port))
        return false;
    const std::string Name = Lower(host.substr(0, Colon));
    return Name == "127.0.0.1" || Name == "localhost" || Name == "[::1]";
}

bool IsOurOrigin(const std::string& origin, std::uint16_t port)
{
    static const std::string kScheme = "http://";
    return origin.starts_with(kScheme) && IsOurHost(origin.substr(kScheme.size()), port);
}

// Fetch Metadata Request Headers, section 2.3 (W3C): "none" is the user's own doing, such as an address typed
// in. Other programs than browsers send no such header. "same-site" is another port of this machine, or a
// page of any other local program.
bool IsOurFetch(const std::string& fetchSite)
{
    return fetchSite.empty() || fetchSite == "same-origin" || fetchSite == "none";
}

bool IsJson(const std::string& contentType)
{
    std::string type = Lower(contentType.substr(0, contentType.find(';')));
    type.erase(type.find_last_not_of(" \t") + 1);
    return type == "application/json";
}

} // namespace

std::optional<ApiResponse> CheckRequest(const GuardedHeaders& headers, std::uint16_t port)
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
    // A page can send a GET or a POST anywhere without asking, but a DELETE only after a preflight request,
    // which nobody answers here; so a DELETE needs no body whose type could be checked.
    const bool writes = headers.method != "GET" && headers.method != "HEAD" && headers.method != "DELETE";
    if ((writes || headers.hasBody) && !IsJson(headers.contentType))
        return ErrorResponse(415, "wrong_content_type", "the Content-Type must be application/json");
    return std::nullopt;
}

} // namespace devhost
