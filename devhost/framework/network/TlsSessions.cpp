// Keeps sessions between the connections of a thread; offering and resuming them is the transport's work.

#include "devhost/framework/network/TlsSessions.h"

#include <algorithm>

namespace devhost
{

TlsSessions& TlsSessions::OfThread(std::uint64_t uTransport)
{
    thread_local TlsSessions Sessions;
    if (Sessions.m_uTransport != uTransport) {
        Sessions.m_Sessions.clear();
        Sessions.m_uTransport = uTransport;
    }
    return Sessions;
}

void TlsSessions::Keep(const std::string& Peer, TlsSession Session)
{
    Take(Peer);
    m_Sessions.emplace_back(Peer, std::move(Session));
    if (m_Sessions.size() > kMaxPeers)
        m_Sessions.pop_front();
}

TlsSession TlsSessions::Take(const std::string& Peer)
{
    const auto Found =
        std::ranges::find_if(m_Sessions, [&](const auto& Entry) { return Entry.first == Peer; });
    if (Found == m_Sessions.end())
        return {};
    TlsSession Session = std::move(Found->second);
    m_Sessions.erase(Found);
    if (SSL_SESSION_is_resumable(Session.pSession.get()) != 1 ||
        std::chrono::steady_clock::now() >= Session.UsableUntil)
        return {};
    return Session;
}

} // namespace devhost
