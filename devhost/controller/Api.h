#pragma once
// Requests and replies of the configurator, apart from their transport.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// A request whose transport was checked.
struct ApiRequest {
    std::string method;
    std::string path;                         ///< without the query, not decoded
    std::map<std::string, std::string> query; ///< decoded
    std::string body;
    bool duplicateQuery = false; ///< a name occurs twice in the query; the first value was taken
    bool acceptsGzip = false;    ///< RFC 9110, section 12.5.3

    /// The value of a query parameter; empty when it is not there.
    std::string Parameter(const std::string& name) const;
    /// A query parameter as a number; the fallback when it is empty or not there. @throws ApiError 400 when
    /// it is none.
    std::uint64_t Number(const std::string& name, std::uint64_t fallback) const;
};

/// The type of all bodies but those of pages and of the event stream.
inline constexpr const char* kJsonType = "application/json";

struct ApiResponse {
    int status = 200;
    std::string contentType = kJsonType;
    std::string body;
    std::string allow;             ///< for status 405
    std::string authenticate = {}; ///< for status 401
    // What only the page's files have.
    std::string contentSecurityPolicy = {}; ///< empty: the one of all other replies
    std::string cacheControl = {};          ///< empty: not kept
    bool gzip = false;                      ///< the body is compressed
    bool variesByEncoding = false;          ///< there is a compressed body and a plain one
};

/// A request that cannot be served: an HTTP status, a short code for programs and a sentence for people.
class ApiError : public std::runtime_error
{
public:
    ApiError(int httpStatus, std::string errorCode, const std::string& message)
        : std::runtime_error(message), status(httpStatus), code(std::move(errorCode))
    {
    }
    int status;
    std::string code;
};

/// The reply for an error: {"error":{"code","message"}}.
ApiResponse ErrorResponse(int status, const std::string& code, const std::string& message);

/// The reply to a method that a path does not have. @param allow those that it has, separated by ", ".
ApiResponse MethodNotAllowed(const std::string& path, const std::string& allow);

/// Text of a JSON value; bytes that are no UTF-8 come out as replacement characters.
std::string Text(const nlohmann::json& value);

/// An integer of a request's body; nothing for what is none, and for one that an int cannot hold, which a
/// plain conversion would cut.
std::optional<int> ToInt(const nlohmann::json& value);

/// Takes a request target apart. @return nothing when an escape in the query is malformed.
std::optional<ApiRequest> ParseTarget(std::string_view target);

/// What a handler gets: the request, the values of the placeholders in its path, and the parsed body.
struct ApiCall {
    const ApiRequest& request;
    std::map<std::string, std::string> path;
    nlohmann::json body; ///< an object for PUT and POST (empty without a body), null otherwise

    /// A path parameter as a number from 0 to 2^31-1. @throws ApiError 404 when it is none.
    int Number(const std::string& name) const;
    /// Whether secrets were asked for with ?secrets=1.
    bool Secrets() const { return request.Parameter("secrets") == "1"; }
};

using ApiHandler = std::function<nlohmann::json(const ApiCall&)>;

/// Routes by method and path pattern, for example "/api/v1/locks/{id}". Filled once, then read by any thread.
class ApiRouter
{
public:
    void Add(std::string method, std::string pattern, ApiHandler handler);
    /// Finds the route and calls its handler. Every error becomes a reply: 404 for an unknown path, 405 for
    /// another method, 400 for a body that is no JSON object, what the handler threw, and 500 otherwise.
    ApiResponse Serve(const ApiRequest& request) const;

private:
    struct Route {
        std::string method;
        std::vector<std::string> pattern;
        ApiHandler handler;
    };
    std::vector<Route> m_routes;
};

} // namespace devhost
