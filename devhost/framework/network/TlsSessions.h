#pragma once
// TLS sessions that can be resumed, in memory only.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <openssl/ssl.h>
#include <string>
#include <utility>

namespace devhost
{

/// A session that a server has offered for resumption, by a ticket or by an id.
struct TlsSession {
    struct Free {
        void operator()(SSL_SESSION* unused) const { SSL_SESSION_free(unused); }
    };

    std::unique_ptr<SSL_SESSION, Free> session; ///< null: none
    /// A resumed handshake verifies nothing, so this is how long the verification of the full handshake in
    /// front of it counts. Sessions that grow out of resumed ones inherit it (RFC 8446, section 4.6.1).
    std::chrono::steady_clock::time_point usableUntil;
};

/// The sessions of one thread with the peers of one transport. They end with the thread, and when the thread
/// turns to another transport, whose trust may be another.
class TlsSessions
{
public:
    /// A driver knows two hosts; more are kept so that a few others do not drive these out.
    static constexpr std::size_t kMaxPeers = 8;

    /// The calling thread's sessions with the peers of a transport.
    /// @param transport number of the transport; no two transports of the process have the same.
    static TlsSessions& OfThread(std::uint64_t transport);

    /// Keeps the newest session with a peer; the peer that got one longest ago goes when there are too many.
    void Keep(const std::string& peer, TlsSession session);
    /// Gives a peer's session out, if there is a usable one. It is not kept any longer: a ticket that is used
    /// twice lets an onlooker link the connections (RFC 8446, appendix C.4), and one that a server chokes on
    /// must not be tried again.
    TlsSession Take(const std::string& peer);

private:
    std::uint64_t m_transport = 0;
    std::list<std::pair<std::string, TlsSession>> m_sessions; // the newest last
};

} // namespace devhost
