// The transport of the configurator, over real connections on a free port, and the program's end.

#include "devhost/controller/HttpServer.h"
#include "devhost/controller/MainLoop.h"
#include "devhost/controller/Program.h"

#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <list>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace
{

using Connection = boost::asio::ip::tcp::iostream;

// All that comes before the next blank line; until the end when there is none.
std::string ReadBlock(Connection& stream)
{
    std::string block;
    for (std::string line; std::getline(stream, line) && !line.empty() && line != "\r";)
        block += line + "\n";
    return block;
}

std::string WithoutId(const std::string& event)
{
    return event.substr(event.find('\n') + 1);
}

bool IsForNoOtherPage(const std::string& reply)
{
    return reply.find("frame-ancestors 'none'") < reply.size() &&
           reply.find("Cross-Origin-Resource-Policy: same-origin") < reply.size();
}

devhost::ApiResponse Echo(const devhost::ApiRequest& request)
{
    if (request.path == "/throw")
        throw 1;
    return {200, "text/plain", request.method + " " + request.path + " " + request.body, {}};
}

class HttpServerTest : public testing::Test
{
protected:
    HttpServerTest()
    {
        m_server.OnNewReader([] { return std::string("{}"); });
        m_server.Start();
    }

    devhost::HttpServer m_server{"127.0.0.1", 0, Echo};
    const std::string m_port = std::to_string(m_server.Port());
    const std::string m_host = "Host: localhost:" + m_port + "\r\n";
    const std::string m_follow = "GET /api/v1/events HTTP/1.1\r\n" + m_host + "\r\n";
};

} // namespace

TEST_F(HttpServerTest, ListensOnLoopbackOnly)
{
    for (const char* address : {"0.0.0.0", "127.0.0.2", "::", "example.com"})
        EXPECT_THROW(devhost::HttpServer(address, 0, Echo), std::runtime_error) << address;
    EXPECT_THROW(devhost::HttpServer("127.0.0.1", m_server.Port(), Echo), std::runtime_error);
}

TEST_F(HttpServerTest, AnswersGoodAndBadRequestsAndGoesOn)
{
    const std::string json = m_host + "Content-Type: application/json\r\n",
                      put = "PUT /a HTTP/1.1\r\n" + json, evil = "Origin: http://evil.example\r\n";
    const std::string end = "Connection: close\r\n\r\n", large(65536, 'x');
    const std::string chunked = "Transfer-Encoding: chunked\r\n";
    struct {
        const char* name;
        std::string request;
        const char* status;
    } const rows[] = {
        {"good", "GET /a HTTP/1.1\r\n" + m_host + end, "200"},
        {"two hosts", "GET /a HTTP/1.1\r\n" + m_host + m_host + end, "400"},
        {"foreign page", "POST /a HTTP/1.1\r\n" + json + evil + "Content-Length: 2\r\n" + end + "{}", "403"},
        {"events for a foreign page", "GET /api/v1/events HTTP/1.1\r\n" + m_host + evil + end, "403"},
        {"foreign picture", "GET /a HTTP/1.1\r\n" + m_host + "Sec-Fetch-Site: cross-site\r\n" + end, "403"},
        {"largest body", put + "Content-Length: 65536\r\n" + end + large, "200"},
        {"chunked", put + chunked + end + "2\r\n{}\r\n0\r\n\r\n", "200"},
        {"unknown encoding", put + "Transfer-Encoding: gzip\r\n" + end, "501"},
        {"two encodings", put + "Transfer-Encoding: gzip, chunked\r\n" + end + "0\r\n\r\n", "501"},
        {"chunked in 1.0", "PUT /a HTTP/1.0\r\n" + json + chunked + end + "0\r\n\r\n", "501"},
        {"exception", "GET /throw HTTP/1.1\r\n" + m_host + end, "500"},
        {"too large body", put + "Content-Length: 65537\r\n\r\n", "413"},
        {"too large chunk", put + chunked + "\r\n10001\r\n" + large + "x\r\n0\r\n\r\n", "413"},
        {"a backup",
         "POST /api/v1/restore HTTP/1.1\r\n" + json + "Content-Length: 65537\r\n" + end + large + "x", "200"},
        {"a stranger's backup",
         "POST /api/v1/restore HTTP/1.1\r\n" + json + evil + "Content-Length: 65537\r\n" + end, "413"},
        {"too large headers", "GET /a HTTP/1.1\r\n" + m_host + "X: " + large + "\r\n\r\n", "431"},
        {"no HTTP", "rubbish\r\n\r\n", "400"},
        {"bad escape", "GET /a?x=%zz HTTP/1.1\r\n" + m_host + end, "400"},
    };
    for (const auto& row : rows) {
        Connection stream("127.0.0.1", m_port);
        stream << row.request << std::flush;
        const std::string reply(std::istreambuf_iterator<char>(stream), {});
        EXPECT_EQ(reply.substr(0, 12), std::string("HTTP/1.1 ") + row.status) << row.name << "\n" << reply;
        EXPECT_TRUE(IsForNoOtherPage(reply)) << row.name;
    }
}

TEST_F(HttpServerTest, PeersThatDoNothingKeepNobodyOut)
{
    std::list<Connection> peers;
    const auto ask = [&](const std::string& text) {
        peers.emplace_back("127.0.0.1", m_port) << text << std::flush;
        return text.ends_with("\r\n\r\n") ? ReadBlock(peers.back()).substr(9, 3) : "";
    };
    std::string events;
    for (int i = 0; i < 33; ++i)
        events = ask(m_follow);
    EXPECT_EQ(events, "503");
    ask("GET /half"); // and never the rest
    Connection& oldest = peers.back();
    for (int i = 0; i < 70; ++i)
        ask("GET /");
    EXPECT_EQ(ask("GET / HTTP/1.1\r\n" + m_host + "\r\n"), "200");
    EXPECT_EQ(ReadBlock(oldest), "");
    m_server.Publish("lock", "{}");
    ReadBlock(peers.front()); // the snapshot
    EXPECT_EQ(WithoutId(ReadBlock(peers.front())), "event: lock\ndata: {}\n");
}

TEST_F(HttpServerTest, SendsEventsInOrderAndStopsWithOpenConnections)
{
    Connection listener("127.0.0.1", m_port), idle("127.0.0.1", m_port);
    listener << m_follow << std::flush;
    const std::string head = ReadBlock(listener);
    EXPECT_NE(head.find("text/event-stream"), std::string::npos);
    EXPECT_TRUE(IsForNoOtherPage(head));
    EXPECT_EQ(WithoutId(ReadBlock(listener)), "event: snapshot\ndata: {}\n");
    m_server.Publish("lock", R"({"id":1})");
    m_server.Publish("lock", R"({"id":2})");
    const std::string first = ReadBlock(listener);
    EXPECT_EQ(WithoutId(first), "event: lock\ndata: {\"id\":1}\n");
    EXPECT_EQ(WithoutId(ReadBlock(listener)), "event: lock\ndata: {\"id\":2}\n");

    // Who comes back gets what was missed, or the state when that is not known any more.
    const std::string id = first.substr(4, first.find('\n') - 4), start = id.substr(0, id.find('-') + 1);
    for (const auto& [last, next] : {std::pair{id, std::string("lock\ndata: {\"id\":2}\n")},
                                     {start + "0", "lock\ndata: {\"id\":1}\n"},
                                     {start + "3", "snapshot\ndata: {}\n"},
                                     {start + "1x", "snapshot\ndata: {}\n"},
                                     {start, "snapshot\ndata: {}\n"},
                                     {start + "18446744073709551616", "snapshot\ndata: {}\n"},
                                     {"00000000-1", "snapshot\ndata: {}\n"}}) {
        Connection back("127.0.0.1", m_port);
        back << "GET /api/v1/events HTTP/1.1\r\n"
             << m_host << "Last-Event-ID: " << last << "\r\n\r\n"
             << std::flush;
        ReadBlock(back);
        EXPECT_EQ(WithoutId(ReadBlock(back)), "event: " + next) << last;
    }
    m_server.Stop();
    EXPECT_EQ(ReadBlock(listener), "");
}

TEST_F(HttpServerTest, AReaderThatNeverReadsIsDisconnected)
{
    for (const std::size_t eventSize : {10u, 60'000u}) { // too many, too large
        Connection reader("127.0.0.1", m_port);
        reader.socket().set_option(boost::asio::socket_base::receive_buffer_size(4096));
        reader << m_follow << std::flush;
        ReadBlock(reader);
        pollfd reset{reader.socket().native_handle(), 0, 0};
        for (int i = 0; i < 200 && poll(&reset, 1, 0) == 0; ++i) {
            for (std::size_t size = 0; size < 100'000; size += eventSize)
                m_server.Publish("lock", std::string(eventSize, '1'));
        }
        EXPECT_EQ(poll(&reset, 1, 10'000), 1) << eventSize;
    }
}

TEST(ProgramTest, ASignalDuringTheStartEndsItWithASave)
{
    const std::string folder = testing::TempDir() + "vestara-program-" + std::to_string(getpid());
    for (const int signal : {SIGTERM, SIGHUP}) {
        devhost::Settings settings;
        settings.driver = std::string(FAKE_LIBRARY_DIR) + "/libfake_good.so";
        settings.stateDir = folder;
        settings.listenAddress = "localhost";
        devhost::Program program(settings);
        raise(signal);
        EXPECT_EQ(program.Run(), 0);
        EXPECT_TRUE(std::filesystem::exists(folder + "/configuration")) << signal;
        std::filesystem::remove_all(folder);
    }
}

TEST(MainLoopTest, EveryWakeCountsInARoundAndARoundTakesSoManyOnly)
{
    devhost::MainLoop loop;
    for (int i = 0; i < devhost::MainLoop::kMaxWakes + 2; ++i)
        EXPECT_EQ(loop.Wake(), 1);
    std::vector<int> rounds;
    loop.Run([&](int wakeCount) {
        rounds.push_back(wakeCount);
        if (rounds.size() == 3)
            loop.RequestExit();
    });
    EXPECT_EQ(rounds, (std::vector{devhost::MainLoop::kMaxWakes, 2, 0}));
}

TEST(MainLoopTest, CallsRunOnTheLoopsThreadAndFailOnceItIsClosed)
{
    devhost::MainLoop loop;
    const auto host = std::this_thread::get_id();
    std::thread asker([&] {
        EXPECT_EQ(loop.Call([] { return std::this_thread::get_id(); }), host);
        EXPECT_THROW(loop.Call([]() -> int { throw std::out_of_range("x"); }), std::out_of_range);
        EXPECT_EQ(loop.Wake(), 1);
        loop.RequestExit();
    });
    loop.Run([](int) {});
    asker.join();
    loop.Close();
    EXPECT_THROW(loop.Call([] { return 1; }), devhost::LoopClosed);
    EXPECT_EQ(loop.Wake(), 0);
}
