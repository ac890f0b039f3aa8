// Transport of the configurator: connections and requests. Events are EventStream.cpp's, routes are
// ConfiguratorApi.cpp's.

#include "devhost/controller/HttpServer.h"

#include "devhost/controller/EventStream.h"
#include "devhost/controller/Membership.h"
#include "devhost/controller/SimulatorRelay.h"
#include "devhost/framework/diagnostics/ExceptionText.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <algorithm>
#include <csignal>
#include <optional>
#include <pthread.h>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

namespace devhost
{

namespace
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::size_t kMaxConnections = 64;
static_assert(EventStream::kMaxReaders < kMaxConnections, "places for requests");
constexpr std::chrono::seconds kRequestTime{30};

// Not among Beast's fields.
constexpr const char* kFetchSite = "Sec-Fetch-Site";
constexpr const char* kLastEventId = "Last-Event-ID";
constexpr const char* kPolicy = "Content-Security-Policy";

template <class Name>
std::string Header(const http::request<http::string_body>& request, const Name& field)
{
    const auto value = request[field];
    return {value.data(), value.size()};
}

// A browser that shows a reply as a page must neither keep it nor run what a name in it may hold, and pages
// of others must neither frame it nor take it in as a picture or a script.
template <class Message>
void SetCommonHeaders(Message& reply)
{
    reply.set(http::field::cache_control, "no-store");
    reply.set("X-Content-Type-Options", "nosniff");
    reply.set("Referrer-Policy", "no-referrer");
    reply.set(kPolicy, "default-src 'none'; style-src 'unsafe-inline'; frame-ancestors 'none'");
    reply.set("Cross-Origin-Resource-Policy", "same-origin");
}

// A weight of zero refuses; any other weight is as good as another, since there are two choices only.
bool AcceptsGzip(const std::string& acceptEncoding)
{
    for (const auto& [coding, parameters] : http::ext_list(acceptEncoding)) {
        if (beast::iequals(coding, "gzip"))
            return std::ranges::none_of(parameters, [](const auto& parameter) {
                return beast::iequals(parameter.first, "q") &&
                       std::string_view(parameter.second).find_first_not_of("0.") == std::string_view::npos;
            });
    }
    return false;
}

std::string ListenAdvice(const error_code& error)
{
    if (error == asio::error::address_in_use)
        return "another program has this port; end it, or give another port (0 takes a free one)";
    if (error == asio::error::access_denied)
        return "this port is for the administrator; give one above 1023 (0 takes a free one)";
    return "cannot listen there: " + error.message();
}

} // namespace

class HttpServer::Impl
{
public:
    Impl(const std::string& address, std::uint16_t wantedPort, Handler serve) : m_serve(std::move(serve))
    {
        const bool v6 = address == "::1";
        const std::string option = "--listen " + (v6 ? "[::1]" : address) + ":" + std::to_string(wantedPort);
        // No other loopback address: the guard lets in requests for these names only.
        if (address != "127.0.0.1" && address != "localhost" && !v6)
            throw std::runtime_error(option + ": what it serves is for this machine, so it listens on "
                                              "127.0.0.1, localhost or [::1] only");
        const tcp::endpoint endpoint(asio::ip::make_address(v6 ? "::1" : "127.0.0.1"), wantedPort);
        error_code error;
        if (m_acceptor.open(endpoint.protocol(), error) ||
            m_acceptor.set_option(asio::socket_base::reuse_address(true), error) ||
            m_acceptor.bind(endpoint, error) ||
            m_acceptor.listen(asio::socket_base::max_listen_connections, error))
            throw std::runtime_error(option + ": " + ListenAdvice(error));
        m_port = m_acceptor.local_endpoint().port();
    }

    std::uint16_t Port() const { return m_port; }

    void Start()
    {
        asio::co_spawn(m_context, Accept(), asio::detached);
        m_thread = std::thread([this] {
            pthread_setname_np(pthread_self(), "configurator"); // for the log
            m_context.run();
        });
    }

    void Stop()
    {
        if (!m_thread.joinable())
            return;
        asio::post(m_context, [this] {
            m_stopping = true;
            error_code ignored;
            m_acceptor.close(ignored);
            m_signals.cancel(ignored);
            for (Connection* connection : m_connections)
                connection->stream.close();
            m_events.Stop();
            if (m_simulator)
                m_simulator->Stop();
        });
        m_thread.join();
    }

    void Publish(const std::string& type, const std::string& data)
    {
        asio::post(m_context, [this, type, data] { m_events.Publish(type, data); });
    }

    void OnNewReader(std::function<std::string()> snapshot) { m_snapshot = std::move(snapshot); }

    void RequireToken(WantedToken wanted) { m_wanted = std::move(wanted); }

    void RelaySimulator(const std::string& address) { m_simulator.emplace(address); }

    void OnSignal(std::function<void()> function)
    {
        m_onSignal = std::move(function);
        m_signals.add(SIGINT);
        m_signals.add(SIGTERM);
        struct sigaction now = {};
        if (sigaction(SIGHUP, nullptr, &now) == 0 && now.sa_handler != SIG_IGN)
            m_signals.add(SIGHUP);
        asio::co_spawn(m_context, WaitForSignals(), asio::detached);
    }

private:
    struct Connection {
        explicit Connection(tcp::socket socket) : stream(std::move(socket)) {}
        beast::tcp_stream stream;
        bool readsEvents = false;
        std::uint64_t waitsSince = 0; // the number of the wait for its peer; counted by m_waits
    };

    asio::awaitable<void> WaitForSignals()
    {
        while (!m_stopping) {
            error_code error;
            co_await m_signals.async_wait(asio::redirect_error(asio::use_awaitable, error));
            if (!error)
                m_onSignal();
        }
    }

    asio::awaitable<void> Accept()
    {
        while (!m_stopping) {
            error_code error;
            tcp::socket socket =
                co_await m_acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
            if (error == asio::error::operation_aborted)
                co_return;
            if (error) {
                // Out of descriptors, for instance: connections that end give some back.
                asio::steady_timer pause(m_context, std::chrono::milliseconds(100));
                co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
                continue;
            }
            if (m_connections.size() >= kMaxConnections)
                DropOldest();
            asio::co_spawn(m_context, Session(std::move(socket)), asio::detached);
        }
    }

    // Ends the connection whose peer has let us wait longest, for a request or for taking a reply: peers that
    // do nothing must not keep others out. Readers of events wait by nature and have a bound of their own.
    void DropOldest()
    {
        const auto oldest = std::ranges::min_element(m_connections, {}, [](const Connection* connection) {
            return std::pair(connection->readsEvents, connection->waitsSince);
        });
        (*oldest)->stream.close();
        m_connections.erase(oldest);
    }

    asio::awaitable<void> Session(tcp::socket socket)
    {
        Connection self(std::move(socket));
        beast::tcp_stream& stream = self.stream;
        const Membership<Connection> member(m_connections, &self);
        beast::flat_buffer buffer;
        bool keep = true;
        while (keep && !m_stopping) {
            http::request_parser<http::string_body> parser;
            parser.body_limit(kMaxRestoreBody);
            stream.expires_after(kRequestTime);
            self.waitsSince = ++m_waits;
            error_code error;
            co_await http::async_read_header(stream, buffer, parser,
                                             asio::redirect_error(asio::use_awaitable, error));
            const std::size_t limit = error ? kMaxBody : BodyLimit(parser.get());
            // The parser looks at an announced length with the head, and at chunks as they come.
            if (!error && parser.content_length().value_or(0) > limit)
                error = http::error::body_limit;
            parser.body_limit(limit);
            if (!error)
                co_await http::async_read(stream, buffer, parser,
                                          asio::redirect_error(asio::use_awaitable, error));
            const std::optional<ApiResponse> refusal = Refuse(error, parser.get(), limit);
            if (error && !refusal)
                co_return;
            const http::request<http::string_body> request = parser.release();
            if (!refusal && WantsEvents(request) && !m_events.IsFull()) {
                self.readsEvents = true;
                co_await SendEvents(stream, Header(request, kLastEventId));
                co_return;
            }
            // Not as one expression: the compiler destroys the operands of ?: around co_await twice.
            ApiResponse answer;
            if (refusal)
                answer = *refusal;
            else
                answer = co_await Reply(request);
            // What follows a request that could not be read to its end is no request.
            keep = !refusal && request.keep_alive();
            http::response<http::string_body> response = ToHttp(answer, keep);
            self.waitsSince = ++m_waits;
            co_await http::async_write(stream, response, asio::redirect_error(asio::use_awaitable, error));
            if (error)
                co_return;
        }
        error_code ignored;
        stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
    }

    // The reply to a request that could not be read; nothing when it could, or nobody is there to answer.
    static std::optional<ApiResponse>
    Refuse(const error_code& error, const http::request<http::string_body>& request, std::size_t limit)
    {
        if (error == http::error::body_limit)
            return ErrorResponse(413, "too_large",
                                 "a body has at most " + std::to_string(limit / 1024) + " KiB");
        if (error == http::error::header_limit)
            return ErrorResponse(431, "too_large", "the headers are too large");
        if (error && error.category() == make_error_code(http::error::bad_method).category() &&
            error != http::error::end_of_stream && error != http::error::partial_message)
            return ErrorResponse(400, "bad_request", "this is no HTTP request: " + error.message());
        // RFC 9112, section 6.1. Beast takes the body behind another encoding for the next request.
        if (!error && request.count(http::field::transfer_encoding) != 0 &&
            (request.version() != 11 || request.count(http::field::transfer_encoding) != 1 ||
             !beast::iequals(request[http::field::transfer_encoding], "chunked")))
            return ErrorResponse(501, "bad_encoding", "no transfer encoding is understood but chunked");
        return std::nullopt;
    }

    std::optional<ApiResponse> Guard(const http::request<http::string_body>& request,
                                     const std::string& path) const
    {
        GuardedHeaders headers;
        headers.method = std::string(request.method_string());
        headers.path = path;
        // What is sent twice is read differently by different programs.
        if (request.count(http::field::host) != 1 || request.count(http::field::origin) > 1 ||
            request.count(kFetchSite) > 1 || request.count(http::field::authorization) > 1)
            return ErrorResponse(400, "bad_request",
                                 "one Host and at most one Origin, Sec-Fetch-Site and Authorization header "
                                 "are needed");
        headers.host = Header(request, http::field::host);
        headers.origin = Header(request, http::field::origin);
        headers.fetchSite = Header(request, kFetchSite);
        headers.contentType = Header(request, http::field::content_type);
        headers.hasBody = !request.body().empty();
        headers.authorization = Header(request, http::field::authorization);
        return CheckRequest(headers, m_port, m_wanted);
    }

    // A large body is taken in only from who may send one. By the head alone, as the body is still to come.
    std::size_t BodyLimit(const http::request<http::string_body>& head) const
    {
        const auto parsed = ParseTarget(std::string_view(head.target().data(), head.target().size()));
        return parsed && parsed->path == kRestorePath && !Guard(head, parsed->path) ? kMaxRestoreBody
                                                                                    : kMaxBody;
    }

    bool WantsEvents(const http::request<http::string_body>& request) const
    {
        const auto parsed = ParseTarget(std::string_view(request.target().data(), request.target().size()));
        return parsed && parsed->path == kEventsPath && request.method() == http::verb::get &&
               !Guard(request, parsed->path);
    }

    asio::awaitable<ApiResponse> Reply(const http::request<http::string_body>& request)
    {
        auto parsed = ParseTarget(std::string_view(request.target().data(), request.target().size()));
        if (!parsed)
            co_return ErrorResponse(400, "bad_request", "the address holds a malformed escape");
        if (auto refusal = Guard(request, parsed->path))
            co_return *refusal;
        if (parsed->path == kEventsPath && request.method() == http::verb::get)
            co_return ErrorResponse(503, "too_many_readers",
                                    "the event stream has " + std::to_string(EventStream::kMaxReaders) +
                                        " readers, and takes no more");
        parsed->method = std::string(request.method_string());
        parsed->body = request.body();
        parsed->acceptsGzip = AcceptsGzip(Header(request, http::field::accept_encoding));
        if (m_simulator && parsed->path.starts_with(SimulatorRelay::kPrefix))
            co_return co_await m_simulator->Serve(*parsed);
        try {
            co_return m_serve(*parsed);
        } catch (...) {
            co_return ErrorResponse(500, "internal", ExceptionText());
        }
    }

    static http::response<http::string_body> ToHttp(const ApiResponse& answer, bool keep)
    {
        http::response<http::string_body> response(static_cast<http::status>(answer.status), 11);
        response.set(http::field::content_type, answer.contentType);
        SetCommonHeaders(response);
        if (!answer.allow.empty())
            response.set(http::field::allow, answer.allow);
        if (!answer.authenticate.empty())
            response.set(http::field::www_authenticate, answer.authenticate);
        if (!answer.contentSecurityPolicy.empty())
            response.set(kPolicy, answer.contentSecurityPolicy);
        if (!answer.cacheControl.empty())
            response.set(http::field::cache_control, answer.cacheControl);
        if (answer.gzip)
            response.set(http::field::content_encoding, "gzip");
        if (answer.variesByEncoding)
            response.set(http::field::vary, "Accept-Encoding");
        response.keep_alive(keep);
        response.body() = answer.body;
        response.prepare_payload();
        return response;
    }

    asio::awaitable<void> SendEvents(beast::tcp_stream& stream, std::string lastEventId)
    {
        http::response<http::empty_body> head(http::status::ok, 11);
        head.set(http::field::content_type, "text/event-stream");
        SetCommonHeaders(head);
        head.keep_alive(false);
        std::ostringstream headText;
        headText << head;
        co_await m_events.Serve(stream, headText.str(), std::move(lastEventId), m_snapshot);
    }

    asio::io_context m_context{1};
    tcp::acceptor m_acceptor{m_context};
    asio::signal_set m_signals{m_context};
    Handler m_serve;
    std::function<void()> m_onSignal;
    std::function<std::string()> m_snapshot;
    std::uint16_t m_port = 0;
    WantedToken m_wanted;
    std::thread m_thread;

    // Server thread only.
    bool m_stopping = false;
    std::uint64_t m_waits = 0;
    std::set<Connection*> m_connections;
    EventStream m_events{m_context};
    std::optional<SimulatorRelay> m_simulator;
};

HttpServer::HttpServer(const std::string& address, std::uint16_t port, Handler serve)
    : m_impl(std::make_unique<Impl>(address, port, std::move(serve)))
{
}

HttpServer::~HttpServer()
{
    Stop();
}

std::uint16_t HttpServer::Port() const
{
    return m_impl->Port();
}

void HttpServer::Start()
{
    m_impl->Start();
}

void HttpServer::Stop()
{
    m_impl->Stop();
}

void HttpServer::Publish(const std::string& type, const std::string& data)
{
    m_impl->Publish(type, data);
}

void HttpServer::OnNewReader(std::function<std::string()> snapshot)
{
    m_impl->OnNewReader(std::move(snapshot));
}

void HttpServer::RequireToken(WantedToken wanted)
{
    m_impl->RequireToken(std::move(wanted));
}

void HttpServer::RelaySimulator(const std::string& address)
{
    m_impl->RelaySimulator(address);
}

void HttpServer::OnSignal(std::function<void()> function)
{
    m_impl->OnSignal(std::move(function));
}

} // namespace devhost
