// Carries requests from sockets to the model and replies back, in bounded time and number; what they mean is
// left to the model.
#include "cloudsim/server/Server.h"

#include "cloudsim/model/Replies.h"
#include "cloudsim/server/AdminSave.h"

#include <boost/algorithm/hex.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <chrono>
#include <future>
#include <iterator>
#include <openssl/rand.h>
#include <spdlog/spdlog.h>
#include <thread>

namespace cloudsim
{
namespace
{

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::beast::tcp_stream;
using TlsStream = boost::beast::ssl_stream<tcp_stream>;
using Error = boost::system::error_code;

constexpr std::chrono::milliseconds kLinger{1000};
constexpr std::chrono::milliseconds kTickInterval{250};
constexpr std::chrono::seconds kRequestTimeout{10}; // for handshake, request and reply each
constexpr std::size_t kMaxConnections = 64;         // of both ports together; more are closed at once

std::string SecureRandom(std::size_t byteCount)
{
    std::vector<unsigned char> bytes(byteCount);
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
        throw std::runtime_error("no random numbers");
    std::string text;
    boost::algorithm::hex_lower(bytes, std::back_inserter(text));
    return text;
}

TimePoint SystemNow()
{
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

void SetUpTls(asio::ssl::context& context, const Identity& identity)
{
    SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
    context.use_certificate_chain(asio::buffer(identity.certificatePem));
    context.use_private_key(asio::buffer(identity.keyPem), asio::ssl::context::pem);
}

// The option is the one that chooses the port, for the complaint.
tcp::acceptor Listen(asio::io_context& io, std::uint16_t port, const std::string& option)
{
    try {
        return {io, {asio::ip::address_v4::loopback(), port}};
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error(
            option + " " + std::to_string(port) +
            ": cannot listen there on 127.0.0.1: " + error.code().message() +
            (error.code() == asio::error::address_in_use
                 ? "; end the program that has this port, or give another (0 takes a free one)"
                 : ""));
    }
}

enum class Port { Cloud, Admin };

// Queries carry codes and states, so only the path is logged.
void LogRequest(Port port, const Request& request, const Response& response)
{
    const char* label = port == Port::Admin ? "admin" : "cloud";
    const std::string path(request.Path().substr(0, 200));
    if (response.errorcode.empty())
        spdlog::info("{} {} {} -> {}", label, request.method, path, response.status);
    else
        spdlog::warn("{} {} {} -> {} {}: {}", label, request.method, path, response.status,
                     response.errorcode, response.reason);
}

// Reads until the request is complete or cannot become one. False when the peer went away or was too slow.
template <typename Stream>
asio::awaitable<bool> ReadRequest(Stream& stream, RequestReader& reader)
{
    std::vector<char> buffer(kMaxHeaderBytes);
    auto state = RequestReader::State::NeedMore;
    while (state == RequestReader::State::NeedMore) {
        Error error;
        const std::size_t count = co_await stream.async_read_some(
            asio::buffer(buffer), asio::redirect_error(asio::use_awaitable, error));
        if (error)
            co_return false;
        state = reader.Feed({buffer.data(), count});
    }
    co_return true;
}

// Waits until the peer has closed too: closing with unread bytes would reset the connection, and the peer
// could lose the reply.
asio::awaitable<void> Linger(tcp_stream& stream)
{
    Error error;
    stream.socket().shutdown(tcp::socket::shutdown_send, error);
    stream.expires_after(kLinger);
    std::vector<char> ignored(4096);
    while (!error)
        co_await stream.async_read_some(asio::buffer(ignored),
                                        asio::redirect_error(asio::use_awaitable, error));
}

} // namespace

struct Server::Parts {
    Parts(ServerOptions serverOptions, World world, const ServerIdentity& identity)
        : options(std::move(serverOptions)), cloud(std::move(world), options.cloud, SecureRandom),
          https(Listen(io, options.httpsPort, "--https-port")),
          admin(Listen(io, options.adminPort, "--admin-port")), ticker(io)
    {
        SetUpTls(tls, identity.server);
    }

    void Start()
    {
        asio::co_spawn(io, AcceptLoop(https, true), asio::detached);
        asio::co_spawn(io, AcceptLoop(admin, false), asio::detached);
        asio::co_spawn(io, TickLoop(), asio::detached);
        thread = std::thread([this] { io.run(); });
    }

    asio::awaitable<void> AcceptLoop(tcp::acceptor& acceptor, bool isTls);
    asio::awaitable<void> TickLoop();
    asio::awaitable<void> ServeTls(tcp::socket socket);
    asio::awaitable<void> ServeAdmin(tcp::socket socket);
    template <typename Stream>
    asio::awaitable<void> Exchange(Stream& stream, Port port, bool& cutShort);
    Response Answer(const RequestReader& reader, Port port);

    ServerOptions options;
    Cloud cloud;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    std::size_t connections = 0;
    // Declared behind what the coroutines use: those still waiting at the end are destroyed with it.
    asio::io_context io{1};
    tcp::acceptor https;
    tcp::acceptor admin;
    asio::steady_timer ticker;
    std::thread thread;
};

namespace
{

// Counts a connection for as long as it is served.
class ConnectionCount
{
public:
    explicit ConnectionCount(std::size_t& count) : m_count(count) { ++m_count; }
    ~ConnectionCount() { --m_count; }
    ConnectionCount(const ConnectionCount&) = delete;
    ConnectionCount& operator=(const ConnectionCount&) = delete;

private:
    std::size_t& m_count;
};

} // namespace

asio::awaitable<void> Server::Parts::AcceptLoop(tcp::acceptor& acceptor, bool isTls)
{
    for (;;) {
        Error error;
        tcp::socket socket = co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error) {
            // No free descriptor, for instance: wait until connections have ended instead of turning in a
            // circle.
            asio::steady_timer pause(io, std::chrono::milliseconds(100));
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
            continue;
        }
        if (connections >= kMaxConnections) {
            spdlog::warn("refused a connection: {} are open already", connections);
            continue;
        }
        asio::co_spawn(io, isTls ? ServeTls(std::move(socket)) : ServeAdmin(std::move(socket)),
                       asio::detached);
    }
}

asio::awaitable<void> Server::Parts::TickLoop()
{
    for (;;) {
        cloud.Advance(SystemNow());
        ticker.expires_after(kTickInterval);
        co_await ticker.async_wait(asio::use_awaitable);
    }
}

Response Server::Parts::Answer(const RequestReader& reader, Port port)
{
    const bool isAdmin = port == Port::Admin;
    const bool isBroken = reader.Progress() == RequestReader::State::Failed;
    const TimePoint now = SystemNow();
    Response response;
    if (isBroken)
        response = isAdmin ? ErrorReply(reader.Error()) : cloud.HandleUnreadable(reader.Error(), now);
    else if (isAdmin)
        response = HandleAdminWithFiles(cloud, reader.Result(), options.saveFolder, now);
    else
        response = cloud.Handle(reader.Result(), now);
    LogRequest(port, reader.Result(), response);
    return response;
}

template <typename Stream>
asio::awaitable<void> Server::Parts::Exchange(Stream& stream, Port port, bool& cutShort)
{
    RequestReader reader;
    cutShort = true;
    if (!co_await ReadRequest(stream, reader))
        co_return;
    const Response response = Answer(reader, port);
    auto& lowest = boost::beast::get_lowest_layer(stream);
    if (response.delay.count() > 0) {
        lowest.expires_never();
        asio::steady_timer wait(io, response.delay);
        co_await wait.async_wait(asio::use_awaitable);
    }
    lowest.expires_after(kRequestTimeout);
    Error error;
    const std::string bytes = SerializeReply(response);
    co_await asio::async_write(stream, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    cutShort = error || response.closeWithoutReply || response.cutAfterBytes;
}

asio::awaitable<void> Server::Parts::ServeTls(tcp::socket socket)
{
    const ConnectionCount counted(connections);
    TlsStream stream(tcp_stream(std::move(socket)), tls);
    auto& lowest = boost::beast::get_lowest_layer(stream);
    lowest.expires_after(kRequestTimeout);
    Error error;
    // A reply would wait for the acknowledgement of the session tickets before it, which a client delays.
    lowest.socket().set_option(tcp::no_delay(true), error);
    co_await stream.async_handshake(asio::ssl::stream_base::server,
                                    asio::redirect_error(asio::use_awaitable, error));
    if (error) {
        spdlog::warn("TLS handshake failed: {}", error.message());
        co_return;
    }
    lowest.expires_after(kRequestTimeout);
    bool cutShort = false;
    co_await Exchange(stream, Port::Cloud, cutShort);
    // A cut reply must look like a broken connection, so it ends without TLS's own good-bye.
    if (cutShort)
        co_return;
    lowest.expires_after(kLinger);
    co_await stream.async_shutdown(asio::redirect_error(asio::use_awaitable, error));
    co_await Linger(lowest);
}

asio::awaitable<void> Server::Parts::ServeAdmin(tcp::socket socket)
{
    const ConnectionCount counted(connections);
    tcp_stream stream(std::move(socket));
    stream.expires_after(kRequestTimeout);
    bool cutShort = false;
    co_await Exchange(stream, Port::Admin, cutShort);
    if (!cutShort)
        co_await Linger(stream);
}

std::vector<std::string> CertificateNames(const Options& options)
{
    return {options.oauthHost, options.apiHost, "localhost", "127.0.0.1"};
}

Server::Server(ServerOptions options, World world, const ServerIdentity& identity)
    : m_parts(std::make_unique<Parts>(std::move(options), std::move(world), identity))
{
    m_parts->Start();
}

Server::~Server()
{
    m_parts->io.stop();
    m_parts->thread.join();
}

std::uint16_t Server::HttpsPort() const
{
    return m_parts->https.local_endpoint().port();
}

std::uint16_t Server::AdminPort() const
{
    return m_parts->admin.local_endpoint().port();
}

std::string Server::AuthorizeBase() const
{
    return "https://127.0.0.1:" + std::to_string(HttpsPort());
}

const Options& Server::CloudOptions() const
{
    return m_parts->options.cloud;
}

void Server::WithCloud(const std::function<void(Cloud&)>& use)
{
    std::packaged_task<void()> task([&] { use(m_parts->cloud); });
    asio::post(m_parts->io, [&task] { task(); });
    task.get_future().get();
}

} // namespace cloudsim
