// The transport of the configurator, over real connections on a free port, and the program's end.

#include "devhost/controller/HttpServer.h"
#include "devhost/controller/MainLoop.h"
#include "devhost/controller/Program.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include <unistd.h>

namespace
{

using boost::asio::ip::tcp;

class Client
{
public:
    explicit Client(std::uint16_t Port) : m_Socket(m_Context)
    {
        m_Socket.connect({boost::asio::ip::make_address("127.0.0.1"), Port});
    }
    void Send(const std::string& Bytes)
    {
        boost::asio::write(m_Socket, boost::asio::buffer(Bytes), m_Ignored);
    }
    std::string ReadUntil(const std::string& End)
    {
        const std::size_t n =
            boost::asio::read_until(m_Socket, boost::asio::dynamic_buffer(m_Read), End, m_Ignored);
        std::string Rest = m_Read.substr(n);
        m_Read.resize(n);
        return std::exchange(m_Read, std::move(Rest));
    }
    std::string ReadAll()
    {
        boost::asio::read(m_Socket, boost::asio::dynamic_buffer(m_Read), m_Ignored);
        return std::exchange(m_Read, {});
    }

private:
    boost::asio::io_context m_Context;
    tcp::socket m_Socket;
    std::string m_Read;
    boost::system::error_code m_Ignored; // the server may have answered and closed already
};

devhost::ApiResponse Echo(const devhost::ApiRequest& Request)
{
    return {200, "text/plain", Request.Method + " " + Request.Path + " " + Request.Body, {}};
}

} // namespace

TEST(HttpServer, ListensOnLoopbackOnly)
{
    for (const char* pAddress : {"0.0.0.0", "192.0.2.1", "127.0.0.2", "::", "example.com", ""})
        EXPECT_THROW(devhost::HttpServer(pAddress, 0, Echo), std::runtime_error) << pAddress;
    const devhost::HttpServer First("127.0.0.1", 0, Echo);
    EXPECT_THROW(devhost::HttpServer("127.0.0.1", First.Port(), Echo), std::runtime_error);
}

TEST(HttpServer, AnswersGoodAndBadRequestsAndGoesOn)
{
    devhost::HttpServer Server("127.0.0.1", 0, Echo);
    Server.Start();
    const std::string Host = "Host: localhost:" + std::to_string(Server.Port()) + "\r\n";
    const std::string Json = Host + "Content-Type: application/json\r\n",
                      Evil = "Origin: http://evil.example\r\n";
    const std::string End = "Connection: close\r\n\r\n", Large(65536, 'x');
    struct {
        const char* Name;
        std::string Request;
        const char* Status;
    } const Rows[] = {
        {"good", "GET /a HTTP/1.1\r\n" + Host + End, "200"},
        {"two hosts", "GET /a HTTP/1.1\r\n" + Host + Host + End, "400"},
        {"foreign host", "GET /a HTTP/1.1\r\nHost: evil.example\r\n" + End, "421"},
        {"foreign page", "POST /a HTTP/1.1\r\n" + Json + Evil + "Content-Length: 2\r\n" + End + "{}", "403"},
        {"events for a foreign page", "GET /api/v1/events HTTP/1.1\r\n" + Host + Evil + End, "403"},
        {"largest body", "PUT /a HTTP/1.1\r\n" + Json + "Content-Length: 65536\r\n" + End + Large, "200"},
        {"too large body", "PUT /a HTTP/1.1\r\n" + Json + "Content-Length: 65537\r\n\r\n", "413"},
        {"too large headers", "GET /a HTTP/1.1\r\n" + Host + "X: " + Large + "\r\n\r\n", "431"},
        {"no HTTP", "rubbish\r\n\r\n", "400"},
        {"bad escape", "GET /a?x=%zz HTTP/1.1\r\n" + Host + End, "400"},
    };
    for (const auto& Row : Rows) {
        Client Connection(Server.Port());
        Connection.Send(Row.Request);
        const std::string Reply = Connection.ReadAll();
        EXPECT_EQ(Reply.substr(0, 12), std::string("HTTP/1.1 ") + Row.Status) << Row.Name << "\n" << Reply;
    }
}

TEST(HttpServer, SendsEventsInOrderAndStopsWithOpenConnections)
{
    devhost::HttpServer Server("127.0.0.1", 0, Echo);
    Server.Start();
    Client Listener(Server.Port());
    Client Idle(Server.Port());
    Listener.Send("GET /api/v1/events HTTP/1.1\r\nHost: localhost:" + std::to_string(Server.Port()) +
                  "\r\n\r\n");
    EXPECT_NE(Listener.ReadUntil("\r\n\r\n").find("text/event-stream"), std::string::npos);
    Server.Publish("lock", R"({"id":1})");
    Server.Publish("lock", R"({"id":2})");
    EXPECT_EQ(Listener.ReadUntil("\n\n"), "event: lock\ndata: {\"id\":1}\n\n");
    EXPECT_EQ(Listener.ReadUntil("\n\n"), "event: lock\ndata: {\"id\":2}\n\n");
    Server.Stop();
    EXPECT_EQ(Listener.ReadAll(), "");
}

TEST(Program, ASignalDuringTheStartEndsItWithASave)
{
    const std::string Folder = testing::TempDir() + "vestara-program-" + std::to_string(getpid());
    devhost::Settings Settings;
    Settings.Driver = std::string(FAKE_LIBRARY_DIR) + "/libfake_good.so";
    Settings.StateDir = Folder;
    Settings.ListenAddress = "localhost";
    devhost::Program Program(Settings);
    raise(SIGTERM);
    EXPECT_EQ(Program.Run(), 0);
    EXPECT_TRUE(std::filesystem::exists(Folder + "/configuration"));
    std::filesystem::remove_all(Folder);
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
    int Rounds = 0;
    Loop.Run([&] { ++Rounds; });
    Asker.join();
    EXPECT_GE(Rounds, 1);

    std::thread Late([&] { EXPECT_THROW(Loop.Call([] { return 1; }), devhost::LoopClosed); });
    Loop.Close();
    Late.join();
    EXPECT_EQ(Loop.Wake(), 0);
}
