// Reads HTTP/1.1 requests from bytes and writes replies to bytes; what a request means is left to its
// handlers.
#include "cloudsim/model/Http.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>

namespace cloudsim
{
namespace
{

namespace http = boost::beast::http;

Refusal ParseError(const boost::beast::error_code& error)
{
    if (error == http::error::header_limit)
        return {431, "header_too_large", "the request's header is longer than 16 KiB"};
    if (error == http::error::body_limit)
        return {413, "body_too_large", "the request's body is longer than 1 MiB"};
    return {400, "malformed_request", "the request is no HTTP/1.1 request: " + error.message()};
}

} // namespace

struct RequestReader::Parser {
    http::request_parser<http::string_body> beast;
};

std::string_view Request::Path() const
{
    return std::string_view(target).substr(0, target.find('?'));
}

std::optional<std::string_view> Request::Query() const
{
    const auto mark = target.find('?');
    if (mark == std::string::npos)
        return std::nullopt;
    return std::string_view(target).substr(mark + 1);
}

std::optional<std::string_view> Request::FindHeader(std::string_view name) const
{
    for (const Header& header : headers) {
        if (boost::beast::iequals(header.name, name))
            return header.value;
    }
    return std::nullopt;
}

std::size_t Request::CountHeader(std::string_view name) const
{
    return static_cast<std::size_t>(std::ranges::count_if(
        headers, [name](const Header& header) { return boost::beast::iequals(header.name, name); }));
}

RequestReader::RequestReader() : m_parser(std::make_unique<Parser>())
{
    m_parser->beast.header_limit(kMaxHeaderBytes);
    m_parser->beast.body_limit(kMaxBodyBytes);
    m_parser->beast.eager(true);
}

RequestReader::~RequestReader() = default;

RequestReader::State RequestReader::Feed(std::string_view bytes)
{
    if (m_state != State::NeedMore)
        return m_state;
    m_pending.append(bytes);
    while (!m_pending.empty() && !m_parser->beast.is_done()) {
        boost::beast::error_code error;
        const std::size_t used = m_parser->beast.put(boost::asio::buffer(m_pending), error);
        m_pending.erase(0, used);
        if (error == http::error::need_more)
            return m_state;
        if (error) {
            m_error = ParseError(error);
            return m_state = State::Failed;
        }
    }
    if (!m_parser->beast.is_done())
        return m_state;
    TakeResult();
    return m_state = State::Complete;
}

void RequestReader::TakeResult()
{
    auto message = m_parser->beast.release();
    m_request.method = std::string(message.method_string());
    m_request.target = std::string(message.target());
    m_request.version = static_cast<int>(message.version());
    for (const auto& field : message)
        m_request.headers.push_back({std::string(field.name_string()), std::string(field.value())});
    m_request.body = std::move(message.body());
    m_request.trailing = std::move(m_pending);
}

std::variant<Request, Refusal> ParseRawRequest(std::string_view bytes)
{
    RequestReader reader;
    switch (reader.Feed(bytes)) {
    case RequestReader::State::Complete:
        return reader.Result();
    case RequestReader::State::Failed:
        return reader.Error();
    case RequestReader::State::NeedMore:
        break;
    }
    return Refusal(400, "incomplete_request", "the request ends before its header or its body does");
}

std::string SerializeReply(const Response& response)
{
    if (response.closeWithoutReply)
        return {};
    const std::string reason =
        http::obsolete_reason(http::int_to_status(static_cast<unsigned>(response.status)));
    std::string bytes = "HTTP/1.1 " + std::to_string(response.status) + " " + reason + "\r\n";
    for (const Header& header : response.headers)
        bytes += header.name + ": " + header.value + "\r\n";
    // RFC 9110 section 8.6: a 204 reply carries no Content-Length.
    if (response.status != 204)
        bytes += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
    bytes += "Connection: close\r\n\r\n";
    bytes += response.body.substr(0, response.cutAfterBytes.value_or(response.body.size()));
    return bytes;
}

} // namespace cloudsim
