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

// RFC 9325, sections 4.1 and 4.2: of TLS 1.2 only ciphers whose keys are made anew for each connection and
// that authenticate what they encrypt, and nothing below 112 bits in certificates and keys (level 2). OpenSSL
// takes what is not set here from the machine's settings, which may bear peers without encryption or
// certificate.
constexpr const char* kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20:DHE+AESGCM:DHE+CHACHA20:!aNULL:!PSK";
constexpr int kSecurityLevel = 2;

thread_local std::string g_lastFailure;

void LogFailure(const std::string& peer, std::string_view what)
{
    g_lastFailure = what;
    if (DiagnosticSink* sink = TheFramework().diagnostics)
        sink->OnTrace("tls", peer + ": " + std::string(what));
}

bool IsAddress(const std::string& host)
{
    error_code error;
    asio::ip::make_address(host, error);
    return !error;
}

// What the connections of a transport share, beside its trust.
struct Settings {
    std::uint64_t transport; // tells the sessions of transports apart
    std::chrono::milliseconds exchangeTimeout;
    std::chrono::seconds resumeFor;
};

class TlsConnection : public Connection
{
public:
    TlsConnection(asio::ssl::context& context, std::string peer, Settings common)
        : m_peer(std::move(peer)), m_settings(common), m_stream(m_io, context)
    {
        SSL_set_ex_data(m_stream.native_handle(), SslIndex(), this);
    }
    ~TlsConnection() override;

    // Takes the sessions that servers offer to connections of the context.
    static void TakeSessions(asio::ssl::context& context);

    bool Open(const std::string& host, const std::vector<Tcp::endpoint>& endpoints,
              Clock::time_point deadline);
    std::optional<HttpReply> Exchange(std::string_view request) override;

private:
    // Runs one asynchronous operation to its end. A passed deadline, and the end of the grace that a stop of
    // the worker leaves, close the socket, so that nothing is left pending that refers to the caller's frame.
    template <class Start>
    error_code Await(Clock::time_point deadline, Start startOperation)
    {
        std::optional<error_code> result;
        startOperation([&result](const error_code& error, const auto&) { result = error; });
        {
            WorkerStop* stop = WorkerStop::Current();
            const WorkerStop::Wake wake(stop, [this] { m_io.stop(); });
            for (Clock::time_point end = Clock::time_point::max(); !result && Clock::now() < end;) {
                m_io.restart(); // before the end is asked for, so that no stop request goes unnoticed between
                end = stop ? std::min(deadline, stop->GraceEnd()) : deadline;
                m_io.run_until(end);
            }
        }
        if (result)
            return *result;
        error_code ignored;
        m_stream.lowest_layer().close(ignored);
        m_io.restart();
        m_io.run();
        return Clock::now() < deadline ? asio::error::operation_aborted : asio::error::timed_out;
    }

    // Where a connection is found from its TLS object.
    static int SslIndex();
    static int OnNewSession(SSL* ssl, SSL_SESSION* session);

    bool Expect(const std::string& host);
    bool Verify(bool good, asio::ssl::verify_context& context);
    bool Fail(const char* step, const error_code& error) const;
    void KeepSession(SSL_SESSION* session);
    std::chrono::seconds VerifiedFor();

    std::string
        m_peer; // as it is named in the log; names the whole way to it, so sessions are kept by it too
    Settings m_settings;
    TlsSession m_offered; // to the server in the handshake
    bool m_replied = false;
    asio::io_context m_io{1};
    asio::ssl::stream<Tcp::socket> m_stream;
    std::string m_certificateFault;
};

bool TlsConnection::Fail(const char* step, const error_code& error) const
{
    std::string what = error.message();
    if (!m_certificateFault.empty())
        what = m_certificateFault;
    else if (error == asio::error::operation_aborted)
        what = "stopped";
    else if (error == asio::error::timed_out)
        what = "timed out";
    else if (error == asio::ssl::error::stream_truncated || error == asio::error::eof)
        what = "the connection was cut";
    else if (error.category() == asio::error::get_ssl_category() &&
             ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_WRONG_VERSION_NUMBER)
        what = "the peer does not speak TLS";
    LogFailure(m_peer, std::string(step) + " failed: " + what);
    return false;
}

bool TlsConnection::Verify(bool good, asio::ssl::verify_context& context)
{
    if (good)
        return true;
    const int error = X509_STORE_CTX_get_error(context.native_handle());
    if (error == X509_V_ERR_HOSTNAME_MISMATCH || error == X509_V_ERR_IP_ADDRESS_MISMATCH)
        m_certificateFault = "the certificate is for another name";
    else
        m_certificateFault =
            "the certificate cannot be trusted (" + std::string(X509_verify_cert_error_string(error)) + ")";
    return false;
}

// Sets the name that the server is asked for and its certificate must have. As RFC 9525, sections 6.3
// and 6.4, asks, it counts among the alternative names only, and a wildcard only as a whole label.
bool TlsConnection::Expect(const std::string& host)
{
    SSL* ssl = m_stream.native_handle();
    X509_VERIFY_PARAM* wanted = SSL_get0_param(ssl);
    X509_VERIFY_PARAM_set_hostflags(wanted, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT |
                                                X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (IsAddress(host))
        return X509_VERIFY_PARAM_set1_ip_asc(wanted, host.c_str()) == 1;
    // To OpenSSL an empty name is any, and one that begins with a dot any below it. RFC 6066, section 3: the
    // server name is a host name, never an address.
    return !host.empty() && host.front() != '.' &&
           X509_VERIFY_PARAM_set1_host(wanted, host.data(), host.size()) == 1 &&
           SSL_set_tlsext_host_name(ssl, host.c_str()) == 1;
}

TlsConnection::~TlsConnection()
{
    // OpenSSL forbids the resumption of a session whose connection was given up without an end. The end of an
    // exchange is its whole reply, and the server needs no other.
    if (m_replied)
        SSL_set_shutdown(m_stream.native_handle(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

int TlsConnection::SslIndex()
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

void TlsConnection::TakeSessions(asio::ssl::context& context)
{
    SSL_CTX_set_session_cache_mode(context.native_handle(),
                                   SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context.native_handle(), OnNewSession);
}

// Called from within a handshake (TLS 1.2) or a read (TLS 1.3), in both cases behind the verification.
int TlsConnection::OnNewSession(SSL* ssl, SSL_SESSION* session)
{
    try {
        static_cast<TlsConnection*>(SSL_get_ex_data(ssl, SslIndex()))->KeepSession(session);
    } catch (const std::exception&) {
        // Without memory the next handshake is a full one. The session has been released already.
    }
    return 1; // it is not given back
}

// Takes the session over.
void TlsConnection::KeepSession(SSL_SESSION* session)
{
    TlsSession kept{std::unique_ptr<SSL_SESSION, TlsSession::Free>(session), m_offered.usableUntil};
    if (SSL_session_reused(m_stream.native_handle()) == 0)
        kept.usableUntil = Clock::now() + VerifiedFor();
    TlsSessions::OfThread(m_settings.transport).Keep(m_peer, std::move(kept));
}

// How long the verification that was just made counts: no longer than the certificates themselves.
std::chrono::seconds TlsConnection::VerifiedFor()
{
    std::chrono::seconds left = m_settings.resumeFor;
    const STACK_OF(X509)* chain = SSL_get0_verified_chain(m_stream.native_handle());
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        int dayCount = 0;
        int seconds = 0;
        if (ASN1_TIME_diff(&dayCount, &seconds, nullptr, X509_get0_notAfter(sk_X509_value(chain, i))) == 1)
            left = std::min(left, std::chrono::days(dayCount) + std::chrono::seconds(seconds));
    }
    return left;
}

bool TlsConnection::Open(const std::string& host, const std::vector<Tcp::endpoint>& endpoints,
                         Clock::time_point deadline)
{
    if (const error_code error = Await(deadline, [&](auto done) {
            asio::async_connect(m_stream.lowest_layer(), endpoints, std::move(done));
        }))
        return Fail("connecting", error);
    error_code ignored;
    m_stream.lowest_layer().set_option(Tcp::no_delay(true), ignored);

    if (!Expect(host))
        return Fail("the handshake", asio::error::invalid_argument);
    m_stream.set_verify_mode(asio::ssl::verify_peer);
    m_stream.set_verify_callback(
        [this](bool good, asio::ssl::verify_context& context) { return Verify(good, context); });
    SSL* ssl = m_stream.native_handle();
    m_offered = TlsSessions::OfThread(m_settings.transport).Take(m_peer);
    if (m_offered.session)
        SSL_set_session(ssl, m_offered.session.get()); // one that does not fit is not offered
    if (const error_code error = Await(deadline, [&](auto done) {
            m_stream.async_handshake(asio::ssl::stream_base::client,
                                     [done](const error_code& result) { done(result, 0); });
        }))
        return Fail("the handshake", error);
    // In TLS 1.2 a server may accept a session without offering it again.
    if (SSL_session_reused(ssl) == 1 && SSL_version(ssl) < TLS1_3_VERSION)
        KeepSession(SSL_get1_session(ssl));
    return true;
}

std::optional<HttpReply> TlsConnection::Exchange(std::string_view request)
{
    const Clock::time_point deadline = Clock::now() + m_settings.exchangeTimeout;
    if (const error_code error = Await(deadline, [&](auto done) {
            asio::async_write(m_stream, asio::buffer(request), std::move(done));
        })) {
        Fail("sending the request", error);
        return std::nullopt;
    }
    HttpReplyReader reader;
    std::array<char, 16384> buffer;
    while (reader.Current() == HttpReplyReader::State::NeedsMore) {
        std::size_t readSize = 0;
        const error_code error = Await(deadline, [&](auto done) {
            m_stream.async_read_some(asio::buffer(buffer),
                                     [&readSize, done](const error_code& result, std::size_t size) {
                                         readSize = size;
                                         done(result, size);
                                     });
        });
        reader.Feed(std::string_view(buffer.data(), readSize));
        if (error == asio::error::eof) {
            // The peer said in TLS that it closes, so a body that ends with the connection is whole.
            reader.EndOfStream();
        } else if (error && reader.Current() == HttpReplyReader::State::NeedsMore) {
            Fail("reading the reply", error);
            return std::nullopt;
        }
    }
    if (reader.Current() == HttpReplyReader::State::Failed) {
        const std::string what = "the reply is unusable: " + reader.Failure();
        if (reader.BodyTooLong()) {
            g_lastFailure = what;
            AssertWrap("tls", kReportTooLong, (m_peer + ": " + what).c_str());
        } else {
            LogFailure(m_peer, what);
        }
        return std::nullopt;
    }
    m_replied = true;
    return reader.Take();
}

[[noreturn]] void RefuseRoute(std::string_view text, const std::string& why)
{
    throw std::invalid_argument("\"" + std::string(text) + "\" is no HOST:PORT:ADDRESS:PORT: " + why);
}

std::uint64_t NextNumber()
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

// Takes "name:" or "[address]:" from the front of the rest, and returns it without colon and brackets.
std::string TakeHost(std::string_view text, std::string_view& rest, const std::string& what)
{
    const bool brackets = rest.starts_with('[');
    const std::size_t end = rest.find(brackets ? "]:" : ":");
    if (end == std::string_view::npos)
        RefuseRoute(text, what + " is not followed by a port");
    std::string host(rest.substr(brackets ? 1 : 0, end - (brackets ? 1 : 0)));
    if (host.empty())
        RefuseRoute(text, what + " is empty");
    rest.remove_prefix(end + (brackets ? 2 : 1));
    return host;
}

int ParsePort(std::string_view text, std::string_view digits)
{
    int port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size() || port < 1 || port > 65535)
        RefuseRoute(text, "\"" + std::string(digits) +
                              "\" is no port from 1 to 65535 (an IPv6 address stands in brackets)");
    return port;
}

// OpenSSL works out what the extensions of a certificate say when it is first asked. For those that every
// thread's verification looks at it is asked here, so that threads only read them.
void WorkOutTrusted(asio::ssl::context& context)
{
    const STACK_OF(X509_OBJECT)* trusted =
        X509_STORE_get0_objects(SSL_CTX_get_cert_store(context.native_handle()));
    for (int i = 0; i < sk_X509_OBJECT_num(trusted); ++i) {
        if (X509* certificate = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(trusted, i)))
            X509_check_purpose(certificate, -1, 0);
    }
}

} // namespace

ConnectTo ConnectTo::Parse(std::string_view text)
{
    std::string_view rest = text;
    ConnectTo route;
    route.host = TakeHost(text, rest, "the host");
    const std::size_t colon = rest.find(':');
    if (colon == std::string_view::npos)
        RefuseRoute(text, "the address is missing");
    route.port = ParsePort(text, rest.substr(0, colon));
    rest.remove_prefix(colon + 1);
    route.address = TakeHost(text, rest, "the address");
    route.addressPort = ParsePort(text, rest);
    return route;
}

class TlsTransport::Impl
{
public:
    explicit Impl(TlsOptions options);
    std::unique_ptr<Connection> Connect(const std::string& host, int port, std::chrono::milliseconds timeout);

private:
    TlsOptions m_options;
    Settings m_settings;
    asio::ssl::context m_context{asio::ssl::context::tls_client};
};

TlsTransport::Impl::Impl(TlsOptions options)
    : m_options(std::move(options)), m_settings{NextNumber(), m_options.exchangeTimeout, m_options.resumeFor}
{
    TlsConnection::TakeSessions(m_context);
    SSL_CTX* context = m_context.native_handle();
    // The level last, because a list of ciphers may set one too.
    if (SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_max_proto_version(context, 0) != 1 || SSL_CTX_set_cipher_list(context, kCiphers) != 1)
        throw std::runtime_error("this machine's OpenSSL has no protocol and cipher that is good enough");
    SSL_CTX_set_security_level(context, kSecurityLevel);
    m_context.set_verify_mode(asio::ssl::verify_peer);
    error_code error;
    if (m_options.caFile.empty())
        m_context.set_default_verify_paths(error);
    else
        m_context.load_verify_file(m_options.caFile, error);
    if (error)
        throw std::runtime_error("the CA certificates " + m_options.caFile +
                                 " cannot be used: " + error.message());
    WorkOutTrusted(m_context);
}

std::unique_ptr<Connection> TlsTransport::Impl::Connect(const std::string& host, int port,
                                                        std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    std::string peer = host + ":" + std::to_string(port);
    std::string address = host;
    int addressPort = port;
    for (const ConnectTo& route : m_options.routes) {
        if (boost::beast::iequals(route.host, host) && route.port == port) {
            address = route.address;
            addressPort = route.addressPort;
            peer += " at " + address + ":" + std::to_string(addressPort);
            break;
        }
    }
    if (addressPort < 1 || addressPort > 65535) {
        LogFailure(peer, "no such port");
        return nullptr;
    }
    const LookupResult found = LookUpName(address, static_cast<std::uint16_t>(addressPort), deadline);
    if (found.endpoints.empty()) {
        LogFailure(peer, "the name cannot be resolved: " + found.failure);
        return nullptr;
    }
    auto connection = std::make_unique<TlsConnection>(m_context, std::move(peer), m_settings);
    if (!connection->Open(host, found.endpoints, deadline))
        return nullptr;
    return connection;
}

TlsTransport::TlsTransport(TlsOptions options) : m_impl(std::make_unique<Impl>(std::move(options))) {}

TlsTransport::~TlsTransport() = default;

std::unique_ptr<Connection> TlsTransport::Connect(const std::string& host, int port,
                                                  std::chrono::milliseconds timeout)
{
    return m_impl->Connect(host, port, timeout);
}

std::string TlsTransport::LastFailure() const
{
    return g_lastFailure;
}

} // namespace devhost
