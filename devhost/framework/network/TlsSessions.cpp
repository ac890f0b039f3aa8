// Keeps sessions between the connections of a thread; offering and resuming them is the transport's work.

#include "devhost/framework/network/TlsSessions.h"

#include <algorithm>

namespace devhost
{

TlsSessions& TlsSessions::OfThread(std::uint64_t transport)
{
    thread_local TlsSessions sessions;
    if (sessions.m_transport != transport) {
        sessions.m_sessions.clear();
        sessions.m_transport = transport;
    }
    return sessions;
}

void TlsSessions::Keep(const std::string& peer, TlsSession session)
{
    Take(peer);
    m_sessions.emplace_back(peer, std::move(session));
    if (m_sessions.size() > kMaxPeers)
        m_sessions.pop_front();
}

TlsSession TlsSessions::Take(const std::string& peer)
{
    const auto found =
        std::ranges::find_if(m_sessions, [&](const auto& entry) { return entry.first == peer; });
    if (found == m_sessions.end())
        return {};
    TlsSession session = std::move(found->second);
    m_sessions.erase(found);
    if (SSL_SESSION_is_resumable(session.session.get()) != 1 ||
        std::chrono::steady_clock::now() >= session.usableUntil)
        return {};
    return session;
}

} // namespace devhost
