// Takes requests apart, finds their routes and turns every error into a reply. What the routes do is
// ConfiguratorApi.cpp's.

#include "devhost/controller/Api.h"

#include <charconv>

namespace devhost
{

namespace
{

std::vector<std::string> Split(std::string_view Path)
{
    std::vector<std::string> Parts;
    while (!Path.empty()) {
        Path.remove_prefix(Path.front() == '/' ? 1 : 0);
        const std::size_t End = std::min(Path.find('/'), Path.size());
        Parts.emplace_back(Path.substr(0, End));
        Path.remove_prefix(End);
    }
    return Parts;
}

bool IsPlaceholder(const std::string& Part)
{
    return Part.starts_with('{');
}

std::optional<std::map<std::string, std::string>> Match(const std::vector<std::string>& Pattern,
                                                        const std::vector<std::string>& Path)
{
    if (Pattern.size() != Path.size())
        return std::nullopt;
    std::map<std::string, std::string> Values;
    for (std::size_t i = 0; i < Pattern.size(); ++i) {
        if (IsPlaceholder(Pattern[i]))
            Values[Pattern[i].substr(1, Pattern[i].size() - 2)] = Path[i];
        else if (Pattern[i] != Path[i])
            return std::nullopt;
    }
    return Values;
}

std::optional<std::string> Decode(std::string_view Encoded)
{
    std::string Out;
    for (std::size_t i = 0; i < Encoded.size(); ++i) {
        if (Encoded[i] == '+') {
            Out += ' ';
        } else if (Encoded[i] != '%') {
            Out += Encoded[i];
        } else {
            const std::string_view Hex = Encoded.substr(i + 1, 2);
            unsigned char Byte = 0;
            const auto [pEnd, Error] = std::from_chars(Hex.data(), Hex.data() + Hex.size(), Byte, 16);
            if (Hex.size() != 2 || Error != std::errc() || pEnd != Hex.data() + 2)
                return std::nullopt;
            Out += static_cast<char>(Byte);
            i += 2;
        }
    }
    return Out;
}

// A value that is nested deeper is copied and written by calls that are nested as deep, on a stack of unknown
// size; no route takes more than a few levels.
constexpr int kMaxBodyDepth = 32;

nlohmann::json ParseBody(const ApiRequest& Request)
{
    if (Request.Method != "PUT" && Request.Method != "POST")
        return nullptr;
    if (Request.Body.empty())
        return nlohmann::json::object();
    // The parser takes a NUL for the end and would not see what follows; no JSON text has one unescaped.
    if (Request.Body.find('\0') != std::string::npos)
        throw ApiError(400, "bad_json", "the body holds a NUL character");
    // What is refused here is left out of the result, so that nothing deep is ever built.
    bool bTooDeep = false;
    using Event = nlohmann::json::parse_event_t;
    const auto TakesValue = [&](int nOpen, Event Now, const nlohmann::json&) {
        const bool bOpens = Now == Event::object_start || Now == Event::array_start;
        bTooDeep = bTooDeep || (bOpens && nOpen >= kMaxBodyDepth);
        return !bTooDeep;
    };
    auto Body = nlohmann::json::parse(Request.Body, TakesValue, false);
    if (bTooDeep)
        throw ApiError(400, "bad_json",
                       "the body is nested more than " + std::to_string(kMaxBodyDepth) + " levels deep");
    if (!Body.is_object())
        throw ApiError(400, "bad_json", "the body must be a JSON object");
    return Body;
}

} // namespace

std::string ApiRequest::Parameter(const std::string& Name) const
{
    const auto Found = Query.find(Name);
    return Found == Query.end() ? std::string() : Found->second;
}

std::optional<ApiRequest> ParseTarget(std::string_view Target)
{
    ApiRequest Request;
    const std::size_t Mark = std::min(Target.find('?'), Target.size());
    Request.Path = Target.substr(0, Mark);
    Target.remove_prefix(std::min(Mark + 1, Target.size()));
    while (!Target.empty()) {
        const std::size_t End = std::min(Target.find('&'), Target.size());
        const std::string_view Pair = Target.substr(0, End);
        Target.remove_prefix(std::min(End + 1, Target.size()));
        const std::size_t Equals = std::min(Pair.find('='), Pair.size());
        auto Name = Decode(Pair.substr(0, Equals));
        auto Value = Decode(Pair.substr(std::min(Equals + 1, Pair.size())));
        if (!Name || !Value)
            return std::nullopt;
        if (!Request.Query.emplace(*Name, *Value).second)
            Request.DuplicateQuery = true;
    }
    return Request;
}

std::string Text(const nlohmann::json& Value)
{
    return Value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

ApiResponse ErrorResponse(int Status, const std::string& Code, const std::string& Message)
{
    return {Status, "application/json", Text({{"error", {{"code", Code}, {"message", Message}}}}), {}};
}

ApiResponse MethodNotAllowed(const std::string& Path, const std::string& Allow)
{
    ApiResponse Response = ErrorResponse(405, "method_not_allowed", Path + " takes " + Allow);
    Response.Allow = Allow;
    return Response;
}

int ApiCall::Number(const std::string& Name) const
{
    const std::string& Digits = Path.at(Name);
    int Value = -1;
    const auto [pEnd, Error] = std::from_chars(Digits.data(), Digits.data() + Digits.size(), Value);
    if (Error != std::errc() || pEnd != Digits.data() + Digits.size() || Value < 0)
        throw ApiError(404, "not_found", "\"" + Digits + "\" is no number");
    return Value;
}

void ApiRouter::Add(std::string Method, std::string Pattern, ApiHandler Handler)
{
    m_Routes.push_back({std::move(Method), Split(Pattern), std::move(Handler)});
}

ApiResponse ApiRouter::Serve(const ApiRequest& Request) const
try {
    const auto Path = Split(Request.Path);
    std::string Allow;
    for (const Route& Candidate : m_Routes) {
        auto Values = Match(Candidate.Pattern, Path);
        if (!Values)
            continue;
        if (Candidate.Method != Request.Method) {
            Allow += (Allow.empty() ? "" : ", ") + Candidate.Method;
            continue;
        }
        const ApiCall Call{Request, std::move(*Values), ParseBody(Request)};
        return {200, "application/json", Text(Candidate.Handler(Call)), {}};
    }
    if (Allow.empty())
        return ErrorResponse(404, "not_found", "there is nothing at " + Request.Path);
    return MethodNotAllowed(Request.Path, Allow);
} catch (const ApiError& Error) {
    return ErrorResponse(Error.Status, Error.Code, Error.what());
} catch (const nlohmann::json::exception&) {
    return ErrorResponse(400, "bad_body", "the body is not what this request takes");
} catch (const std::exception& Error) {
    return ErrorResponse(500, "internal", Error.what());
}

} // namespace devhost
