#pragma once
// The real transport: TLS over TCP.

#include "devhost/framework/seams/Framework.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// Sends connections for one host and port to another address. Names in certificates are still checked
/// against the host.
struct ConnectTo {
    std::string host;
    int port = 0;
    std::string address; ///< a name or an address, without brackets
    int addressPort = 0;

    /// Parses "HOST:PORT:ADDRESS:PORT"; an IPv6 address stands in brackets. Ports are 1 to 65535.
    /// @throws std::invalid_argument that says what is wrong.
    static ConnectTo Parse(std::string_view text);
};

struct TlsOptions {
    std::string caFile; ///< certificates to trust, PEM; empty: those that the system trusts
    std::vector<ConnectTo> routes;
    std::chrono::milliseconds exchangeTimeout{30000}; ///< for a whole exchange
    /// How long sessions are resumed instead of verifying the server anew; 0: never.
    std::chrono::seconds resumeFor{3600};
};

/// Connects with TLS 1.2 or later, and always verifies the chain and the host name, which must be among the
/// certificate's alternative names (RFC 9525). Versions, ciphers and the least strength of keys and hashes
/// are the same on every machine, whatever its OpenSSL is set to bear. Every failure is written as a trace
/// line of the producer "tls", a reply that is too long as a report. A calling worker that is asked to stop
/// waits no longer than its grace. Any thread; the object outlives its connections.
///
/// What was verified with a peer stands for the sessions that this handshake began: the next connection of
/// the same thread to the same host, port and address resumes one when the server agrees (RFC 8446, section
/// 2.2; RFC 5077 for TLS 1.2), and is a full handshake otherwise. Sessions are only in memory; they end with
/// the calling thread, with the time that is set, with the certificates, and with this object, whose trust
/// never changes.
class TlsTransport : public Transport
{
public:
    /// @throws std::runtime_error when the CA file cannot be used.
    explicit TlsTransport(TlsOptions options);
    ~TlsTransport() override;

    std::unique_ptr<Connection> Connect(const std::string& host, int port,
                                        std::chrono::milliseconds timeout) override;
    std::string LastFailure() const override;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace devhost
