#pragma once
// A server of the two cloud hosts that goes wrong as it is told, one connection long.

#include "cloudsim/server/CertificateAuthority.h"
#include "tests/support/Table.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>

#include <future>
#include <map>
#include <string>
#include <thread>

#include <sys/socket.h>

namespace grid
{

namespace asio = boost::asio;
using asio::ip::tcp;

/// Listens on a port of this machine, takes one connection, and does with it what the words say; the table of
/// faults explains them. A thread of its own talks until Received() is called, which must be.
class FaultyServer
{
public:
    FaultyServer(std::map<std::string, std::string> words, std::string reply, const cloudsim::Identity& own)
        : m_words(std::move(words)), m_reply(std::move(reply))
    {
        m_context.use_certificate_chain(asio::buffer(own.certificatePem));
        m_context.use_private_key(asio::buffer(own.keyPem), asio::ssl::context::pem);
        if (m_words.contains("connect"))
            TakeNobody();
        else if (!m_words.contains("name"))
            m_received = std::async(std::launch::async, [this] { return Talk(); });
    }
    int Port() const { return m_port; }
    /// Waits until the client has gone. @return what it has said behind the handshake.
    std::string Received() { return m_received.valid() ? m_received.get() : ""; }

private:
    void TakeNobody()
    {
        if (m_words["connect"] == "refused") {
            m_acceptor.close();
            return;
        }
        // Who is not accepted waits in a queue; one who does not fit in there gets no answer.
        const tcp::endpoint own = m_acceptor.local_endpoint();
        ::listen(m_acceptor.native_handle(), 0);
        for (tcp::socket& waiting : m_waiting) {
            waiting.open(tcp::v4());
            waiting.non_blocking(true);
            (void)::connect(waiting.native_handle(), own.data(), static_cast<socklen_t>(own.size()));
        }
    }
    std::string Talk()
    {
        boost::system::error_code error;
        std::string received;
        asio::ssl::stream<tcp::socket> stream(m_acceptor.accept(), m_context);
        tcp::socket& socket = stream.next_layer();
        socket.set_option(tcp::no_delay(true), error);
        const std::string& tls = m_words["tls"];
        if (tls == "plain")
            asio::write(socket, asio::buffer("HTTP/1.1 400 Bad Request\r\n\r\n", 28), error);
        if (tls == "closed" || tls == "plain")
            socket.shutdown(tcp::socket::shutdown_send, error);
        if (tls == "closed" || tls == "plain" || tls == "mute") {
            // Reads to the end, because one that goes at once takes back its own last words with a reset.
            std::string handshake;
            asio::read(socket, asio::dynamic_buffer(handshake), error);
            return received;
        }
        stream.handshake(asio::ssl::stream_base::server, error);
        if (!error && m_words["read"] != "none")
            asio::read_until(stream, asio::dynamic_buffer(received), "\r\n\r\n", error);
        if (!error)
            Reply(stream);
        return received;
    }
    void Reply(asio::ssl::stream<tcp::socket>& stream)
    {
        boost::system::error_code error;
        const std::string& end = m_words["end"];
        if (end == "drip") {
            for (const char byte : m_reply)
                asio::write(stream, asio::buffer(&byte, 1), error);
        } else {
            asio::write(stream, asio::buffer(m_reply), error);
        }
        if (end.empty() || end == "drip")
            stream.shutdown(error);
        if (end == "reset")
            stream.next_layer().set_option(asio::socket_base::linger(true, 0), error);
        if (end == "mute") {
            std::string more;
            asio::read(stream.next_layer(), asio::dynamic_buffer(more), error);
        }
    }

    std::map<std::string, std::string> m_words;
    std::string m_reply;
    asio::io_context m_io{1};
    asio::ssl::context m_context{asio::ssl::context::tls_server};
    tcp::acceptor m_acceptor{m_io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    int m_port = m_acceptor.local_endpoint().port();
    std::array<tcp::socket, 3> m_waiting{tcp::socket(m_io), tcp::socket(m_io), tcp::socket(m_io)};
    std::future<std::string> m_received;
};

} // namespace grid
