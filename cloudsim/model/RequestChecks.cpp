// Checks the parts of a request that all routes share; what the routes want is left to them.
#include "cloudsim/model/RequestChecks.h"

namespace cloudsim
{
namespace
{

std::string Quote(std::string_view text)
{
    return "\"" + std::string(text.substr(0, 128)) + "\"";
}

} // namespace

std::string_view RequireHeader(const Request& request, std::string_view name, int status,
                               const std::string& code)
{
    const std::size_t count = request.CountHeader(name);
    if (count == 0)
        throw Refusal(status, "missing_" + code, "the " + std::string(name) + " header is missing");
    if (count > 1)
        throw Refusal(400, "duplicate_header", "the " + std::string(name) + " header comes more than once");
    return *request.FindHeader(name);
}

void RequireMethod(const Request& request, std::string_view allowed)
{
    const std::string list = ", " + std::string(allowed) + ",";
    if (list.find(", " + request.method + ",") == std::string::npos)
        throw Refusal(405, "method_not_allowed",
                      Quote(request.method) + " is not allowed here, only " + std::string(allowed));
}

void RequirePlainTarget(const Request& request)
{
    if (request.version != 11)
        throw Refusal(505, "wrong_version", "the request must be HTTP/1.1");
    if (request.Query())
        throw Refusal(400, "unexpected_query", "the path must not be followed by a query");
}

void RequireHost(const Request& request, std::string_view host)
{
    const std::string_view given = RequireHeader(request, "Host", 400, "host");
    if (given != host)
        throw Refusal(421, "wrong_host", "the Host header is " + Quote(given) + ", expected " + Quote(host));
}

void RequireAccept(const Request& request, std::string_view mediaType)
{
    const std::string_view given = RequireHeader(request, "Accept", 406, "accept");
    if (given != mediaType)
        throw Refusal(406, "wrong_accept",
                      "the Accept header is " + Quote(given) + ", expected " + Quote(mediaType));
}

void RequireNoBody(const Request& request)
{
    for (const char* name : {"Content-Length", "Content-Type", "Transfer-Encoding"}) {
        if (request.CountHeader(name) > 0)
            throw Refusal(400, "unexpected_header",
                          std::string("a request without a body must not have ") + name);
    }
    if (!request.trailing.empty())
        throw Refusal(400, "trailing_bytes", "there are bytes behind the header's empty line");
}

void RequireBody(const Request& request, std::string_view contentType)
{
    if (request.CountHeader("Transfer-Encoding") > 0)
        throw Refusal(411, "missing_content_length",
                      "the length must be given by Content-Length, not by chunks");
    RequireHeader(request, "Content-Length", 411, "content_length");
    const std::string_view given = RequireHeader(request, "Content-Type", 415, "content_type");
    if (given != contentType)
        throw Refusal(415, "wrong_content_type",
                      "the Content-Type header is " + Quote(given) + ", expected " + Quote(contentType));
    if (!request.trailing.empty() && request.trailing != "\r\n")
        throw Refusal(400, "trailing_bytes",
                      "behind the body there are bytes other than one CR LF; is Content-Length too small?");
}

Json ParseJsonBody(const Request& request)
{
    if (request.body.empty())
        throw Refusal(400, "missing_body", "the body is empty, expected a JSON object");
    try {
        return ParseJson(request.body);
    } catch (const JsonError& error) {
        throw Refusal(400, "malformed_json", std::string("the body ") + error.what());
    }
}

Refusal RefuseField(const FieldError& error)
{
    return {422, error.Code(), error.what()};
}

} // namespace cloudsim
