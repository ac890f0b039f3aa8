// Takes requests apart, finds their routes and turns every error into a reply. What the routes do is
// ConfiguratorApi.cpp's.

#include "devhost/controller/Api.h"

#include <boost/algorithm/string/split.hpp>
#include <boost/url/url.hpp>

#include <charconv>
#include <utility>

namespace devhost
{

namespace
{

namespace urls = boost::urls;

std::vector<std::string> Split(std::string_view path)
{
    std::vector<std::string> parts;
    path.remove_prefix(path.starts_with('/') ? 1 : 0);
    boost::algorithm::split(parts, path, [](char c) { return c == '/'; });
    return parts;
}

bool IsPlaceholder(const std::string& part)
{
    return part.starts_with('{');
}

std::optional<std::map<std::string, std::string>> Match(const std::vector<std::string>& pattern,
                                                        const std::vector<std::string>& path)
{
    if (pattern.size() != path.size())
        return std::nullopt;
    std::map<std::string, std::string> values;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (IsPlaceholder(pattern[i]))
            values[pattern[i].substr(1, pattern[i].size() - 2)] = path[i];
        else if (pattern[i] != path[i])
            return std::nullopt;
    }
    return values;
}

// A value that is nested deeper is copied and written by calls that are nested as deep, on a stack of unknown
// size; no route takes more than a few levels.
constexpr int kMaxBodyDepth = 32;

nlohmann::json ParseBody(const ApiRequest& request)
{
    if (request.method != "PUT" && request.method != "POST")
        return nullptr;
    if (request.body.empty())
        return nlohmann::json::object();
    // The parser takes a NUL for the end and would not see what follows; no JSON text has one unescaped.
    if (request.body.find('\0') != std::string::npos)
        throw ApiError(400, "bad_json", "the body holds a NUL character");
    // What is refused here is left out of the result, so that nothing deep is ever built.
    bool tooDeep = false;
    using Event = nlohmann::json::parse_event_t;
    const auto takesValue = [&](int openCount, Event now, const nlohmann::json&) {
        const bool opens = now == Event::object_start || now == Event::array_start;
        tooDeep = tooDeep || (opens && openCount >= kMaxBodyDepth);
        return !tooDeep;
    };
    auto body = nlohmann::json::parse(request.body, takesValue, false);
    if (tooDeep)
        throw ApiError(400, "bad_json",
                       "the body is nested more than " + std::to_string(kMaxBodyDepth) + " levels deep");
    if (!body.is_object())
        throw ApiError(400, "bad_json", "the body must be a JSON object");
    return body;
}

} // namespace

std::string ApiRequest::Parameter(const std::string& name) const
{
    const auto found = query.find(name);
    return found == query.end() ? std::string() : found->second;
}

std::uint64_t ApiRequest::Number(const std::string& name, std::uint64_t fallback) const
{
    const std::string digits = Parameter(name);
    if (digits.empty())
        return fallback;
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size())
        throw ApiError(400, "bad_parameter", name + " must be a number");
    return value;
}

std::optional<ApiRequest> ParseTarget(std::string_view target)
{
    ApiRequest request;
    const std::size_t mark = std::min(target.find('?'), target.size());
    request.path = target.substr(0, mark);
    target.remove_prefix(std::min(mark + 1, target.size()));
    if (target.empty())
        return request;
    // The sign that separates parameters may also end them.
    if (target.ends_with('&'))
        target.remove_suffix(1);
    const auto encoded = urls::make_pct_string_view(target);
    if (!encoded)
        return std::nullopt;
    urls::url query;
    query.set_encoded_query(*encoded);
    for (const urls::param& parameter : query.params())
        request.duplicateQuery |= !request.query.emplace(parameter.key, parameter.value).second;
    return request;
}

std::string Text(const nlohmann::json& value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<int> ToInt(const nlohmann::json& value)
{
    if (value.is_number_unsigned() && std::in_range<int>(value.get<std::uint64_t>()))
        return value.get<int>();
    if (!value.is_number_unsigned() && value.is_number_integer() &&
        std::in_range<int>(value.get<std::int64_t>()))
        return value.get<int>();
    return std::nullopt;
}

ApiResponse ErrorResponse(int status, const std::string& code, const std::string& message)
{
    return {status, kJsonType, Text({{"error", {{"code", code}, {"message", message}}}}), {}};
}

ApiResponse MethodNotAllowed(const std::string& path, const std::string& allow)
{
    ApiResponse response = ErrorResponse(405, "method_not_allowed", path + " takes " + allow);
    response.allow = allow;
    return response;
}

int ApiCall::Number(const std::string& name) const
{
    const std::string& digits = path.at(name);
    int value = -1;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value < 0)
        throw ApiError(404, "not_found", "\"" + digits + "\" is no number");
    return value;
}

void ApiRouter::Add(std::string method, std::string pattern, ApiHandler handler)
{
    m_routes.push_back({std::move(method), Split(pattern), std::move(handler)});
}

ApiResponse ApiRouter::Serve(const ApiRequest& request) const
try {
    const auto path = Split(request.path);
    std::string allow;
    for (const Route& candidate : m_routes) {
        auto values = Match(candidate.pattern, path);
        if (!values)
            continue;
        if (candidate.method != request.method) {
            allow += (allow.empty() ? "" : ", ") + candidate.method;
            continue;
        }
        const ApiCall call{request, std::move(*values), ParseBody(request)};
        return {200, kJsonType, Text(candidate.handler(call)), {}};
    }
    if (allow.empty())
        return ErrorResponse(404, "not_found", "there is nothing at " + request.path);
    return MethodNotAllowed(request.path, allow);
} catch (const ApiError& error) {
    return ErrorResponse(error.status, error.code, error.what());
} catch (const nlohmann::json::exception&) {
    return ErrorResponse(400, "bad_body", "the body is not what this request takes");
} catch (const std::exception& error) {
    return ErrorResponse(500, "internal", error.what());
}

} // namespace devhost
