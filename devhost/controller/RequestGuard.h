#pragma once
// What the configurator asks of a request before anything else.

#include "devhost/controller/Api.h"

#include <cstdint>
#include <optional>
#include <string>

namespace devhost
{

/// The headers that decide whether a request is let in. Empty: the header is not there.
struct GuardedHeaders {
    std::string method;
    std::string path; ///< without the query
    std::string host;
    std::string origin;
    std::string fetchSite; ///< Sec-Fetch-Site
    std::string contentType;
    bool hasBody = false;
    std::string authorization = {};
};

/// The token that requests must bear.
struct WantedToken {
    std::string token; ///< empty: none is wanted
    std::string where; ///< the file that it is in, for people
};

/// Without a token, what guards the configurator is that it listens on loopback only. A web page in a
/// browser of the same machine could still send requests to it, so a request must name a loopback host
/// (another name that leads here is an attack by rebinding that name), must come from no page or from our
/// own (Origin, and Sec-Fetch-Site for requests that bear no origin), and must have a JSON content type when
/// it changes something, which a page elsewhere cannot send. With a token it must bear that as well (RFC
/// 6750, section 2.1), but for the page's files, which hold no data, and the OAuth redirect.
/// @param port on which the configurator listens.
/// @return the refusal, or nothing when the request may pass.
std::optional<ApiResponse> CheckRequest(const GuardedHeaders& headers, std::uint16_t port,
                                        const WantedToken& wanted = {});

/// Below here are the page's files.
inline constexpr const char* kAssetsPath = "/assets/";

/// Where the OAuth redirect arrives.
inline constexpr const char* kRedirectPath = "/oauth/redirect";

} // namespace devhost
