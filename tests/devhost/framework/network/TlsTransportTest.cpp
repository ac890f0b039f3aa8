// TLS with a server in this process: resumption, failures and giving up; routes; the stop of a worker. Who is
// trusted is in tests/borders.

#include "devhost/framework/network/TlsTransport.h"
#include "cloudsim/server/CertificateAuthority.h"
#include "devhost/framework/system/WorkerStop.h"
#include "tests/support/Journal.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/rand.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include <unistd.h>

namespace
{

namespace asio = boost::asio;
using asio::ip::tcp;
using devhost::ConnectTo;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr const char* kHost = "API.Cloud.Example"; // routes and certificates have it in small letters
constexpr const char* kOtherName = "the certificate is for another name";
constexpr const char* kRequest = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

enum class End { Close, Hold };

// What the server does with each connection: shake hands, read a request, send the reply, and end so.
struct Script {
    cloudsim::Identity server;
    std::string reply; // empty: one that says whether the handshake was "full" or "resumed"
    End end = End::Hold;
    int maxVersion = 0; // 0: any
    // Called before the reply, with the server name that was asked for and the request.
    std::function<void(const std::string&)> onRequest{};
    std::optional<cloudsim::Identity> later{}; // from the second connection on; it knows no older sessions
};

class TlsServer
{
public:
    explicit TlsServer(Script plan) : m_script(std::move(plan))
    {
        Use(m_script.server);
        SSL_CTX_set_max_proto_version(m_context.native_handle(), m_script.maxVersion);
        asio::co_spawn(m_io, Serve(), asio::detached);
        m_thread = std::thread([this] { m_io.run(); });
    }
    ~TlsServer()
    {
        m_io.stop();
        m_thread.join();
    }

    int Port() const { return m_acceptor.local_endpoint().port(); }

private:
    void Use(const cloudsim::Identity& server)
    {
        m_context.use_certificate_chain(asio::buffer(server.certificatePem));
        m_context.use_private_key(asio::buffer(server.keyPem), asio::ssl::context::pem);
    }

    asio::awaitable<void> Serve()
    {
        for (int countBefore = 0;; ++countBefore) {
            tcp::socket socket = co_await m_acceptor.async_accept(asio::use_awaitable);
            if (countBefore > 0 && m_script.later) {
                unsigned char keys[80];
                RAND_bytes(keys, sizeof keys);
                SSL_CTX_set_tlsext_ticket_keys(m_context.native_handle(), keys, sizeof keys);
                Use(*m_script.later);
            }
            // What fails here is seen at the client, which goes away or refuses the certificate.
            asio::co_spawn(m_io, Talk({std::move(socket), m_context}), asio::detached);
        }
    }

    asio::awaitable<void> Talk(asio::ssl::stream<tcp::socket> stream)
    {
        co_await stream.async_handshake(asio::ssl::stream_base::server, asio::use_awaitable);
        std::string request;
        co_await asio::async_read_until(stream, asio::dynamic_buffer(request), "\r\n\r\n",
                                        asio::use_awaitable);
        const char* name = SSL_get_servername(stream.native_handle(), TLSEXT_NAMETYPE_host_name);
        if (m_script.onRequest)
            m_script.onRequest(std::string(name ? name : "") + "|" + request);
        std::string reply = m_script.reply;
        if (reply.empty())
            reply.append("HTTP/1.1 200 OK\r\n\r\n")
                .append(SSL_session_reused(stream.native_handle()) ? "resumed" : "full");
        co_await asio::async_write(stream, asio::buffer(reply), asio::use_awaitable);
        if (m_script.end == End::Hold)
            co_await stream.lowest_layer().async_wait(tcp::socket::wait_read, asio::use_awaitable);
        if (m_script.end == End::Close)
            co_await stream.async_shutdown(asio::use_awaitable);
    }

    Script m_script;
    asio::io_context m_io{1};
    asio::ssl::context m_context{asio::ssl::context::tls_server};
    tcp::acceptor m_acceptor{m_io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    std::thread m_thread;
};

class TlsTransportTest : public testing::Test
{
protected:
    TlsTransportTest()
    {
        devhost::TheFramework().diagnostics = &m_journal;
        std::ofstream(m_caFile) << m_authority.CertificatePem();
    }
    ~TlsTransportTest() override
    {
        devhost::TheFramework() = {};
        std::filesystem::remove(m_caFile);
    }

    // A transport that trusts the authority and reaches its hosts at the port of this machine.
    devhost::TlsTransport Transport(int port, std::chrono::milliseconds exchangeTimeout = 30s,
                                    const char* address = "127.0.0.1",
                                    std::chrono::seconds resumeFor = 1h) const
    {
        std::vector<ConnectTo> routes;
        for (const char* host : {"api.cloud.example", "other.example"})
            routes.push_back({host, 443, address, port});
        return devhost::TlsTransport({m_caFile, routes, exchangeTimeout, resumeFor});
    }

    // The body of a reply over a connection of its own, or why there is none.
    std::string Get(devhost::TlsTransport& client, const char* host = kHost)
    {
        const auto connection = client.Connect(host, 443, 30s);
        const auto reply = connection ? connection->Exchange(kRequest) : std::nullopt;
        return reply ? reply->body : LastLine();
    }

    // The last line of the log, which is empty afterwards.
    std::string LastLine()
    {
        const auto lines = m_journal.Take();
        return lines.empty() ? "" : lines.back();
    }

    cloudsim::CertificateAuthority m_authority = cloudsim::CertificateAuthority::Create("Test authority");
    cloudsim::Identity m_identity = m_authority.Issue({"other.example", "api.cloud.example"});
    cloudsim::Identity m_stranger =
        cloudsim::CertificateAuthority::Create("Stranger").Issue({"api.cloud.example"});
    std::string m_caFile = testing::TempDir() + "devhost-ca-" + std::to_string(getpid());
    support::Journal m_journal;
};

TEST_F(TlsTransportTest, ResumesTheSessionsOfAPeerOfAThreadAndOfATransport)
{
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        SCOPED_TRACE(version);
        TlsServer server({m_identity, "", End::Close, version});
        devhost::TlsTransport client = Transport(server.Port());
        for (const char* handshake : {"full", "resumed", "resumed"})
            EXPECT_EQ(Get(client), handshake);
        EXPECT_EQ(Get(client, "other.example"), "full");
        for (int i = 0; i < 2; ++i) {
            std::thread([&] {
                EXPECT_EQ(Get(client), "full") << "the sessions of a thread end with it";
                EXPECT_EQ(Get(client), "resumed");
            }).join();
        }
        EXPECT_EQ(Get(client), "resumed");
        devhost::TlsTransport otherTrust = Transport(server.Port());
        EXPECT_EQ(Get(otherTrust), "full");
        devhost::TlsTransport never = Transport(server.Port(), 30s, "127.0.0.1", 0s);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(Get(never), "full");
    }
}

TEST_F(TlsTransportTest, AServerThatRefusesTheSessionIsVerifiedAnew)
{
    const std::pair<cloudsim::Identity, const char*> kRows[] = {
        {m_identity, "full"},
        {m_authority.Issue({"third.example"}), kOtherName},
        {m_stranger, "cannot be trusted"},
    };
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        for (const auto& [later, result] : kRows) {
            TlsServer server({m_identity, "", End::Close, version, {}, later});
            devhost::TlsTransport client = Transport(server.Port());
            EXPECT_EQ(Get(client), "full");
            EXPECT_THAT(Get(client), HasSubstr(result));
        }
    }
}

TEST_F(TlsTransportTest, SaysWhyNobodyIsReachedAndGivesUpAPeerThatSaysNothing)
{
    asio::io_context io;
    const tcp::endpoint anyPort(asio::ip::address_v4::loopback(), 0);
    tcp::socket deaf(io, anyPort); // the port is taken, and nobody listens
    tcp::acceptor silent(io, anyPort);
    const auto failure = [&](const char* host, int port, int routedTo = 1,
                             std::chrono::milliseconds timeout = 30s) {
        EXPECT_EQ(Transport(routedTo).Connect(host, port, timeout), nullptr);
        return LastLine();
    };
    EXPECT_THAT(failure("unknown.invalid", 443), HasSubstr("tls: unknown.invalid:443: the name cannot be"));
    EXPECT_THAT(failure(kHost, 70000), HasSubstr("no such port"));
    EXPECT_THAT(failure(kHost, 443, deaf.local_endpoint().port()), HasSubstr("Connection refused"));
    EXPECT_THAT(failure(kHost, 443, silent.local_endpoint().port(), 50ms),
                HasSubstr("handshake failed: timed out"));
    EXPECT_THROW(devhost::TlsTransport({"/dev/null", {}}), std::runtime_error) << "no authority to trust";

    TlsServer server({m_identity, "HTTP/1.1 200 OK\r\n"});
    devhost::TlsTransport client = Transport(server.Port(), 50ms);
    const auto connection = client.Connect(kHost, 443, 30s);
    ASSERT_NE(connection, nullptr) << LastLine();
    EXPECT_FALSE(connection->Exchange(kRequest));
    EXPECT_THAT(LastLine(), HasSubstr("reading the reply failed: timed out"));
    EXPECT_FALSE(connection->Exchange(kRequest)); // a connection that failed stays closed
}

TEST_F(TlsTransportTest, AWorkerThatIsAskedToStopFinishesWithinItsGraceOnly)
{
    for (const bool finishes : {true, false}) {
        SCOPED_TRACE(finishes);
        std::promise<void> mayReply;
        devhost::WorkerStop stop(finishes ? 24h : 0ms);
        const auto stopDuring = [&](const std::string& request) {
            EXPECT_EQ(request, std::string(kHost) + "|" + kRequest);
            stop.RequestStop();
            if (!finishes)
                mayReply.get_future().wait();
        };
        TlsServer server({m_identity, "HTTP/1.1 204 No Content\r\n\r\n", End::Close, 0, stopDuring});
        // No address to the parser, so it is looked up; the resolver knows it without any file or server.
        devhost::TlsTransport client = Transport(server.Port(), 24h, "127.1");
        const auto worker = std::async(std::launch::async, [&] {
            const devhost::WorkerStop::Scope scope(stop);
            auto connection = client.Connect(kHost, 443, 30s);
            ASSERT_NE(connection, nullptr) << LastLine();
            EXPECT_EQ(connection->Exchange(kRequest).has_value(), finishes) << LastLine();
            connection.reset();
            // One that only begins after the request is treated alike.
            EXPECT_EQ(client.Connect(kHost, 443, 30s) != nullptr, finishes) << LastLine();
            EXPECT_THAT(LastLine(), HasSubstr(finishes ? "" : "stopped"));
        });
        worker.wait();
        mayReply.set_value();
    }
}

TEST(WorkerStopTest, CallsEachWakeFunctionOnce)
{
    devhost::WorkerStop stop;
    std::string calls;
    const devhost::WorkerStop::Wake early(&stop, [&] { calls += "early "; });
    {
        const devhost::WorkerStop::Wake gone(&stop, [&] { calls += "gone "; });
    }
    const devhost::WorkerStop::Wake none(nullptr, [&] { calls += "none "; });
    EXPECT_FALSE(stop.WaitFor(0ms));
    stop.RequestStop();
    stop.RequestStop();
    const devhost::WorkerStop::Wake late(&stop, [&] { calls += "late "; });
    EXPECT_EQ(calls, "early late ");
    EXPECT_TRUE(stop.WaitFor(24h));
}

TEST(ConnectToTest, ParsesRoutesAndNamesWhatIsWrong)
{
    const char* const kRows[][2] = {
        {"api.example:443:127.0.0.1:8443", "api.example 443 127.0.0.1 8443"},
        {"api.example:443:[::1]:65535", "api.example 443 ::1 65535"},
        {"api.example:443", "the address is missing"},
        {":443:127.0.0.1:8443", "the host is empty"},
        {"api.example:443:[::1:8443", "not followed by a port"},
        {"api.example:0:127.0.0.1:8443", "\"0\" is no port"},
        {"api.example:443:127.0.0.1:65536", "\"65536\" is no port"},
    };
    for (const auto& [text, expected] : kRows) {
        std::string result;
        try {
            const auto [host, port, address, addressPort] = ConnectTo::Parse(text);
            result = host + " " + std::to_string(port) + " " + address + " " + std::to_string(addressPort);
        } catch (const std::invalid_argument& error) {
            result = error.what();
        }
        EXPECT_THAT(result, HasSubstr(expected)) << text;
    }
}

} // namespace
