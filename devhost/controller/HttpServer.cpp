// Transport of the configurator: connections and requests. Events are EventStream.cpp's, routes are
// ConfiguratorApi.cpp's.

#include "devhost/controller/HttpServer.h"

#include "devhost/controller/EventStream.h"
#include "devhost/controller/Membership.h"
#include "devhost/controller/RequestGuard.h"
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

constexpr const char* kFetchSite = "Sec-Fetch-Site"; // not among Beast's fields

template <class Name>
std::string Header(const http::request<http::string_body>& Request, const Name& Field)
{
    const auto Value = Request[Field];
    return {Value.data(), Value.size()};
}

// A browser that shows a reply as a page must neither keep it nor run what a name in it may hold, and pages
// of others must neither frame it nor take it in as a picture or a script.
template <class Message>
void SetCommonHeaders(Message& Reply)
{
    Reply.set(http::field::cache_control, "no-store");
    Reply.set("X-Content-Type-Options", "nosniff");
    Reply.set("Referrer-Policy", "no-referrer");
    Reply.set("Content-Security-Policy",
              "default-src 'none'; style-src 'unsafe-inline'; frame-ancestors 'none'");
    Reply.set("Cross-Origin-Resource-Policy", "same-origin");
}

std::string ListenAdvice(const error_code& Error)
{
    if (Error == asio::error::address_in_use)
        return "another program has this port; end it, or give another port (0 takes a free one)";
    if (Error == asio::error::access_denied)
        return "this port is for the administrator; give one above 1023 (0 takes a free one)";
    return "cannot listen there: " + Error.message();
}

} // namespace

class HttpServer::Impl
{
public:
    Impl(const std::string& Address, std::uint16_t WantedPort, Handler Serve) : m_Serve(std::move(Serve))
    {
        const bool bV6 = Address == "::1";
        const std::string Option = "--listen " + (bV6 ? "[::1]" : Address) + ":" + std::to_string(WantedPort);
        // No other loopback address: the guard lets in requests for these names only.
        if (Address != "127.0.0.1" && Address != "localhost" && !bV6)
            throw std::runtime_error(Option + ": the configurator has no password, so it listens on "
                                              "127.0.0.1, localhost or [::1] only");
        const tcp::endpoint Endpoint(asio::ip::make_address(bV6 ? "::1" : "127.0.0.1"), WantedPort);
        error_code Error;
        if (m_Acceptor.open(Endpoint.protocol(), Error) ||
            m_Acceptor.set_option(asio::socket_base::reuse_address(true), Error) ||
            m_Acceptor.bind(Endpoint, Error) ||
            m_Acceptor.listen(asio::socket_base::max_listen_connections, Error))
            throw std::runtime_error(Option + ": " + ListenAdvice(Error));
        m_Port = m_Acceptor.local_endpoint().port();
    }

    std::uint16_t Port() const { return m_Port; }

    void Start()
    {
        asio::co_spawn(m_Context, Accept(), asio::detached);
        m_Thread = std::thread([this] {
            pthread_setname_np(pthread_self(), "configurator"); // for the log
            m_Context.run();
        });
    }

    void Stop()
    {
        if (!m_Thread.joinable())
            return;
        asio::post(m_Context, [this] {
            m_Stopping = true;
            error_code Ignored;
            m_Acceptor.close(Ignored);
            m_Signals.cancel(Ignored);
            for (Connection* pConnection : m_Connections)
                pConnection->Stream.close();
            m_Events.Stop();
        });
        m_Thread.join();
    }

    void Publish(const std::string& Type, const std::string& Data)
    {
        asio::post(m_Context, [this, Type, Data] { m_Events.Publish(Type, Data); });
    }

    void OnSignal(std::function<void()> Function)
    {
        m_OnSignal = std::move(Function);
        m_Signals.add(SIGINT);
        m_Signals.add(SIGTERM);
        struct sigaction Now = {};
        if (sigaction(SIGHUP, nullptr, &Now) == 0 && Now.sa_handler != SIG_IGN)
            m_Signals.add(SIGHUP);
        asio::co_spawn(m_Context, WaitForSignals(), asio::detached);
    }

private:
    struct Connection {
        explicit Connection(tcp::socket Socket) : Stream(std::move(Socket)) {}
        beast::tcp_stream Stream;
        bool bReadsEvents = false;
        std::uint64_t uWaitsSince = 0; // the number of the wait for its peer; counted by m_uWaits
    };

    asio::awaitable<void> WaitForSignals()
    {
        while (!m_Stopping) {
            error_code Error;
            co_await m_Signals.async_wait(asio::redirect_error(asio::use_awaitable, Error));
            if (!Error)
                m_OnSignal();
        }
    }

    asio::awaitable<void> Accept()
    {
        while (!m_Stopping) {
            error_code Error;
            tcp::socket Socket =
                co_await m_Acceptor.async_accept(asio::redirect_error(asio::use_awaitable, Error));
            if (Error == asio::error::operation_aborted)
                co_return;
            if (Error) {
                // Out of descriptors, for instance: connections that end give some back.
                asio::steady_timer Pause(m_Context, std::chrono::milliseconds(100));
                co_await Pause.async_wait(asio::redirect_error(asio::use_awaitable, Error));
                continue;
            }
            if (m_Connections.size() >= kMaxConnections)
                DropOldest();
            asio::co_spawn(m_Context, Session(std::move(Socket)), asio::detached);
        }
    }

    // Ends the connection whose peer has let us wait longest, for a request or for taking a reply: peers that
    // do nothing must not keep others out. Readers of events wait by nature and have a bound of their own.
    void DropOldest()
    {
        const auto Oldest = std::ranges::min_element(m_Connections, {}, [](const Connection* pConnection) {
            return std::pair(pConnection->bReadsEvents, pConnection->uWaitsSince);
        });
        (*Oldest)->Stream.close();
        m_Connections.erase(Oldest);
    }

    asio::awaitable<void> Session(tcp::socket Socket)
    {
        Connection Self(std::move(Socket));
        beast::tcp_stream& Stream = Self.Stream;
        const Membership<Connection> Member(m_Connections, &Self);
        beast::flat_buffer Buffer;
        bool bKeep = true;
        while (bKeep && !m_Stopping) {
            http::request_parser<http::string_body> Parser;
            Parser.body_limit(kMaxBody);
            Stream.expires_after(kRequestTime);
            Self.uWaitsSince = ++m_uWaits;
            error_code Error;
            co_await http::async_read(Stream, Buffer, Parser,
                                      asio::redirect_error(asio::use_awaitable, Error));
            const std::optional<ApiResponse> Refusal = Refuse(Error, Parser.get());
            if (Error && !Refusal)
                co_return;
            const http::request<http::string_body> Request = Parser.release();
            if (!Refusal && WantsEvents(Request) && !m_Events.IsFull()) {
                Self.bReadsEvents = true;
                co_await SendEvents(Stream);
                co_return;
            }
            const ApiResponse Answer = Refusal ? *Refusal : Reply(Request);
            // What follows a request that could not be read to its end is no request.
            bKeep = !Refusal && Request.keep_alive();
            http::response<http::string_body> Response = ToHttp(Answer, bKeep);
            Self.uWaitsSince = ++m_uWaits;
            co_await http::async_write(Stream, Response, asio::redirect_error(asio::use_awaitable, Error));
            if (Error)
                co_return;
        }
        error_code Ignored;
        Stream.socket().shutdown(tcp::socket::shutdown_send, Ignored);
    }

    // The reply to a request that could not be read; nothing when it could, or nobody is there to answer.
    static std::optional<ApiResponse> Refuse(const error_code& Error,
                                             const http::request<http::string_body>& Request)
    {
        if (Error == http::error::body_limit)
            return ErrorResponse(413, "too_large", "a body has at most 64 KiB");
        if (Error == http::error::header_limit)
            return ErrorResponse(431, "too_large", "the headers are too large");
        if (Error && Error.category() == make_error_code(http::error::bad_method).category() &&
            Error != http::error::end_of_stream && Error != http::error::partial_message)
            return ErrorResponse(400, "bad_request", "this is no HTTP request: " + Error.message());
        // RFC 9112, section 6.1. Beast takes the body behind another encoding for the next request.
        if (!Error && Request.count(http::field::transfer_encoding) != 0 &&
            (Request.version() != 11 || Request.count(http::field::transfer_encoding) != 1 ||
             !beast::iequals(Request[http::field::transfer_encoding], "chunked")))
            return ErrorResponse(501, "bad_encoding", "no transfer encoding is understood but chunked");
        return std::nullopt;
    }

    std::optional<ApiResponse> Guard(const http::request<http::string_body>& Request,
                                     const std::string& Path) const
    {
        GuardedHeaders Headers;
        Headers.Method = std::string(Request.method_string());
        Headers.Path = Path;
        // What is sent twice is read differently by different programs.
        if (Request.count(http::field::host) != 1 || Request.count(http::field::origin) > 1 ||
            Request.count(kFetchSite) > 1)
            return ErrorResponse(400, "bad_request",
                                 "one Host and at most one Origin and Sec-Fetch-Site header are needed");
        Headers.Host = Header(Request, http::field::host);
        Headers.Origin = Header(Request, http::field::origin);
        Headers.FetchSite = Header(Request, kFetchSite);
        Headers.ContentType = Header(Request, http::field::content_type);
        Headers.HasBody = !Request.body().empty();
        return CheckRequest(Headers, m_Port);
    }

    bool WantsEvents(const http::request<http::string_body>& Request) const
    {
        const auto Parsed = ParseTarget(std::string_view(Request.target().data(), Request.target().size()));
        return Parsed && Parsed->Path == kEventsPath && Request.method() == http::verb::get &&
               !Guard(Request, Parsed->Path);
    }

    ApiResponse Reply(const http::request<http::string_body>& Request) const
    {
        auto Parsed = ParseTarget(std::string_view(Request.target().data(), Request.target().size()));
        if (!Parsed)
            return ErrorResponse(400, "bad_request", "the address holds a malformed escape");
        if (auto Refusal = Guard(Request, Parsed->Path))
            return *Refusal;
        if (Parsed->Path == kEventsPath && Request.method() == http::verb::get)
            return ErrorResponse(503, "too_many_readers",
                                 "the event stream has " + std::to_string(EventStream::kMaxReaders) +
                                     " readers, and takes no more");
        Parsed->Method = std::string(Request.method_string());
        Parsed->Body = Request.body();
        try {
            return m_Serve(*Parsed);
        } catch (...) {
            return ErrorResponse(500, "internal", ExceptionText());
        }
    }

    static http::response<http::string_body> ToHttp(const ApiResponse& Answer, bool bKeep)
    {
        http::response<http::string_body> Response(static_cast<http::status>(Answer.Status), 11);
        Response.set(http::field::content_type, Answer.ContentType);
        SetCommonHeaders(Response);
        if (!Answer.Allow.empty())
            Response.set(http::field::allow, Answer.Allow);
        Response.keep_alive(bKeep);
        Response.body() = Answer.Body;
        Response.prepare_payload();
        return Response;
    }

    asio::awaitable<void> SendEvents(beast::tcp_stream& Stream)
    {
        http::response<http::empty_body> Head(http::status::ok, 11);
        Head.set(http::field::content_type, "text/event-stream");
        SetCommonHeaders(Head);
        Head.keep_alive(false);
        std::ostringstream HeadText;
        HeadText << Head;
        co_await m_Events.Serve(Stream, HeadText.str());
    }

    asio::io_context m_Context{1};
    tcp::acceptor m_Acceptor{m_Context};
    asio::signal_set m_Signals{m_Context};
    Handler m_Serve;
    std::function<void()> m_OnSignal;
    std::uint16_t m_Port = 0;
    std::thread m_Thread;

    // Server thread only.
    bool m_Stopping = false;
    std::uint64_t m_uWaits = 0;
    std::set<Connection*> m_Connections;
    EventStream m_Events{m_Context};
};

HttpServer::HttpServer(const std::string& Address, std::uint16_t Port, Handler Serve)
    : m_pImpl(std::make_unique<Impl>(Address, Port, std::move(Serve)))
{
}

HttpServer::~HttpServer()
{
    Stop();
}

std::uint16_t HttpServer::Port() const
{
    return m_pImpl->Port();
}

void HttpServer::Start()
{
    m_pImpl->Start();
}

void HttpServer::Stop()
{
    m_pImpl->Stop();
}

void HttpServer::Publish(const std::string& Type, const std::string& Data)
{
    m_pImpl->Publish(Type, Data);
}

void HttpServer::OnSignal(std::function<void()> Function)
{
    m_pImpl->OnSignal(std::move(Function));
}

} // namespace devhost
