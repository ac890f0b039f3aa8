#include "FrameworkParts.h"

#include "cloudsim/server/CertificateAuthority.h"
#include "devhost/framework/TlsTransport.h"
#include "devhost/framework/WorkerStop.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <stdlib.h>

namespace
{

namespace asio = boost::asio;
using asio::ip::tcp;
using devhost::ConnectTo;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr const char* kHost = "api.cloud.example";

enum class End { Close, Cut, Hold };

// What the server does with each connection: shake hands, read a request, send the reply, and end so.
struct Script {
    cloudsim::Identity Server;
    std::string Reply;
    End eEnd = End::Close;
    int iMaxVersion = 0;                 // 0: any
    std::shared_future<void> MayReply{}; // none: at once
};

class TlsServer
{
public:
    explicit TlsServer(Script Plan) : m_Script(std::move(Plan))
    {
        m_Context.use_certificate_chain(asio::buffer(m_Script.Server.certificatePem));
        m_Context.use_private_key(asio::buffer(m_Script.Server.keyPem), asio::ssl::context::pem);
        SSL_CTX_set_max_proto_version(m_Context.native_handle(), m_Script.iMaxVersion);
        asio::co_spawn(m_Io, Serve(), asio::detached);
        m_Thread = std::thread([this] { m_Io.run(); });
    }
    ~TlsServer()
    {
        m_Io.stop();
        m_Thread.join();
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    int Port() const { return m_Acceptor.local_endpoint().port(); }
    // Blocks until the first request has come, and gives it with the server name that was asked for.
    std::string FirstRequest() { return m_Request.get_future().get(); }

private:
    asio::awaitable<void> Serve()
    {
        for (;;) {
            asio::ssl::stream<tcp::socket> Stream(co_await m_Acceptor.async_accept(asio::use_awaitable),
                                                  m_Context);
            try {
                co_await Talk(Stream);
            } catch (const boost::system::system_error&) {
                // The client went away or refused the certificate; the next one is served all the same.
            }
        }
    }

    asio::awaitable<void> Talk(asio::ssl::stream<tcp::socket>& Stream)
    {
        co_await Stream.async_handshake(asio::ssl::stream_base::server, asio::use_awaitable);
        std::string Request;
        co_await asio::async_read_until(Stream, asio::dynamic_buffer(Request), "\r\n\r\n",
                                        asio::use_awaitable);
        const char* pName = SSL_get_servername(Stream.native_handle(), TLSEXT_NAMETYPE_host_name);
        m_Request.set_value(std::string(pName ? pName : "") + "|" + Request);
        if (m_Script.MayReply.valid())
            m_Script.MayReply.wait();
        co_await asio::async_write(Stream, asio::buffer(m_Script.Reply), asio::use_awaitable);
        char Byte = 0;
        if (m_Script.eEnd == End::Hold)
            co_await Stream.async_read_some(asio::buffer(&Byte, 1), asio::use_awaitable);
        if (m_Script.eEnd == End::Close)
            co_await Stream.async_shutdown(asio::use_awaitable);
    }

    Script m_Script;
    asio::io_context m_Io{1};
    asio::ssl::context m_Context{asio::ssl::context::tls_server};
    tcp::acceptor m_Acceptor{m_Io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    std::promise<std::string> m_Request;
    std::thread m_Thread;
};

class TlsTransportTest : public testing::Test
{
protected:
    TlsTransportTest()
    {
        devhost::TheFramework().pDiagnostics = &m_Sink;
        std::string Pattern = testing::TempDir() + "devhost-tls-XXXXXX";
        m_Folder = mkdtemp(Pattern.data());
        std::ofstream(m_Folder / "ca.pem") << m_Authority.CertificatePem();
    }
    ~TlsTransportTest() override { std::filesystem::remove_all(m_Folder); }

    // A transport that trusts the authority and reaches the host at the port on loopback.
    devhost::TlsTransport Transport(int iPort, std::chrono::milliseconds ExchangeTimeout = 30s,
                                    const std::string& Address = "127.0.0.1") const
    {
        return devhost::TlsTransport(
            {(m_Folder / "ca.pem").string(), {{kHost, 443, Address, iPort}}, ExchangeTimeout});
    }

    std::string LastLine() const { return m_Sink.Lines().empty() ? "" : m_Sink.Lines().back(); }

    static constexpr const char* kRequest = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";
    cloudsim::CertificateAuthority m_Authority = cloudsim::CertificateAuthority::Create("Test authority");
    asio::io_context m_Io;
    std::filesystem::path m_Folder;
    FrameworkGuard m_Guard;
    RecordingSink m_Sink;
};

TEST_F(TlsTransportTest, ExchangesOrSaysWhyNot)
{
    const cloudsim::Identity Good = m_Authority.Issue({"other.example", kHost});
    const cloudsim::Identity OtherName = m_Authority.Issue({"other.example"});
    const cloudsim::Identity Unknown = cloudsim::CertificateAuthority::Create("Stranger").Issue({kHost});
    const std::string k200 = "HTTP/1.1 200 OK\r\n";
    const std::string kChunks = "Transfer-Encoding: chunked\r\n\r\n";
    const std::string kHello = k200 + "Content-Length: 5\r\n\r\nhello",
                      kHel = kHello.substr(0, kHello.size() - 2);
    // clang-format off
    const struct {
        const char* pName;
        Script Plan;
        bool bConnects;
        const char *pBody, *pWhy; // no body: no reply
    } kRows[] = {
        {"length", {Good, kHello, End::Hold}, true, "hello", ""},
        {"chunks", {Good, k200 + kChunks + "5\r\nhello\r\n0\r\n\r\n", End::Hold}, true, "hello", ""},
        {"to the end", {Good, k200 + "\r\nhello"}, true, "hello", ""},
        {"cut at the end", {Good, k200 + "\r\nhel", End::Cut}, true, nullptr, "the connection was cut"},
        {"cut body", {Good, kHel, End::Cut}, true, nullptr, "the connection was cut"},
        {"short body", {Good, kHel}, true, nullptr, "cut short"},
        {"no reply", {Good, ""}, true, nullptr, "cut short"},
        {"another name", {OtherName, k200}, false, nullptr, "the certificate is for another name"},
        {"unknown authority", {Unknown, k200}, false, nullptr, "cannot be trusted (unable to get local"},
        {"TLS 1.1", {Good, k200, End::Close, TLS1_1_VERSION}, false, nullptr, "the handshake failed"},
    };
    // clang-format on
    for (const auto& Row : kRows) {
        SCOPED_TRACE(Row.pName);
        TlsServer Server(Row.Plan);
        devhost::TlsTransport Client = Transport(Server.Port());
        const auto pConnection = Client.Connect(kHost, 443, 30s);
        ASSERT_EQ(pConnection != nullptr, Row.bConnects) << LastLine();
        if (pConnection) {
            const auto Reply = pConnection->Exchange(kRequest);
            EXPECT_EQ(Server.FirstRequest(), std::string(kHost) + "|" + kRequest);
            ASSERT_EQ(Reply.has_value(), Row.pBody != nullptr) << LastLine();
            EXPECT_EQ(Reply ? Reply->Body : "", Row.pBody ? Row.pBody : "");
        }
        EXPECT_THAT(LastLine(), HasSubstr(Row.pWhy));
    }
}

TEST_F(TlsTransportTest, LooksUpTheNameOfARouteAndSaysWhyNothingIsReached)
{
    TlsServer Server({m_Authority.Issue({kHost}), "HTTP/1.1 204 No Content\r\n\r\n"});
    devhost::TlsTransport Client = Transport(Server.Port(), 30s, "localhost");
    EXPECT_NE(Client.Connect("API.Cloud.Example", 443, 30s), nullptr) << LastLine();
    EXPECT_EQ(Client.Connect("unknown.invalid", 443, 30s), nullptr);
    EXPECT_THAT(LastLine(), HasSubstr("tls|unknown.invalid:443: the name cannot be resolved"));
    EXPECT_EQ(Client.Connect(kHost, 70000, 30s), nullptr);
    EXPECT_THAT(LastLine(), HasSubstr("no such port"));

    tcp::acceptor Bound(m_Io, tcp::v4());
    Bound.bind(tcp::endpoint(asio::ip::address_v4::loopback(), 0)); // taken, and nobody listens
    EXPECT_EQ(Transport(Bound.local_endpoint().port()).Connect(kHost, 443, 30s), nullptr);
    EXPECT_THAT(LastLine(), HasSubstr("connecting failed: Connection refused"));
    EXPECT_THROW(devhost::TlsTransport({"/dev/null", {}}), std::runtime_error) << "no authority to trust";
}

TEST_F(TlsTransportTest, GivesUpAPeerThatSaysNothing)
{
    tcp::acceptor Silent(m_Io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    EXPECT_EQ(Transport(Silent.local_endpoint().port()).Connect(kHost, 443, 50ms), nullptr);
    EXPECT_THAT(LastLine(), HasSubstr("the handshake failed: timed out"));

    TlsServer Server({m_Authority.Issue({kHost}), "HTTP/1.1 200 OK\r\n", End::Hold});
    devhost::TlsTransport Client = Transport(Server.Port(), 50ms);
    const auto pConnection = Client.Connect(kHost, 443, 30s);
    ASSERT_NE(pConnection, nullptr) << LastLine();
    EXPECT_FALSE(pConnection->Exchange(kRequest));
    EXPECT_THAT(LastLine(), HasSubstr("reading the reply failed: timed out"));
    EXPECT_FALSE(pConnection->Exchange(kRequest)); // a connection that failed stays closed
}

TEST_F(TlsTransportTest, AWorkerThatIsAskedToStopFinishesWithinItsGraceOnly)
{
    for (const std::chrono::milliseconds Grace : {24h, 0h}) {
        SCOPED_TRACE(Grace.count());
        const bool bFinishes = Grace > 0ms;
        std::promise<void> MayReply;
        TlsServer Server({m_Authority.Issue({kHost}), "HTTP/1.1 204 No Content\r\n\r\n", End::Close, 0,
                          MayReply.get_future().share()});
        devhost::TlsTransport Client = Transport(Server.Port(), 24h, "localhost");
        devhost::WorkerStop Stop(Grace);
        std::thread Worker([&] {
            const devhost::WorkerStop::Scope Scope(Stop);
            auto pConnection = Client.Connect(kHost, 443, 30s);
            ASSERT_NE(pConnection, nullptr) << LastLine();
            EXPECT_EQ(pConnection->Exchange(kRequest).has_value(), bFinishes) << LastLine();
            pConnection.reset();
            // One that only begins after the request is treated alike.
            EXPECT_EQ(Client.Connect(kHost, 443, 30s) != nullptr, bFinishes) << LastLine();
            EXPECT_THAT(LastLine(), HasSubstr(bFinishes ? "" : "stopped"));
        });
        Server.FirstRequest();
        Stop.RequestStop();
        if (!bFinishes)
            Worker.join();
        MayReply.set_value();
        if (bFinishes)
            Worker.join();
    }
}

TEST(ConnectTo, ParsesRoutesAndNamesWhatIsWrong)
{
    const char* const kRows[][2] = {
        {"api.example:443:127.0.0.1:8443", "api.example 443 127.0.0.1 8443"},
        {"api.example:443:[::1]:65535", "api.example 443 ::1 65535"},
        {"", "not followed by a port"},
        {"api.example:443", "the address is missing"},
        {":443:127.0.0.1:8443", "the host is empty"},
        {"api.example:443:[::1:8443", "not followed by a port"},
        {"api.example:0:127.0.0.1:8443", "\"0\" is no port"},
        {"api.example:443:127.0.0.1:65536", "\"65536\" is no port"},
    };
    for (const auto& [pText, pResult] : kRows) {
        std::string Result;
        try {
            const ConnectTo Route = ConnectTo::Parse(pText);
            Result = Route.Host + " " + std::to_string(Route.Port) + " " + Route.Address + " " +
                     std::to_string(Route.AddressPort);
        } catch (const std::invalid_argument& Error) {
            Result = Error.what();
            EXPECT_THAT(Result, HasSubstr(pText));
        }
        EXPECT_THAT(Result, HasSubstr(pResult)) << pText;
    }
}

} // namespace
