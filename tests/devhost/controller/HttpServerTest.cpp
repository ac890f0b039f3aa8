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
std::string ReadBlock(Connection& Stream)
{
    std::string Block;
    for (std::string Line; std::getline(Stream, Line) && !Line.empty() && Line != "\r";)
        Block += Line + "\n";
    return Block;
}

bool IsForNoOtherPage(const std::string& Reply)
{
    return Reply.find("frame-ancestors 'none'") < Reply.size() &&
           Reply.find("Cross-Origin-Resource-Policy: same-origin") < Reply.size();
}

devhost::ApiResponse Echo(const devhost::ApiRequest& Request)
{
    if (Request.Path == "/throw")
        throw 1;
    return {200, "text/plain", Request.Method + " " + Request.Path + " " + Request.Body, {}};
}

class HttpServerTest : public testing::Test
{
protected:
    HttpServerTest() { m_Server.Start(); }

    devhost::HttpServer m_Server{"127.0.0.1", 0, Echo};
    const std::string m_Port = std::to_string(m_Server.Port());
    const std::string m_Host = "Host: localhost:" + m_Port + "\r\n";
    const std::string m_Follow = "GET /api/v1/events HTTP/1.1\r\n" + m_Host + "\r\n";
};

} // namespace

TEST_F(HttpServerTest, ListensOnLoopbackOnly)
{
    for (const char* pAddress : {"0.0.0.0", "127.0.0.2", "::", "example.com"})
        EXPECT_THROW(devhost::HttpServer(pAddress, 0, Echo), std::runtime_error) << pAddress;
    EXPECT_THROW(devhost::HttpServer("127.0.0.1", m_Server.Port(), Echo), std::runtime_error);
}

TEST_F(HttpServerTest, AnswersGoodAndBadRequestsAndGoesOn)
{
    const std::string Json = m_Host + "Content-Type: application/json\r\n",
                      Put = "PUT /a HTTP/1.1\r\n" + Json, Evil = "Origin: http://evil.example\r\n";
    const std::string End = "Connection: close\r\n\r\n", Large(65536, 'x');
    const std::string Chunked = "Transfer-Encoding: chunked\r\n";
    struct {
        const char* Name;
        std::string Request;
        const char* Status;
    } const Rows[] = {
        {"good", "GET /a HTTP/1.1\r\n" + m_Host + End, "200"},
        {"two hosts", "GET /a HTTP/1.1\r\n" + m_Host + m_Host + End, "400"},
        {"foreign page", "POST /a HTTP/1.1\r\n" + Json + Evil + "Content-Length: 2\r\n" + End + "{}", "403"},
        {"events for a foreign page", "GET /api/v1/events HTTP/1.1\r\n" + m_Host + Evil + End, "403"},
        {"foreign picture", "GET /a HTTP/1.1\r\n" + m_Host + "Sec-Fetch-Site: cross-site\r\n" + End, "403"},
        {"largest body", Put + "Content-Length: 65536\r\n" + End + Large, "200"},
        {"chunked", Put + Chunked + End + "2\r\n{}\r\n0\r\n\r\n", "200"},
        {"unknown encoding", Put + "Transfer-Encoding: gzip\r\n" + End, "501"},
        {"two encodings", Put + "Transfer-Encoding: gzip, chunked\r\n" + End + "0\r\n\r\n", "501"},
        {"chunked in 1.0", "PUT /a HTTP/1.0\r\n" + Json + Chunked + End + "0\r\n\r\n", "501"},
        {"exception", "GET /throw HTTP/1.1\r\n" + m_Host + End, "500"},
        {"too large body", Put + "Content-Length: 65537\r\n\r\n", "413"},
        {"too large headers", "GET /a HTTP/1.1\r\n" + m_Host + "X: " + Large + "\r\n\r\n", "431"},
        {"no HTTP", "rubbish\r\n\r\n", "400"},
        {"bad escape", "GET /a?x=%zz HTTP/1.1\r\n" + m_Host + End, "400"},
    };
    for (const auto& Row : Rows) {
        Connection Stream("127.0.0.1", m_Port);
        Stream << Row.Request << std::flush;
        const std::string Reply(std::istreambuf_iterator<char>(Stream), {});
        EXPECT_EQ(Reply.substr(0, 12), std::string("HTTP/1.1 ") + Row.Status) << Row.Name << "\n" << Reply;
        EXPECT_TRUE(IsForNoOtherPage(Reply)) << Row.Name;
    }
}

TEST_F(HttpServerTest, PeersThatDoNothingKeepNobodyOut)
{
    std::list<Connection> Peers;
    const auto Ask = [&](const std::string& Text) {
        Peers.emplace_back("127.0.0.1", m_Port) << Text << std::flush;
        return Text.ends_with("\r\n\r\n") ? ReadBlock(Peers.back()).substr(9, 3) : "";
    };
    std::string Events;
    for (int i = 0; i < 33; ++i)
        Events = Ask(m_Follow);
    EXPECT_EQ(Events, "503");
    Ask("GET /half"); // and never the rest
    Connection& Oldest = Peers.back();
    for (int i = 0; i < 70; ++i)
        Ask("GET /");
    EXPECT_EQ(Ask("GET / HTTP/1.1\r\n" + m_Host + "\r\n"), "200");
    EXPECT_EQ(ReadBlock(Oldest), "");
    m_Server.Publish("lock", "{}");
    EXPECT_EQ(ReadBlock(Peers.front()), "event: lock\ndata: {}\n");
}

TEST_F(HttpServerTest, SendsEventsInOrderAndStopsWithOpenConnections)
{
    Connection Listener("127.0.0.1", m_Port), Idle("127.0.0.1", m_Port);
    Listener << m_Follow << std::flush;
    const std::string Head = ReadBlock(Listener);
    EXPECT_NE(Head.find("text/event-stream"), std::string::npos);
    EXPECT_TRUE(IsForNoOtherPage(Head));
    m_Server.Publish("lock", R"({"id":1})");
    m_Server.Publish("lock", R"({"id":2})");
    EXPECT_EQ(ReadBlock(Listener), "event: lock\ndata: {\"id\":1}\n");
    EXPECT_EQ(ReadBlock(Listener), "event: lock\ndata: {\"id\":2}\n");
    m_Server.Stop();
    EXPECT_EQ(ReadBlock(Listener), "");
}

TEST_F(HttpServerTest, AReaderThatNeverReadsIsDisconnected)
{
    for (const std::size_t cbEvent : {10u, 60'000u}) { // too many, too large
        Connection Reader("127.0.0.1", m_Port);
        Reader.socket().set_option(boost::asio::socket_base::receive_buffer_size(4096));
        Reader << m_Follow << std::flush;
        ReadBlock(Reader);
        pollfd Reset{Reader.socket().native_handle(), 0, 0};
        for (int i = 0; i < 200 && poll(&Reset, 1, 0) == 0; ++i) {
            for (std::size_t cb = 0; cb < 100'000; cb += cbEvent)
                m_Server.Publish("lock", std::string(cbEvent, '1'));
        }
        EXPECT_EQ(poll(&Reset, 1, 10'000), 1) << cbEvent;
    }
}

TEST(Program, ASignalDuringTheStartEndsItWithASave)
{
    const std::string Folder = testing::TempDir() + "vestara-program-" + std::to_string(getpid());
    for (const int Signal : {SIGTERM, SIGHUP}) {
        devhost::Settings Settings;
        Settings.Driver = std::string(FAKE_LIBRARY_DIR) + "/libfake_good.so";
        Settings.StateDir = Folder;
        Settings.ListenAddress = "localhost";
        devhost::Program Program(Settings);
        raise(Signal);
        EXPECT_EQ(Program.Run(), 0);
        EXPECT_TRUE(std::filesystem::exists(Folder + "/configuration")) << Signal;
        std::filesystem::remove_all(Folder);
    }
}

TEST(MainLoop, EveryWakeCountsInARoundAndARoundTakesSoManyOnly)
{
    devhost::MainLoop Loop;
    for (int i = 0; i < devhost::MainLoop::kMaxWakes + 2; ++i)
        EXPECT_EQ(Loop.Wake(), 1);
    std::vector<int> Rounds;
    Loop.Run([&](int nWakes) {
        Rounds.push_back(nWakes);
        if (Rounds.size() == 3)
            Loop.RequestExit();
    });
    EXPECT_EQ(Rounds, (std::vector{devhost::MainLoop::kMaxWakes, 2, 0}));
}

TEST(MainLoop, CallsRunOnTheLoopsThreadAndFailOnceItIsClosed)
{
    devhost::MainLoop Loop;
    const auto Host = std::this_thread::get_id();
    std::thread Asker([&] {
        EXPECT_EQ(Loop.Call([] { return std::this_thread::get_id(); }), Host);
        EXPECT_THROW(Loop.Call([]() -> int { throw std::out_of_range("x"); }), std::out_of_range);
        EXPECT_EQ(Loop.Wake(), 1);
        Loop.RequestExit();
    });
    Loop.Run([](int) {});
    Asker.join();
    Loop.Close();
    EXPECT_THROW(Loop.Call([] { return 1; }), devhost::LoopClosed);
    EXPECT_EQ(Loop.Wake(), 0);
}
