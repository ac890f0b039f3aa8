// TLS connections and exchanges over Boost.Asio and OpenSSL. What a reply must look like is up to the reader.

#include "devhost/framework/TlsTransport.h"

#include "devhost/framework/HttpReplyReader.h"
#include "devhost/framework/NameLookup.h"
#include "devhost/framework/WorkerStop.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <array>
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

class TlsConnection : public Connection
{
public:
    TlsConnection(asio::ssl::context& Context, std::string Peer, std::chrono::milliseconds ExchangeTimeout)
        : m_Peer(std::move(Peer)), m_ExchangeTimeout(ExchangeTimeout), m_Stream(m_Io, Context)
    {
    }

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

    bool Verify(bool bChainGood, asio::ssl::verify_context& Context,
                const asio::ssl::host_name_verification& VerifyName);
    bool Fail(const char* pStep, const error_code& Error) const;

    std::string m_Peer;
    std::chrono::milliseconds m_ExchangeTimeout;
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

bool TlsConnection::Verify(bool bChainGood, asio::ssl::verify_context& Context,
                           const asio::ssl::host_name_verification& VerifyName)
{
    X509_STORE_CTX* pStore = Context.native_handle();
    if (!bChainGood) {
        m_CertificateFault = "the certificate cannot be trusted (" +
                             std::string(X509_verify_cert_error_string(X509_STORE_CTX_get_error(pStore))) +
                             ")";
        return false;
    }
    if (VerifyName(bChainGood, Context))
        return true;
    m_CertificateFault = "the certificate is for another name";
    X509_STORE_CTX_set_error(pStore, X509_V_ERR_HOSTNAME_MISMATCH);
    return false;
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

    // RFC 6066, section 3: the server name is a host name, never an address.
    if (!IsAddress(Host) && SSL_set_tlsext_host_name(m_Stream.native_handle(), Host.c_str()) != 1)
        return Fail("the handshake", asio::error::invalid_argument);
    m_Stream.set_verify_mode(asio::ssl::verify_peer);
    m_Stream.set_verify_callback([this, VerifyName = asio::ssl::host_name_verification(Host)](
                                     bool bChainGood, asio::ssl::verify_context& Context) {
        return Verify(bChainGood, Context, VerifyName);
    });
    if (const error_code Error = Await(Deadline, [&](auto Done) {
            m_Stream.async_handshake(asio::ssl::stream_base::client,
                                     [Done](const error_code& Result) { Done(Result, 0); });
        }))
        return Fail("the handshake", Error);
    return true;
}

std::optional<HttpReply> TlsConnection::Exchange(std::string_view Request)
{
    const Clock::time_point Deadline = Clock::now() + m_ExchangeTimeout;
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
        Log(m_Peer, "the reply is unusable: " + Reader.Failure());
        return std::nullopt;
    }
    return Reader.Take();
}

[[noreturn]] void RefuseRoute(std::string_view Text, const std::string& Why)
{
    throw std::invalid_argument("\"" + std::string(Text) + "\" is no HOST:PORT:ADDRESS:PORT: " + Why);
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
    asio::ssl::context m_Context{asio::ssl::context::tls_client};
};

TlsTransport::Impl::Impl(TlsOptions Options) : m_Options(std::move(Options))
{
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
    auto pConnection = std::make_unique<TlsConnection>(m_Context, std::move(Peer), m_Options.ExchangeTimeout);
    if (!pConnection->Open(Host, Found.Endpoints, Deadline))
        return nullptr;
    return pConnection;
}

TlsTransport::TlsTransport(TlsOptions Options) : m_pImpl(std::make_unique<Impl>(std::move(Options))) {}

TlsTransport::~TlsTransport() = default;

std::unique_ptr<Connection> TlsTransport::Connect(const std::string& Host, int Port,
                                                  std::chrono::milliseconds Timeout)
{
    try {
        return m_pImpl->Connect(Host, Port, Timeout);
    } catch (const std::exception& Error) {
        // Sockets and threads may run out; the driver, which calls this, knows no exceptions.
        Log(Host, std::string("no connection can be made: ") + Error.what());
        return nullptr;
    }
}

} // namespace devhost
