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

bool IsOurHost(const std::string& Host, std::uint16_t Port)
{
    const std::size_t Colon = Host.rfind(':');
    if (Colon == std::string::npos || Host.substr(Colon + 1) != std::to_string(Port))
        return false;
    const std::string Name = Lower(Host.substr(0, Colon));
    return Name == "127.0.0.1" || Name == "localhost" || Name == "[::1]";
}

bool IsOurOrigin(const std::string& Origin, std::uint16_t Port)
{
    static const std::string kScheme = "http://";
    return Origin.starts_with(kScheme) && IsOurHost(Origin.substr(kScheme.size()), Port);
}

// Fetch Metadata Request Headers, section 2.3 (W3C): "none" is the user's own doing, such as an address typed
// in. Other programs than browsers send no such header. "same-site" is another port of this machine, or a
// page of any other local program.
bool IsOurFetch(const std::string& FetchSite)
{
    return FetchSite.empty() || FetchSite == "same-origin" || FetchSite == "none";
}

bool IsJson(const std::string& ContentType)
{
    std::string Type = Lower(ContentType.substr(0, ContentType.find(';')));
    Type.erase(Type.find_last_not_of(" \t") + 1);
    return Type == "application/json";
}

} // namespace

std::optional<ApiResponse> CheckRequest(const GuardedHeaders& Headers, std::uint16_t Port)
{
    if (!IsOurHost(Headers.Host, Port))
        return ErrorResponse(421, "wrong_host",
                             "the Host header must name localhost or 127.0.0.1 and port " +
                                 std::to_string(Port));
    // The redirect comes from the cloud's page: browsers call that cross-site, and some send a foreign
    // origin. The state value guards it.
    const bool bForeign =
        (!Headers.Origin.empty() && !IsOurOrigin(Headers.Origin, Port)) || !IsOurFetch(Headers.FetchSite);
    if (bForeign && Headers.Path != kRedirectPath)
        return ErrorResponse(403, "wrong_origin",
                             "requests of other web pages are refused; enter the address in the browser");
    // A page can send a GET or a POST anywhere without asking, but a DELETE only after a preflight request,
    // which nobody answers here; so a DELETE needs no body whose type could be checked.
    const bool bWrites = Headers.Method != "GET" && Headers.Method != "HEAD" && Headers.Method != "DELETE";
    if ((bWrites || Headers.HasBody) && !IsJson(Headers.ContentType))
        return ErrorResponse(415, "wrong_content_type", "the Content-Type must be application/json");
    return std::nullopt;
}

} // namespace devhost
