// Exchanges as the driver asks for them: requests that are not sent, replies that are not taken.

#include "devhost/framework/seams/Framework.h"
#include "host/HTTP.h"
#include "host/JSON.h"
#include "tests/support/Journal.h"
#include "tests/support/ScriptedCloud.h"

#include <gtest/gtest.h>

#include <new>

namespace
{

class HttpExchangeTest : public testing::Test
{
protected:
    HttpExchangeTest()
    {
        devhost::TheFramework().transport = &m_cloud;
        devhost::TheFramework().diagnostics = &m_journal;
    }
    ~HttpExchangeTest() override { devhost::TheFramework() = {}; }

    // Makes a connection and an exchange over it; what was reported meanwhile, or "page".
    std::string Exchange(const std::string& request)
    {
        CHTTPConnectionSSL connection(0);
        connection.CreateConnection("api.cloud.example", 443, 1000, 0);
        const std::unique_ptr<CHTMLPage> page(
            DoHTTPExchangeWithConnection(&connection, request.c_str(), CQXString(), 0, 0));
        return page ? "page" : Report();
    }
    std::string Report()
    {
        const auto reports = m_journal.TakeReports();
        return reports.size() == 1 ? reports[0] : std::to_string(reports.size()) + " reports";
    }

    support::ScriptedCloud m_cloud;
    support::Journal m_journal;
};

TEST_F(HttpExchangeTest, ARequestThatTheCloudHasWrittenIntoIsNotSent)
{
    const std::string kAccept = "Accept: a/b\r\n", kHost = "Host: x\r\n",
                      kStart = "GET / HTTP/1.1\r\n" + kAccept;
    const std::string kBearer = kStart + "Authorization: Bearer ", kNext = "\r\n" + kHost + "\r\n";
    const std::string kPut = "PUT /a HTTP/1.1\r\n" + kAccept + kHost + "Content-Length: ";
    const std::string kType = "\r\nContent-Type: c/d\r\n\r\n",
                      kForeign = "it has a header line that does not belong there";
    const std::string kToken = "its access token has characters that no token has",
                      kMore = "bytes follow its end";
    const std::string kLine = "its request line is broken", kLength = "its length is wrong";
    // clang-format off
    const struct {
        std::string request, fault; // no fault: it is sent
    } kRows[] = {
        {kBearer + "azAZ09-._~+/==" + kNext, ""}, {kPut + "2" + kType + "{}\r\n", ""}, {kPut + "0\r\n\r\n\r\n\r\n", ""},
        {"GET  HTTP/1.1\r\n" + kAccept + kHost + "\r\n", ""}, {" HTTP/1.1\r\n" + kAccept + kHost + "\r\n", ""},
        {kBearer + "=" + kNext, kToken}, {kBearer + "a=b" + kNext, kToken}, {kBearer + "a b" + kNext, kToken},
        {kBearer + "\xC3\xA4" + kNext, kToken}, {kStart + "Authorization: Basic YQ==" + kNext, kToken},
        {kBearer + "a\nb" + kNext, kForeign}, {kBearer + "a\rb" + kNext, kForeign}, {kBearer + "a\r\nX: y" + kNext, kForeign},
        {kBearer + "a\r\nHost: y" + kNext, kForeign}, {kBearer + "a\r\nAccept: y" + kNext, kForeign},
        {kBearer + "a\r\nContent-Length: 0" + kNext, kForeign}, {kBearer + "a\r\n\r\nGET / HTTP/1.1" + kNext, kMore},
        {"GET /\r\nX: y HTTP/1.1\r\n" + kAccept + kHost + "\r\n", kLine}, {"GET /\ny HTTP/1.1\r\n" + kAccept + kHost + "\r\n", kLine},
        {"GET / HTTP/1.1\r\nContent-Type: y HTTP/1.1\r\n" + kAccept + kHost + "\r\n", kForeign},
        {kPut + "1" + kType + "{}\r\n", kMore}, {kPut + "5" + kType + "{}\r\n", kLength}, {kPut + "2x" + kType + "{}\r\n", kLength},
        {kStart + kHost, "its head has no end"},
    };
    // clang-format on
    for (const auto& row : kRows) {
        m_cloud.Reply(200, "{}");
        EXPECT_EQ(Exchange(row.request),
                  row.fault.empty() ? "page" : "http 3: a request was not sent: " + row.fault)
            << row.request;
        EXPECT_EQ(m_cloud.TakeRequests().size(), row.fault.empty() ? 1u : 0u) << row.request;
    }
}

// Fails wherever the host may run out of memory.
struct Exhausted : devhost::Transport, support::Journal {
    std::unique_ptr<devhost::Connection> Connect(const std::string&, int, std::chrono::milliseconds) override
    {
        throw std::bad_alloc();
    }
    void OnReport(const std::string&, int, std::string_view) override { throw std::bad_alloc(); }
};

TEST_F(HttpExchangeTest, AnExceptionOrABodyBeyondABoundIsARefusal)
{
    const auto readJson = [] {
        auto* page = new CHTMLPage("HTTP/1.1 200 OK\r\n\r\n", std::string(65, '['));
        return CHTMLPage::HTMLPageToJSON(page);
    };
    m_cloud.onRequest = [](const std::string&) { throw std::bad_alloc(); };
    EXPECT_EQ(Exchange("GET / HTTP/1.1\r\n\r\n"), "http 1: an exchange was given up: std::bad_alloc");
    Exhausted host;
    devhost::TheFramework().transport = &host;
    EXPECT_EQ(CHTTPConnectionSSL(0).CreateConnection("x", 443, 1000, 0), 0);
    EXPECT_EQ(Report(), "http 1: a connection was given up: std::bad_alloc");

    EXPECT_EQ(readJson(), nullptr);
    EXPECT_EQ(Report(), "http 2: a reply was not taken for JSON: more than 64 levels");
    devhost::TheFramework().diagnostics = &host;
    EXPECT_EQ(readJson(), nullptr);
}

} // namespace
