// Checks the server over real sockets on free ports: TLS with verification, faults on the wire, the admin
// port.
#include "cloudsim/server/Server.h"

#include "tests/cloudsim/CloudTest.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>

namespace cloudsim::test
{
namespace
{

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr const char* kApi = "api.vestara.example";

struct Outcome {
    std::string bytes;
    Error error; // none after an orderly end
};

class ServerTest : public testing::Test
{
protected:
    static ServerOptions MakeOptions()
    {
        ServerOptions options;
        options.now = StartTime;
        options.saveFolder = testing::TempDir();
        return options;
    }

    static World MakeWorld()
    {
        World world = SmallWorld();
        world.accessTokens.push_back({"test-token", StartTime() + std::chrono::hours(1)});
        return world;
    }

    // One exchange over TLS that trusts one authority and expects one name.
    Outcome Exchange(const std::string& name, const std::string& authorityPem,
                     const std::string& bytes = kRequest, int maxVersion = TLS1_3_VERSION)
    {
        asio::ssl::context context(asio::ssl::context::tls_client);
        context.add_certificate_authority(asio::buffer(authorityPem));
        SSL_CTX_set_max_proto_version(context.native_handle(), maxVersion);
        SSL_CTX_set_security_level(context.native_handle(), 0); // or old versions would not leave this side
        asio::ssl::stream<tcp::socket> stream(io, context);
        stream.set_verify_mode(asio::ssl::verify_peer);
        stream.set_verify_callback(asio::ssl::host_name_verification(name));
        stream.next_layer().connect({asio::ip::address_v4::loopback(), server.HttpsPort()});
        Outcome outcome;
        stream.handshake(asio::ssl::stream_base::client, outcome.error);
        if (outcome.error)
            return outcome;
        asio::write(stream, asio::buffer(bytes));
        asio::read(stream, asio::dynamic_buffer(outcome.bytes), outcome.error);
        if (outcome.error == asio::error::eof)
            outcome.error = {};
        return outcome;
    }

    std::string Admin(const std::string& path, const std::string& body = "")
    {
        tcp::socket socket(io);
        socket.connect({asio::ip::address_v4::loopback(), server.AdminPort()});
        asio::write(socket, asio::buffer("POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" +
                                         std::to_string(server.AdminPort()) +
                                         "\r\nContent-Type: application/json\r\nContent-Length: " +
                                         std::to_string(body.size()) + "\r\n\r\n" + body));
        std::string reply;
        Error error;
        asio::read(socket, asio::dynamic_buffer(reply), error);
        return reply;
    }

    inline static const std::string kRequest =
        "GET /locations HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\n"
        "Authorization: Bearer test-token\r\nHost: api.vestara.example\r\n\r\n";
    asio::io_context io;
    ServerIdentity identity = MakeIdentity(CertificateNames({}));
    Server server{MakeOptions(), MakeWorld(), identity};
};

TEST_F(ServerTest, OneCertificateConvincesBothHostsClientsAndBrowsersAndNobodyElse)
{
    for (const char* name : {"oauth.vestara.example", kApi, "localhost", "127.0.0.1"}) {
        const Outcome outcome = Exchange(name, identity.authorityPem);
        EXPECT_FALSE(outcome.error) << name << ": " << outcome.error.message();
        EXPECT_TRUE(outcome.bytes.starts_with("HTTP/1.1 200 OK\r\n")) << outcome.bytes;
        EXPECT_TRUE(outcome.bytes.ends_with("\"meta\":{\"count\":1}}")) << outcome.bytes;
    }
    const std::string huge = "GET / HTTP/1.1\r\nX: " + std::string(100000, 'x');
    EXPECT_TRUE(Exchange(kApi, identity.authorityPem, huge).bytes.starts_with("HTTP/1.1 431 "));
    EXPECT_TRUE(Exchange("other.vestara.example", identity.authorityPem).error);
    EXPECT_TRUE(Exchange(kApi, MakeIdentity({"x"}).authorityPem).error);
    EXPECT_TRUE(Exchange(kApi, identity.authorityPem, kRequest, TLS1_1_VERSION).error);
}

TEST_F(ServerTest, FaultsReachTheWire)
{
    const std::string set =
        Admin("/admin/faults", R"([{"kind":"cut"},{"kind":"close"},{"kind":"delay","delay_ms":1}])");
    ASSERT_TRUE(set.starts_with("HTTP/1.1 200")) << set;
    const Outcome cut = Exchange(kApi, identity.authorityPem);
    EXPECT_EQ(cut.error, asio::ssl::error::stream_truncated) << cut.error.message();
    EXPECT_NE(cut.bytes.find("Content-Length: 90\r\n"), std::string::npos) << cut.bytes;
    EXPECT_EQ(cut.bytes.size() - cut.bytes.find("\r\n\r\n") - 4, 45U) << cut.bytes;
    const Outcome closed = Exchange(kApi, identity.authorityPem);
    EXPECT_EQ(closed.error, asio::ssl::error::stream_truncated);
    EXPECT_EQ(closed.bytes, "");
    EXPECT_TRUE(Exchange(kApi, identity.authorityPem).bytes.starts_with("HTTP/1.1 200"));
}

TEST_F(ServerTest, WorldIsSavedIntoItsFolderOnly)
{
    const std::string name = "world-" + std::to_string(server.AdminPort()) + ".json";
    const std::string file = testing::TempDir() + name;
    const auto save = [&](const std::string& path) {
        return Admin("/admin/save", R"({"path":")" + path + R"("})");
    };
    for (const std::string& refused :
         {file, "../" + name, std::string(".."), std::string(), std::string("ca-key.pem"), name + "\\u0000"})
        EXPECT_TRUE(save(refused).starts_with("HTTP/1.1 422")) << refused;
    EXPECT_FALSE(std::filesystem::exists(file));
    const std::string reply = save(name);
    EXPECT_TRUE(reply.starts_with("HTTP/1.1 200")) << reply;
    EXPECT_NE(ReadFile(file).find("test-token"), std::string::npos);
    std::filesystem::remove(file);
    EXPECT_NE(Admin("/admin/save").find("programming_code"), std::string::npos);
}

TEST(ServerLimitsTest, SurplusConnectionsAreClosedSlowOnesEndAndTakenPortsAreNamed)
{
    ServerOptions options;
    options.maxConnections = 1;
    options.requestTimeout = std::chrono::milliseconds(50);
    const Server server(options, SmallWorld(), MakeIdentity({"localhost"}));
    asio::io_context io;
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), server.AdminPort());
    tcp::socket slow(io), surplus(io);
    slow.connect(endpoint);
    surplus.connect(endpoint);
    // Both reads return only because the server closes: the second at once, the first by its time limit.
    for (tcp::socket* socket : {&surplus, &slow}) {
        std::string bytes;
        Error error;
        asio::read(*socket, asio::dynamic_buffer(bytes), error);
        EXPECT_EQ(error, asio::error::eof);
        EXPECT_EQ(bytes, "");
    }

    options.httpsPort = server.HttpsPort();
    try {
        const Server second(options, SmallWorld(), MakeIdentity({"localhost"}));
        ADD_FAILURE() << "the port was bound twice";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(std::to_string(server.HttpsPort())), std::string::npos);
    }
}

} // namespace
} // namespace cloudsim::test
