// Passes the page's requests on to the cloud simulator's admin port. Whom to let in is RequestGuard.cpp's,
// what the routes do is the simulator's.

#include "devhost/controller/SimulatorRelay.h"

#include "devhost/controller/Membership.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/url/parse.hpp>

#include <algorithm>
#include <array>
#include <chrono>

namespace devhost
{

namespace
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

constexpr std::chrono::seconds kTimeout{5};
constexpr std::size_t kMaxReply = std::size_t{1} << 20;

// Not among them is the route that saves the world, which writes a file or tells all secrets.
constexpr std::array<std::string_view, 7> kRoutes = {"world",  "locks",  "locations", "access_persons",
                                                     "tokens", "faults", "requests"};

asio::ip::tcp::endpoint ParseAddress(const std::string& address)
{
    const auto url = boost::urls::parse_uri(address);
    const bool plain = url && url->scheme_id() == boost::urls::scheme::http && !url->has_userinfo() &&
                       !url->has_query() && !url->has_fragment() && url->port_number() != 0 &&
                       (url->encoded_path().empty() || url->encoded_path() == "/");
    const std::string host = plain ? std::string(url->encoded_host()) : std::string();
    if (host == "127.0.0.1" || host == "localhost")
        return {asio::ip::address_v4::loopback(), url->port_number()};
    if (host == "[::1]")
        return {asio::ip::address_v6::loopback(), url->port_number()};
    throw std::runtime_error("--simulator " + address +
                             ": http://127.0.0.1:PORT is wanted, the simulator's admin address");
}

// The simulator's refusals have a form of their own: {"errorcode","message"}.
ApiResponse ToReply(const http::response<http::string_body>& reply)
{
    const auto body = nlohmann::json::parse(reply.body(), nullptr, false);
    if (reply.result() == http::status::ok && body.is_object())
        return {200, kJsonType, reply.body(), {}};
    const auto message = body.is_object() ? body.find("message") : body.end();
    if (reply.result_int() < 400 || message == body.end() || !message->is_string())
        return ErrorResponse(502, "no_simulator", "what answers at the simulator's address is no simulator");
    return ErrorResponse(static_cast<int>(reply.result_int()), "refused", message->get<std::string>());
}

} // namespace

SimulatorRelay::SimulatorRelay(const std::string& address)
    : m_address(address), m_endpoint(ParseAddress(address))
{
}

asio::awaitable<ApiResponse> SimulatorRelay::Serve(const ApiRequest& request)
{
    const std::string route = request.path.substr(kPrefix.size());
    if (std::ranges::find(kRoutes, route.substr(0, route.find('/'))) == kRoutes.end())
        co_return ErrorResponse(404, "not_found", "there is nothing at " + request.path);
    const http::verb method = http::string_to_verb(request.method);
    if (method != http::verb::get && method != http::verb::put && method != http::verb::post &&
        method != http::verb::delete_)
        co_return MethodNotAllowed(request.path, "GET, PUT, POST, DELETE");

    http::request<http::string_body> passed(method, "/admin/" + route, 11, request.body);
    passed.set(http::field::host, "127.0.0.1:" + std::to_string(m_endpoint.port()));
    passed.set(http::field::content_type, kJsonType);
    passed.keep_alive(false);
    passed.prepare_payload();
    beast::tcp_stream stream(co_await asio::this_coro::executor);
    const Membership<beast::tcp_stream> member(m_streams, &stream);
    stream.expires_after(kTimeout);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(kMaxReply);
    error_code error;
    co_await stream.async_connect(m_endpoint, asio::redirect_error(asio::use_awaitable, error));
    if (!error)
        co_await http::async_write(stream, passed, asio::redirect_error(asio::use_awaitable, error));
    if (!error)
        co_await http::async_read(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
    if (error)
        co_return ErrorResponse(502, "no_simulator",
                                "the simulator does not answer at " + m_address + " (" + error.message() +
                                    "); start it again with this admin port");
    co_return ToReply(parser.get());
}

void SimulatorRelay::Stop()
{
    for (beast::tcp_stream* stream : m_streams)
        stream->close();
}

} // namespace devhost
