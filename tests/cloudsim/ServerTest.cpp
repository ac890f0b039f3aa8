// Checks the server over real sockets on free ports: TLS with verification, and faults on the wire.
#include "cloudsim/server/Server.h"

#include "tests/cloudsim/CloudTest.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>

namespace cloudsim::test
{

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr const char* kApi = VESTARA_API_HOST;
const std::string kRequest = "GET /x HTTP/1.1\r\n\r\n";
const std::string kReply = "HTTP/1.1 404 Not Found\r\nContent-Type: application/json\r\n"
                           "Cache-Control: no-store\r\nContent-Length: 74\r\nConnection: close\r\n\r\n"
                           R"({"message":"there is no resource of that path","errorcode":"unknown_path"})";

class ServerTest : public testing::Test
{
protected:
    // One exchange over TLS that trusts one authority and expects one name: the bytes of the reply, and how
    // the connection ended when that was out of order.
    std::string Exchange(const std::string& name, const std::string& authorityPem,
                         const std::string& bytes = kRequest)
    {
        asio::ssl::context context(asio::ssl::context::tls_client);
        context.add_certificate_authority(asio::buffer(authorityPem));
        asio::io_context io;
        asio::ssl::stream<tcp::socket> stream(io, context);
        stream.set_verify_mode(asio::ssl::verify_peer);
        stream.set_verify_callback(asio::ssl::host_name_verification(name));
        stream.next_layer().connect({asio::ip::address_v4::loopback(), m_server.HttpsPort()});
        Error error;
        stream.handshake(asio::ssl::stream_base::client, error);
        if (error)
            return "[no handshake]";
        asio::write(stream, asio::buffer(bytes));
        std::string reply;
        asio::read(stream, asio::dynamic_buffer(reply), error);
        return error == asio::error::eof ? reply : reply + "[" + error.message() + "]";
    }

    ServerIdentity m_identity = MakeIdentity(CertificateNames({}));
    Server m_server{{}, SmallWorld(), m_identity};
};

TEST_F(ServerTest, OneCertificateConvincesBothHostsClientsAndBrowsersAndNobodyElse)
{
    for (const char* name : {VESTARA_OAUTH_HOST, kApi, "localhost", "127.0.0.1"})
        EXPECT_EQ(Exchange(name, m_identity.authorityPem), kReply) << name;
    const std::string huge = "GET / HTTP/1.1\r\nX: " + std::string(100000, 'x');
    EXPECT_THAT(Exchange(kApi, m_identity.authorityPem, huge), StartsWith("HTTP/1.1 431 "));
    EXPECT_EQ(Exchange("other.example", m_identity.authorityPem), "[no handshake]");
    EXPECT_EQ(Exchange(kApi, MakeIdentity({"x"}).authorityPem), "[no handshake]");
}

TEST_F(ServerTest, FaultsReachTheWire)
{
    m_server.WithCloud([](Cloud& cloud) {
        const std::string faults = R"([{"kind":"cut"},{"kind":"close"},{"kind":"delay","delay_ms":1}])";
        Expect(cloud.HandleAdmin(AdminRequest("POST /admin/faults", faults), kStart), "200");
    });
    EXPECT_EQ(Exchange(kApi, m_identity.authorityPem),
              kReply.substr(0, kReply.size() - 37) + "[stream truncated]");
    EXPECT_EQ(Exchange(kApi, m_identity.authorityPem), "[stream truncated]");
    EXPECT_EQ(Exchange(kApi, m_identity.authorityPem), kReply);
}

} // namespace cloudsim::test
