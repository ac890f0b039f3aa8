// TLS with a server in this process: trust, resumption, failures and giving up; routes; the stop of a worker.

#include "devhost/framework/network/TlsTransport.h"
#include "cloudsim/server/CertificateAuthority.h"
#include "devhost/framework/system/WorkerStop.h"
#include "tests/support/Journal.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <openssl/x509.h>

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

enum class End { Close, Cut, Hold };

// What the server does with each connection: shake hands, read a request, send the reply, and end so.
struct Script {
    cloudsim::Identity Server;
    std::string Reply; // empty: one that says whether the handshake was "full" or "resumed"
    End eEnd = End::Hold;
    int iMaxVersion = 0; // 0: any
    // Called before the reply, with the server name that was asked for and the request.
    std::function<void(const std::string&)> OnRequest{};
    std::optional<cloudsim::Identity> Later{}; // from the second connection on; it knows no older sessions
};

class TlsServer
{
public:
    explicit TlsServer(Script Plan) : m_Script(std::move(Plan))
    {
        Use(m_Script.Server);
        SSL_CTX_set_max_proto_version(m_Context.native_handle(), m_Script.iMaxVersion);
        asio::co_spawn(m_Io, Serve(), asio::detached);
        m_Thread = std::thread([this] { m_Io.run(); });
    }
    ~TlsServer()
    {
        m_Io.stop();
        m_Thread.join();
    }

    // Takes the alternative names out of the certificate, so that its common name is the only one.
    void DropAlternativeNames(const cloudsim::Identity& Authority)
    {
        asio::ssl::context Signer(asio::ssl::context::tls_server);
        Signer.use_private_key(asio::buffer(Authority.keyPem), asio::ssl::context::pem);
        X509* pOwn = SSL_CTX_get0_certificate(m_Context.native_handle());
        X509_EXTENSION_free(X509_delete_ext(pOwn, X509_get_ext_by_NID(pOwn, NID_subject_alt_name, -1)));
        ASSERT_GT(X509_sign(pOwn, SSL_CTX_get0_privatekey(Signer.native_handle()), EVP_sha256()), 0);
    }
    int Port() const { return m_Acceptor.local_endpoint().port(); }

private:
    void Use(const cloudsim::Identity& Server)
    {
        m_Context.use_certificate_chain(asio::buffer(Server.certificatePem));
        m_Context.use_private_key(asio::buffer(Server.keyPem), asio::ssl::context::pem);
    }

    asio::awaitable<void> Serve()
    {
        for (int nBefore = 0;; ++nBefore) {
            tcp::socket Socket = co_await m_Acceptor.async_accept(asio::use_awaitable);
            if (nBefore > 0 && m_Script.Later) {
                unsigned char Keys[80];
                RAND_bytes(Keys, sizeof Keys);
                SSL_CTX_set_tlsext_ticket_keys(m_Context.native_handle(), Keys, sizeof Keys);
                Use(*m_Script.Later);
            }
            // What fails here is seen at the client, which goes away or refuses the certificate.
            asio::co_spawn(m_Io, Talk({std::move(Socket), m_Context}), asio::detached);
        }
    }

    asio::awaitable<void> Talk(asio::ssl::stream<tcp::socket> Stream)
    {
        co_await Stream.async_handshake(asio::ssl::stream_base::server, asio::use_awaitable);
        std::string Request;
        co_await asio::async_read_until(Stream, asio::dynamic_buffer(Request), "\r\n\r\n",
                                        asio::use_awaitable);
        const char* pName = SSL_get_servername(Stream.native_handle(), TLSEXT_NAMETYPE_host_name);
        if (m_Script.OnRequest)
            m_Script.OnRequest(std::string(pName ? pName : "") + "|" + Request);
        std::string Reply = m_Script.Reply;
        if (Reply.empty())
            Reply.append("HTTP/1.1 200 OK\r\n\r\n")
                .append(SSL_session_reused(Stream.native_handle()) ? "resumed" : "full");
        co_await asio::async_write(Stream, asio::buffer(Reply), asio::use_awaitable);
        if (m_Script.eEnd == End::Hold)
            co_await Stream.lowest_layer().async_wait(tcp::socket::wait_read, asio::use_awaitable);
        if (m_Script.eEnd == End::Close)
            co_await Stream.async_shutdown(asio::use_awaitable);
    }

    Script m_Script;
    asio::io_context m_Io{1};
    asio::ssl::context m_Context{asio::ssl::context::tls_server};
    tcp::acceptor m_Acceptor{m_Io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    std::thread m_Thread;
};

class TlsTransportTest : public testing::Test
{
protected:
    TlsTransportTest()
    {
        devhost::TheFramework().pDiagnostics = &m_Journal;
        std::ofstream(m_CaFile) << m_Authority.CertificatePem();
    }
    ~TlsTransportTest() override
    {
        devhost::TheFramework() = {};
        std::filesystem::remove(m_CaFile);
    }

    // A transport that trusts the authority and reaches its hosts at the port of this machine.
    devhost::TlsTransport Transport(int iPort, std::chrono::milliseconds ExchangeTimeout = 30s,
                                    const char* pAddress = "127.0.0.1",
                                    std::chrono::seconds ResumeFor = 1h) const
    {
        std::vector<ConnectTo> Routes;
        for (const char* pHost : {"api.cloud.example", "other.example", "192.0.2.1"})
            Routes.push_back({pHost, 443, pAddress, iPort});
        return devhost::TlsTransport({m_CaFile, Routes, ExchangeTimeout, ResumeFor});
    }

    // The body of a reply over a connection of its own, or why there is none.
    std::string Get(devhost::TlsTransport& Client, const char* pHost = kHost)
    {
        const auto pConnection = Client.Connect(pHost, 443, 30s);
        const auto Reply = pConnection ? pConnection->Exchange(kRequest) : std::nullopt;
        return Reply ? Reply->Body : LastLine();
    }

    // The last line of the log, which is empty afterwards.
    std::string LastLine()
    {
        const auto Lines = m_Journal.Take();
        return Lines.empty() ? "" : Lines.back();
    }

    cloudsim::CertificateAuthority m_Authority = cloudsim::CertificateAuthority::Create("Test authority");
    cloudsim::Identity m_Identity = m_Authority.Issue({"other.example", "api.cloud.example"});
    cloudsim::Identity m_Stranger =
        cloudsim::CertificateAuthority::Create("Stranger").Issue({"api.cloud.example"});
    std::string m_CaFile = testing::TempDir() + "devhost-ca-" + std::to_string(getpid());
    support::Journal m_Journal;
};

TEST_F(TlsTransportTest, ExchangesWithWhomTheCertificateNamesOrSaysWhyNot)
{
    const auto For = [&](const char* pName) { return Script{m_Authority.Issue({pName}), "", End::Close}; };
    const std::string k200 = "HTTP/1.1 200 OK\r\n", kFive = k200 + "Content-Length: 5\r\n\r\n";
    constexpr const char* kAddress = "192.0.2.1";
    // clang-format off
    const struct {
        const char* pName;
        Script Plan;
        const char *pResult, *pHost = kHost;
    } kRows[] = {
        {"length", {m_Identity, kFive + "hello"}, "hello"},
        {"short", {m_Identity, kFive + "hel", End::Close}, "cut short"},
        {"to the end", {m_Identity, k200 + "\r\nhello", End::Close}, "hello"},
        {"cut at the end", {m_Identity, k200 + "\r\nhel", End::Cut}, "the connection was cut"},
        {"TLS 1.1", {m_Identity, k200, End::Close, TLS1_1_VERSION}, "the handshake failed"},
        {"unknown authority", {m_Stranger, k200}, "cannot be trusted (unable to get local"},
        {"wildcard", For("*.cloud.example"), "full"}, {"another name", For("other.example"), kOtherName},
        {"start of a label", For("a*.cloud.example"), kOtherName},
        {"end of a label", For("*pi.cloud.example"), kOtherName},
        {"address", For(kAddress), "full", kAddress}, {"another address", For("192.0.2.2"), kOtherName, kAddress},
    };
    // clang-format on
    for (const auto& Row : kRows) {
        TlsServer Server(Row.Plan);
        devhost::TlsTransport Client = Transport(Server.Port());
        EXPECT_THAT(Get(Client, Row.pHost), HasSubstr(Row.pResult)) << Row.pName;
        EXPECT_EQ(LastLine(), "") << Row.pName;
    }
    TlsServer Server(For("api.cloud.example"));
    Server.DropAlternativeNames(m_Authority.Own());
    devhost::TlsTransport Client = Transport(Server.Port());
    EXPECT_THAT(Get(Client), HasSubstr(kOtherName));
}

TEST_F(TlsTransportTest, ResumesTheSessionsOfAPeerOfAThreadAndOfATransport)
{
    for (const int iVersion : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        SCOPED_TRACE(iVersion);
        TlsServer Server({m_Identity, "", End::Close, iVersion});
        devhost::TlsTransport Client = Transport(Server.Port());
        for (const char* pHandshake : {"full", "resumed", "resumed"})
            EXPECT_EQ(Get(Client), pHandshake);
        EXPECT_EQ(Get(Client, "other.example"), "full");
        for (int i = 0; i < 2; ++i) {
            std::thread([&] {
                EXPECT_EQ(Get(Client), "full") << "the sessions of a thread end with it";
                EXPECT_EQ(Get(Client), "resumed");
            }).join();
        }
        EXPECT_EQ(Get(Client), "resumed");
        devhost::TlsTransport OtherTrust = Transport(Server.Port());
        EXPECT_EQ(Get(OtherTrust), "full");
        devhost::TlsTransport Never = Transport(Server.Port(), 30s, "127.0.0.1", 0s);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(Get(Never), "full");
    }
}

TEST_F(TlsTransportTest, AServerThatRefusesTheSessionIsVerifiedAnew)
{
    const std::pair<cloudsim::Identity, const char*> kRows[] = {
        {m_Identity, "full"},
        {m_Authority.Issue({"third.example"}), kOtherName},
        {m_Stranger, "cannot be trusted"},
    };
    for (const int iVersion : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        for (const auto& [Later, pResult] : kRows) {
            TlsServer Server({m_Identity, "", End::Close, iVersion, {}, Later});
            devhost::TlsTransport Client = Transport(Server.Port());
            EXPECT_EQ(Get(Client), "full");
            EXPECT_THAT(Get(Client), HasSubstr(pResult));
        }
    }
}

TEST_F(TlsTransportTest, SaysWhyNobodyIsReachedAndGivesUpAPeerThatSaysNothing)
{
    asio::io_context Io;
    const tcp::endpoint AnyPort(asio::ip::address_v4::loopback(), 0);
    tcp::socket Deaf(Io, AnyPort); // the port is taken, and nobody listens
    tcp::acceptor Silent(Io, AnyPort);
    const auto Failure = [&](const char* pHost, int iPort, int iRoutedTo = 1,
                             std::chrono::milliseconds Timeout = 30s) {
        EXPECT_EQ(Transport(iRoutedTo).Connect(pHost, iPort, Timeout), nullptr);
        return LastLine();
    };
    EXPECT_THAT(Failure("unknown.invalid", 443), HasSubstr("tls: unknown.invalid:443: the name cannot be"));
    EXPECT_THAT(Failure(kHost, 70000), HasSubstr("no such port"));
    EXPECT_THAT(Failure(kHost, 443, Deaf.local_endpoint().port()), HasSubstr("Connection refused"));
    EXPECT_THAT(Failure(kHost, 443, Silent.local_endpoint().port(), 50ms),
                HasSubstr("handshake failed: timed out"));
    EXPECT_THROW(devhost::TlsTransport({"/dev/null", {}}), std::runtime_error) << "no authority to trust";

    TlsServer Server({m_Identity, "HTTP/1.1 200 OK\r\n"});
    devhost::TlsTransport Client = Transport(Server.Port(), 50ms);
    const auto pConnection = Client.Connect(kHost, 443, 30s);
    ASSERT_NE(pConnection, nullptr) << LastLine();
    EXPECT_FALSE(pConnection->Exchange(kRequest));
    EXPECT_THAT(LastLine(), HasSubstr("reading the reply failed: timed out"));
    EXPECT_FALSE(pConnection->Exchange(kRequest)); // a connection that failed stays closed
}

TEST_F(TlsTransportTest, AWorkerThatIsAskedToStopFinishesWithinItsGraceOnly)
{
    for (const bool bFinishes : {true, false}) {
        SCOPED_TRACE(bFinishes);
        std::promise<void> MayReply;
        devhost::WorkerStop Stop(bFinishes ? 24h : 0ms);
        const auto StopDuring = [&](const std::string& Request) {
            EXPECT_EQ(Request, std::string(kHost) + "|" + kRequest);
            Stop.RequestStop();
            if (!bFinishes)
                MayReply.get_future().wait();
        };
        TlsServer Server({m_Identity, "HTTP/1.1 204 No Content\r\n\r\n", End::Close, 0, StopDuring});
        // No address to the parser, so it is looked up; the resolver knows it without any file or server.
        devhost::TlsTransport Client = Transport(Server.Port(), 24h, "127.1");
        const auto Worker = std::async(std::launch::async, [&] {
            const devhost::WorkerStop::Scope Scope(Stop);
            auto pConnection = Client.Connect(kHost, 443, 30s);
            ASSERT_NE(pConnection, nullptr) << LastLine();
            EXPECT_EQ(pConnection->Exchange(kRequest).has_value(), bFinishes) << LastLine();
            pConnection.reset();
            // One that only begins after the request is treated alike.
            EXPECT_EQ(Client.Connect(kHost, 443, 30s) != nullptr, bFinishes) << LastLine();
            EXPECT_THAT(LastLine(), HasSubstr(bFinishes ? "" : "stopped"));
        });
        Worker.wait();
        MayReply.set_value();
    }
}

TEST(WorkerStop, CallsEachWakeFunctionOnce)
{
    devhost::WorkerStop Stop;
    std::string Calls;
    const devhost::WorkerStop::Wake Early(&Stop, [&] { Calls += "early "; });
    {
        const devhost::WorkerStop::Wake Gone(&Stop, [&] { Calls += "gone "; });
    }
    const devhost::WorkerStop::Wake None(nullptr, [&] { Calls += "none "; });
    EXPECT_FALSE(Stop.WaitFor(0ms));
    Stop.RequestStop();
    Stop.RequestStop();
    const devhost::WorkerStop::Wake Late(&Stop, [&] { Calls += "late "; });
    EXPECT_EQ(Calls, "early late ");
    EXPECT_TRUE(Stop.WaitFor(24h));
}

TEST(ConnectTo, ParsesRoutesAndNamesWhatIsWrong)
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
    for (const auto& [pText, pResult] : kRows) {
        std::string Result;
        try {
            const auto [Host, Port, Address, AddressPort] = ConnectTo::Parse(pText);
            Result = Host + " " + std::to_string(Port) + " " + Address + " " + std::to_string(AddressPort);
        } catch (const std::invalid_argument& Error) {
            Result = Error.what();
        }
        EXPECT_THAT(Result, HasSubstr(pResult)) << pText;
    }
}

} // namespace
