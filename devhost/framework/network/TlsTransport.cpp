// TLS connections and exchanges over Boost.Asio and OpenSSL. What a reply must look like is up to the reader.

#include "devhost/framework/network/TlsTransport.h"

#include "devhost/framework/network/HttpReplyReader.h"
#include "devhost/framework/network/NameLookup.h"
#include "devhost/framework/network/TlsSessions.h"
#include "devhost/framework/system/WorkerStop.h"
#include "host/Trace.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace devhost
{

namespace
{

namespace asio = boost::asio;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Tcp = asio::ip::tcp;

constexpr int kReportTooLong = 1;

void Log(const std::string& Peer, std::string_view What)
{
    if (DiagnosticSink* pSink = TheFramework().pDiagnostics)
        pSink->OnTrace("tls", Peer + ": " + std::string(What));
}

bool IsAddress(const std::string& Host)
{
    error_code Error;
    asio::ip::make_address(Host, Error);
    return !Error;
}

// What the connections of a transport share, beside its trust.
struct Settings {
    std::uint64_t uTransport; // tells the sessions of transports apart
    std::chrono::milliseconds ExchangeTimeout;
    std::chrono::seconds ResumeFor;
};

class TlsConnection : public Connection
{
public:
    TlsConnection(asio::ssl::context& Context, std::string Peer, Settings Common)
        : m_Peer(std::move(Peer)), m_Settings(Common), m_Stream(m_Io, Context)
    {
        SSL_set_ex_data(m_Stream.native_handle(), SslIndex(), this);
    }
    ~TlsConnection() override;

    // Takes the sessions that servers offer to connections of the context.
    static void TakeSessions(asio::ssl::context& Context);

    bool Open(const std::string& Host, const std::vector<Tcp::endpoint>& Endpoints,
              Clock::time_point Deadline);
    std::optional<HttpReply> Exchange(std::string_view Request) override;

private:
    // Runs one asynchronous operation to its end. A passed deadline, and the end of the grace that a stop of
    // the worker leaves, close the socket, so that nothing is left pending that refers to the caller's frame.
    template <class Start>
    error_code Await(Clock::time_point Deadline, Start StartOperation)
    {
        std::optional<error_code> Result;
        StartOperation([&Result](const error_code& Error, const auto&) { Result = Error; });
        {
            WorkerStop* pStop = WorkerStop::Current();
            const WorkerStop::Wake Wake(pStop, [this] { m_Io.stop(); });
            for (Clock::time_point End = Clock::time_point::max(); !Result && Clock::now() < End;) {
                m_Io.restart(); // before the end is asked for, so that no stop request goes unnoticed between
                End = pStop ? std::min(Deadline, pStop->GraceEnd()) : Deadline;
                m_Io.run_until(End);
            }
        }
        if (Result)
            return *Result;
        error_code Ignored;
        m_Stream.lowest_layer().close(Ignored);
        m_Io.restart();
        m_Io.run();
        return Clock::now() < Deadline ? asio::error::operation_aborted : asio::error::timed_out;
    }

    // Where a connection is found from its TLS object.
    static int SslIndex();
    static int OnNewSession(SSL* pSsl, SSL_SESSION* pSession);

    bool Expect(const std::string& Host);
    bool Verify(bool bGood, asio::ssl::verify_context& Context);
    bool Fail(const char* pStep, const error_code& Error) const;
    void KeepSession(SSL_SESSION* pSession);
    std::chrono::seconds VerifiedFor();

    std::string
        m_Peer; // as it is named in the log; names the whole way to it, so sessions are kept by it too
    Settings m_Settings;
    TlsSession m_Offered; // to the server in the handshake
    bool m_bReplied = false;
    asio::io_context m_Io{1};
    asio::ssl::stream<Tcp::socket> m_Stream;
    std::string m_CertificateFault;
};

bool TlsConnection::Fail(const char* pStep, const error_code& Error) const
{
    std::string What = Error.message();
    if (!m_CertificateFault.empty())
        What = m_CertificateFault;
    else if (Error == asio::error::operation_aborted)
        What = "stopped";
    else if (Error == asio::error::timed_out)
        What = "timed out";
    else if (Error == asio::ssl::error::stream_truncated || Error == asio::error::eof)
        What = "the connection was cut";
    Log(m_Peer, std::string(pStep) + " failed: " + What);
    return false;
}

bool TlsConnection::Verify(bool bGood, asio::ssl::verify_context& Context)
{
    if (bGood)
        return true;
    const int iError = X509_STORE_CTX_get_error(Context.native_handle());
    if (iError == X509_V_ERR_HOSTNAME_MISMATCH || iError == X509_V_ERR_IP_ADDRESS_MISMATCH)
        m_CertificateFault = "the certificate is for another name";
    else
        m_CertificateFault =
            "the certificate cannot be trusted (" + std::string(X509_verify_cert_error_string(iError)) + ")";
    return false;
}

// Sets the name that the server is asked for and its certificate must have. As RFC 9525, sections 6.3
// and 6.4, asks, it counts among the alternative names only, and a wildcard only as a whole label.
bool TlsConnection::Expect(const std::string& Host)
{
    SSL* pSsl = m_Stream.native_handle();
    X509_VERIFY_PARAM* pWanted = SSL_get0_param(pSsl);
    X509_VERIFY_PARAM_set_hostflags(pWanted, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT |
                                                 X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (IsAddress(Host))
        return X509_VERIFY_PARAM_set1_ip_asc(pWanted, Host.c_str()) == 1;
    // To OpenSSL an empty name is any, and one that begins with a dot any below it. RFC 6066, section 3: the
    // server name is a host name, never an address.
    return !Host.empty() && Host.front() != '.' &&
           X509_VERIFY_PARAM_set1_host(pWanted, Host.data(), Host.size()) == 1 &&
           SSL_set_tlsext_host_name(pSsl, Host.c_str()) == 1;
}

TlsConnection::~TlsConnection()
{
    // OpenSSL forbids the resumption of a session whose connection was given up without an end. The end of an
    // exchange is its whole reply, and the server needs no other.
    if (m_bReplied)
        SSL_set_shutdown(m_Stream.native_handle(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

int TlsConnection::SslIndex()
{
    static const int iIndex = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return iIndex;
}

void TlsConnection::TakeSessions(asio::ssl::context& Context)
{
    SSL_CTX_set_session_cache_mode(Context.native_handle(),
                                   SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(Context.native_handle(), OnNewSession);
}

// Called from within a handshake (TLS 1.2) or a read (TLS 1.3), in both cases behind the verification.
int TlsConnection::OnNewSession(SSL* pSsl, SSL_SESSION* pSession)
{
    try {
        static_cast<TlsConnection*>(SSL_get_ex_data(pSsl, SslIndex()))->KeepSession(pSession);
    } catch (const std::exception&) {
        // Without memory the next handshake is a full one. The session has been released already.
    }
    return 1; // it is not given back
}

// Takes the session over.
void TlsConnection::KeepSession(SSL_SESSION* pSession)
{
    TlsSession Session{std::unique_ptr<SSL_SESSION, TlsSession::Free>(pSession), m_Offered.UsableUntil};
    if (SSL_session_reused(m_Stream.native_handle()) == 0)
        Session.UsableUntil = Clock::now() + VerifiedFor();
    TlsSessions::OfThread(m_Settings.uTransport).Keep(m_Peer, std::move(Session));
}

// How long the verification that was just made counts: no longer than the certificates themselves.
std::chrono::seconds TlsConnection::VerifiedFor()
{
    std::chrono::seconds Left = m_Settings.ResumeFor;
    const STACK_OF(X509)* pChain = SSL_get0_verified_chain(m_Stream.native_handle());
    for (int i = 0; i < sk_X509_num(pChain); ++i) {
        int nDays = 0;
        int nSeconds = 0;
        if (ASN1_TIME_diff(&nDays, &nSeconds, nullptr, X509_get0_notAfter(sk_X509_value(pChain, i))) == 1)
            Left = std::min(Left, std::chrono::days(nDays) + std::chrono::seconds(nSeconds));
    }
    return Left;
}

bool TlsConnection::Open(const std::string& Host, const std::vector<Tcp::endpoint>& Endpoints,
                         Clock::time_point Deadline)
{
    if (const error_code Error = Await(Deadline, [&](auto Done) {
            asio::async_connect(m_Stream.lowest_layer(), Endpoints, std::move(Done));
        }))
        return Fail("connecting", Error);
    error_code Ignored;
    m_Stream.lowest_layer().set_option(Tcp::no_delay(true), Ignored);

    if (!Expect(Host))
        return Fail("the handshake", asio::error::invalid_argument);
    m_Stream.set_verify_mode(asio::ssl::verify_peer);
    m_Stream.set_verify_callback(
        [this](bool bGood, asio::ssl::verify_context& Context) { return Verify(bGood, Context); });
    SSL* pSsl = m_Stream.native_handle();
    m_Offered = TlsSessions::OfThread(m_Settings.uTransport).Take(m_Peer);
    if (m_Offered.pSession)
        SSL_set_session(pSsl, m_Offered.pSession.get()); // one that does not fit is not offered
    if (const error_code Error = Await(Deadline, [&](auto Done) {
            m_Stream.async_handshake(asio::ssl::stream_base::client,
                                     [Done](const error_code& Result) { Done(Result, 0); });
        }))
        return Fail("the handshake", Error);
    // In TLS 1.2 a server may accept a session without offering it again.
    if (SSL_session_reused(pSsl) == 1 && SSL_version(pSsl) < TLS1_3_VERSION)
        KeepSession(SSL_get1_session(pSsl));
    return true;
}

std::optional<HttpReply> TlsConnection::Exchange(std::string_view Request)
{
    const Clock::time_point Deadline = Clock::now() + m_Settings.ExchangeTimeout;
    if (const error_code Error = Await(Deadline, [&](auto Done) {
            asio::async_write(m_Stream, asio::buffer(Request), std::move(Done));
        })) {
        Fail("sending the request", Error);
        return std::nullopt;
    }
    HttpReplyReader Reader;
    std::array<char, 16384> Buffer;
    while (Reader.Current() == HttpReplyReader::State::NeedsMore) {
        std::size_t cbRead = 0;
        const error_code Error = Await(Deadline, [&](auto Done) {
            m_Stream.async_read_some(asio::buffer(Buffer),
                                     [&cbRead, Done](const error_code& Result, std::size_t cb) {
                                         cbRead = cb;
                                         Done(Result, cb);
                                     });
        });
        Reader.Feed(std::string_view(Buffer.data(), cbRead));
        if (Error == asio::error::eof) {
            // The peer said in TLS that it closes, so a body that ends with the connection is whole.
            Reader.EndOfStream();
        } else if (Error && Reader.Current() == HttpReplyReader::State::NeedsMore) {
            Fail("reading the reply", Error);
            return std::nullopt;
        }
    }
    if (Reader.Current() == HttpReplyReader::State::Failed) {
        const std::string What = "the reply is unusable: " + Reader.Failure();
        if (Reader.BodyTooLong())
            AssertWrap("tls", kReportTooLong, (m_Peer + ": " + What).c_str());
        else
            Log(m_Peer, What);
        return std::nullopt;
    }
    m_bReplied = true;
    return Reader.Take();
}

[[noreturn]] void RefuseRoute(std::string_view Text, const std::string& Why)
{
    throw std::invalid_argument("\"" + std::string(Text) + "\" is no HOST:PORT:ADDRESS:PORT: " + Why);
}

std::uint64_t NextNumber()
{
    static std::atomic<std::uint64_t> uLast{0};
    return ++uLast;
}

// Takes "name:" or "[address]:" from the front of the rest, and returns it without colon and brackets.
std::string TakeHost(std::string_view Text, std::string_view& Rest, const std::string& What)
{
    const bool bBrackets = Rest.starts_with('[');
    const std::size_t iEnd = Rest.find(bBrackets ? "]:" : ":");
    if (iEnd == std::string_view::npos)
        RefuseRoute(Text, What + " is not followed by a port");
    const std::string Host(Rest.substr(bBrackets ? 1 : 0, iEnd - (bBrackets ? 1 : 0)));
    if (Host.empty())
        RefuseRoute(Text, What + " is empty");
    Rest.remove_prefix(iEnd + (bBrackets ? 2 : 1));
    return Host;
}

int ParsePort(std::string_view Text, std::string_view Digits)
{
    int iPort = 0;
    const auto [pEnd, Error] = std::from_chars(Digits.data(), Digits.data() + Digits.size(), iPort);
    if (Error != std::errc() || pEnd != Digits.data() + Digits.size() || iPort < 1 || iPort > 65535)
        RefuseRoute(Text, "\"" + std::string(Digits) +
                              "\" is no port from 1 to 65535 (an IPv6 address stands in brackets)");
    return iPort;
}

} // namespace

ConnectTo ConnectTo::Parse(std::string_view Text)
{
    std::string_view Rest = Text;
    ConnectTo Route;
    Route.Host = TakeHost(Text, Rest, "the host");
    const std::size_t iColon = Rest.find(':');
    if (iColon == std::string_view::npos)
        RefuseRoute(Text, "the address is missing");
    Route.Port = ParsePort(Text, Rest.substr(0, iColon));
    Rest.remove_prefix(iColon + 1);
    Route.Address = TakeHost(Text, Rest, "the address");
    Route.AddressPort = ParsePort(Text, Rest);
    return Route;
}

class TlsTransport::Impl
{
public:
    explicit Impl(TlsOptions Options);
    std::unique_ptr<Connection> Connect(const std::string& Host, int Port, std::chrono::milliseconds Timeout);

private:
    TlsOptions m_Options;
    Settings m_Settings;
    asio::ssl::context m_Context{asio::ssl::context::tls_client};
};

TlsTransport::Impl::Impl(TlsOptions Options)
    : m_Options(std::move(Options)), m_Settings{NextNumber(), m_Options.ExchangeTimeout, m_Options.ResumeFor}
{
    TlsConnection::TakeSessions(m_Context);
    SSL_CTX_set_min_proto_version(m_Context.native_handle(), TLS1_2_VERSION);
    m_Context.set_verify_mode(asio::ssl::verify_peer);
    error_code Error;
    if (m_Options.CaFile.empty())
        m_Context.set_default_verify_paths(Error);
    else
        m_Context.load_verify_file(m_Options.CaFile, Error);
    if (Error)
        throw std::runtime_error("the CA certificates " + m_Options.CaFile +
                                 " cannot be used: " + Error.message());
}

std::unique_ptr<Connection> TlsTransport::Impl::Connect(const std::string& Host, int Port,
                                                        std::chrono::milliseconds Timeout)
{
    const Clock::time_point Deadline = Clock::now() + Timeout;
    std::string Peer = Host + ":" + std::to_string(Port);
    std::string Address = Host;
    int iAddressPort = Port;
    for (const ConnectTo& Route : m_Options.Routes) {
        if (boost::beast::iequals(Route.Host, Host) && Route.Port == Port) {
            Address = Route.Address;
            iAddressPort = Route.AddressPort;
            Peer += " at " + Address + ":" + std::to_string(iAddressPort);
            break;
        }
    }
    if (iAddressPort < 1 || iAddressPort > 65535) {
        Log(Peer, "no such port");
        return nullptr;
    }
    const LookupResult Found = LookUpName(Address, static_cast<std::uint16_t>(iAddressPort), Deadline);
    if (Found.Endpoints.empty()) {
        Log(Peer, "the name cannot be resolved: " + Found.Failure);
        return nullptr;
    }
    auto pConnection = std::make_unique<TlsConnection>(m_Context, std::move(Peer), m_Settings);
    if (!pConnection->Open(Host, Found.Endpoints, Deadline))
        return nullptr;
    return pConnection;
}

TlsTransport::TlsTransport(TlsOptions Options) : m_pImpl(std::make_unique<Impl>(std::move(Options))) {}

TlsTransport::~TlsTransport() = default;

std::unique_ptr<Connection> TlsTransport::Connect(const std::string& Host, int Port,
                                                  std::chrono::milliseconds Timeout)
{
    return m_pImpl->Connect(Host, Port, Timeout);
}

} // namespace devhost
