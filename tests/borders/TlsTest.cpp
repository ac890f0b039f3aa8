// Servers that must be refused, and the few like them that must not: certificates as rows describe them.

#include "devhost/framework/network/TlsTransport.h"
#include "tests/support/Journal.h"
#include "tests/support/Table.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <future>

#include <unistd.h>

namespace
{

namespace asio = boost::asio;
using asio::ip::tcp;
using support::Row;
using support::Words;

constexpr const char* kHost = "api.cloud.example";
const std::string kRequest = "GET /secret HTTP/1.1\r\nHost: x\r\n\r\n";

template <auto Free>
struct Releaser {
    template <class Object>
    void operator()(Object* object) const
    {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>>;

struct Identity {
    Certificate certificate;
    Key key;
};

Key MakeKey(const std::string& kind)
{
    return Key(kind.starts_with("rsa") ? EVP_RSA_gen(std::stoul(kind.substr(3))) : EVP_EC_gen("P-256"));
}

// A certificate from words: "key", "hash", "name", "from" and "to" (days from now), "version"; any other word
// is an extension as OpenSSL's configuration writes it, or nothing to leave it out. Without an issuer it
// signs itself.
Identity Issue(Row words, const Identity* issuer)
{
    const auto take = [&](const char* name) { return words.extract(name).mapped(); };
    Identity made{Certificate(X509_new()), MakeKey(take("key"))};
    X509* own = made.certificate.get();
    const Identity& signer = issuer ? *issuer : made;
    X509_set_version(own, std::stol(take("version")) - 1);
    static long last = 0;
    ASN1_INTEGER_set(X509_get_serialNumber(own), ++last);
    X509_time_adj_ex(X509_getm_notBefore(own), std::stoi(take("from")), 0, nullptr);
    X509_time_adj_ex(X509_getm_notAfter(own), std::stoi(take("to")), 0, nullptr);
    X509_set_pubkey(own, made.key.get());
    const std::string name = take("name"), hash = take("hash");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(own), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(own, X509_get_subject_name(signer.certificate.get()));
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, signer.certificate.get(), own, nullptr, nullptr, 0);
    for (const auto& [extension, value] : words) {
        const Extension part(
            value.empty() ? nullptr : X509V3_EXT_conf(nullptr, &context, extension.c_str(), value.c_str()));
        EXPECT_TRUE(value.empty() || (part && X509_add_ext(own, part.get(), -1) == 1)) << extension;
    }
    EXPECT_GT(X509_sign(own, signer.key.get(), EVP_get_digestbyname(hash.c_str())), 0);
    return made;
}

Row Authority(const std::string& name)
{
    return {{"key", "ec"},
            {"hash", "sha256"},
            {"name", name},
            {"from", "-1"},
            {"to", "30"},
            {"version", "3"},
            {"basicConstraints", "critical,CA:TRUE"},
            {"keyUsage", "critical,keyCertSign"}};
}

Row Leaf()
{
    Row words = Authority(kHost);
    words["basicConstraints"] = "critical,CA:FALSE";
    words["keyUsage"] = "critical,digitalSignature,keyEncipherment";
    words["extendedKeyUsage"] = "serverAuth";
    words["subjectAltName"] = std::string("DNS:") + kHost;
    return words;
}

// One connection of a server that bears anything: what the row has it present and reply.
class Server
{
public:
    Server(const Row& row, const std::vector<Identity>& chain)
        : m_words(Words(row.at("server"), {{"send", "chain"},
                                           {"only", ""},
                                           {"ciphers", "ALL:COMPLEMENTOFALL"},
                                           {"raw", ""},
                                           {"reply", "Content-Length:2\\r\\n\\r\\nok"},
                                           {"end", "close"}}))
    {
        SSL_CTX* context = m_context.native_handle();
        const std::map<std::string, int> versions{{"", 0},
                                                  {"1.0", TLS1_VERSION},
                                                  {"1.1", TLS1_1_VERSION},
                                                  {"1.2", TLS1_2_VERSION},
                                                  {"1.3", TLS1_3_VERSION}};
        SSL_CTX_set_min_proto_version(context, versions.at(m_words["only"]));
        SSL_CTX_set_max_proto_version(context, versions.at(m_words["only"]));
        EXPECT_EQ(SSL_CTX_set_cipher_list(context, (m_words["ciphers"] + ":@SECLEVEL=0").c_str()), 1);
        SSL_CTX_set_dh_auto(context, 1);
        SSL_CTX_use_certificate(context, chain.back().certificate.get());
        SSL_CTX_use_PrivateKey(context, chain.back().key.get());
        // From the server's own certificate up; the authority at the top is for the client to know.
        const std::size_t last = m_words["send"] == "leaf"  ? chain.size() - 1
                                 : m_words["send"] == "all" ? 0
                                                            : 1;
        for (std::size_t i = chain.size() - 1; i-- > last;)
            SSL_CTX_add1_chain_cert(context, chain[i].certificate.get());
        m_received = std::async(std::launch::async, [this] { return Talk(); });
    }
    int Port() const { return m_acceptor.local_endpoint().port(); }
    // What came before the client went away, of a client that was not refused all it has sent.
    std::string Received() { return m_received.get(); }

private:
    std::string Talk()
    {
        boost::system::error_code error;
        std::string received;
        asio::ssl::stream<tcp::socket> stream(m_acceptor.accept(), m_context);
        // One that goes at once would have the client's first words come back as a reset.
        if (const std::string raw = support::Expand(m_words["raw"]);
            !raw.empty() || m_words["end"] == "mute") {
            asio::write(stream.next_layer(), asio::buffer(raw), error);
            stream.next_layer().shutdown(tcp::socket::shutdown_send, error);
            asio::read(stream.next_layer(), asio::dynamic_buffer(received), error);
            return received;
        }
        stream.handshake(asio::ssl::stream_base::server, error);
        if (!error)
            asio::read_until(stream, asio::dynamic_buffer(received), "\r\n\r\n", error);
        if (error)
            return received;
        asio::write(stream, asio::buffer("HTTP/1.1 200 OK\r\n" + support::Expand(m_words["reply"])), error);
        if (m_words["end"] == "close")
            stream.shutdown(error);
        return received;
    }

    Row m_words;
    asio::io_context m_io{1};
    asio::ssl::context m_context{asio::ssl::context::tls_server};
    tcp::acceptor m_acceptor{m_io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    std::future<std::string> m_received;
};

} // namespace

TEST(TlsBorderTest, AServerIsRefusedForAReasonThatTheLogNamesBeforeItGetsAByteOfTheRequest)
{
    support::Journal journal;
    devhost::TheFramework().diagnostics = &journal;
    const std::string caFile = testing::TempDir() + "border-ca-" + std::to_string(getpid());
    for (const Row& row : support::ReadTable("tls")) {
        SCOPED_TRACE(row.at("case"));
        std::vector<Identity> chain;
        chain.push_back(Issue(Words(row.at("root"), Authority("Root")), nullptr));
        for (const std::string& words : support::Split(row.at("between"), '|'))
            chain.push_back(
                Issue(Words(words, Authority("Between " + std::to_string(chain.size()))), &chain.back()));
        Row leaf = Words(row.at("leaf"), Leaf());
        const bool alone = leaf.erase("alone") > 0;
        chain.push_back(Issue(leaf, alone ? nullptr : &chain.back()));
        const std::unique_ptr<FILE, Releaser<fclose>> file(fopen(caFile.c_str(), "w"));

        const Row trust = Words(row.at("client"), {{"trust", "the root"}, {"host", kHost}});
        const Identity stranger = Issue(Authority(trust.at("trust")), nullptr);
        PEM_write_X509(file.get(), (trust.at("trust") == "the root" ? chain[0] : stranger).certificate.get());
        fflush(file.get());

        Server server(row, chain);
        devhost::TlsTransport transport({caFile, {{trust.at("host"), 443, "127.0.0.1", server.Port()}}});
        auto connection = transport.Connect(trust.at("host"), 443, std::chrono::seconds(30));
        const bool connected = connection != nullptr;
        const auto reply = connected ? connection->Exchange(kRequest) : std::nullopt;
        connection.reset();
        const auto log = journal.Take();
        const std::string& expected = row.at("result");
        EXPECT_EQ(log.size(), reply ? 0u : 1u);
        EXPECT_THAT(reply ? "reply " + reply->body : log.at(0), testing::HasSubstr(expected));
        // Only a reply may still be refused when the request is out.
        EXPECT_EQ(connected, expected.find("reply") != std::string::npos);
        EXPECT_EQ(server.Received().find("secret") != std::string::npos, connected);
    }
    std::filesystem::remove(caFile);
    devhost::TheFramework() = {};
}
