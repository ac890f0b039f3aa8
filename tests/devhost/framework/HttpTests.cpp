#include "FrameworkParts.h"

#include "host/HTTP.h"
#include "host/JSON.h"

#include <gtest/gtest.h>

namespace
{

TEST(HtmlPage, ReadsTheStatusLineStrictly)
{
    const struct {
        const char* pHead;
        int iCode; // -1: not read
        const char* pReason;
    } kRows[] = {
        {"HTTP/1.0 404 Not Found\r\nA: b\r\n\r\n", 404, "Not Found"},
        {"HTTP/1.1 204 \r\n\r\n", 204, ""},
        {"HTTP/1.1 099 %s\r\n\r\n", 99, "%s"},
    };
    const auto Expect = [](const char* pHead, int iExpected, const char* pReason) {
        int iCode = -1;
        CQXString sReason("unchanged");
        CHTMLPage(pHead, "HTTP/1.1 500 In the body\r\n").ParseResponseCode(&iCode, &sReason);
        EXPECT_EQ(iCode, iExpected) << pHead;
        EXPECT_STREQ(sReason, pReason) << pHead;
    };
    for (const auto& Row : kRows)
        Expect(Row.pHead, Row.iCode, Row.pReason);
    for (const char* pHead :
         {"HTTP/1.1 204\r\n\r\n", "HTTP/1.1 20 OK\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n",
          "HTTP/1.1 2x0 OK\r\n\r\n", "HTTP/1.1  200 OK\r\n\r\n", "HTTP/1.x 200 OK\r\n\r\n",
          "HTTP/2.0 200 OK\r\n\r\n", "http/1.1 200 OK\r\n\r\n", "HTTP/1.1 200 OK", ""})
        Expect(pHead, -1, "unchanged");
}

TEST(HtmlPage, TheConversionTakesThePageAndParsesTheBodyOnly)
{
    const struct {
        const char* pBody;
        int nMembers; // -1: no JSON
    } kRows[] = {{"{\"a\":1}", 1}, {"{}", 0}, {"", -1}, {"<html/>", -1}};
    for (const auto& Row : kRows) {
        auto* pPage = new CHTMLPage("HTTP/1.1 200 OK\r\n\r\n", Row.pBody);
        EXPECT_EQ(std::string(pPage->Data()), std::string("HTTP/1.1 200 OK\r\n\r\n") + Row.pBody);
        EXPECT_EQ(pPage->NBytes(), static_cast<int>(19 + std::string(Row.pBody).size()));
        const std::unique_ptr<CJSONObject> pTree(CHTMLPage::HTMLPageToJSON(pPage));
        EXPECT_EQ(pPage, nullptr);
        EXPECT_EQ(pTree ? pTree->NObjects() : -1, Row.nMembers) << Row.pBody;
        EXPECT_EQ(CHTMLPage::HTMLPageToJSON(pPage), nullptr);
    }
}

// Counts its open connections and answers each request with itself as the body.
class EchoTransport : public devhost::Transport
{
public:
    std::unique_ptr<devhost::Connection> Connect(const std::string& Host, int Port,
                                                 std::chrono::milliseconds Timeout) override
    {
        Asked = Host + ":" + std::to_string(Port) + " " + std::to_string(Timeout.count());
        return bRefuse ? nullptr : std::make_unique<Echo>(*this);
    }

    struct Echo : devhost::Connection {
        explicit Echo(EchoTransport& Transport) : Owner(Transport) { ++Owner.nOpen; }
        ~Echo() override { --Owner.nOpen; }
        std::optional<devhost::HttpReply> Exchange(std::string_view Request) override
        {
            if (Request.empty())
                return std::nullopt;
            return devhost::HttpReply{"HTTP/1.1 200 OK\r\n\r\n", std::string(Request)};
        }
        EchoTransport& Owner;
    };

    std::string Asked;
    bool bRefuse = false;
    int nOpen = 0;
};

TEST(HttpConnection, GoesThroughThePluggedInTransport)
{
    const FrameworkGuard Guard;
    EchoTransport Transport;
    {
        CHTTPConnectionSSL Connection(0);
        const auto Exchange = [&](const char* pRequest) {
            return std::unique_ptr<CHTMLPage>(DoHTTPExchangeWithConnection(&Connection, pRequest, "", 0, 0));
        };
        devhost::TheFramework().pTransport = nullptr;
        EXPECT_EQ(Connection.CreateConnection("api.example", 443, 5000, 0), 0);
        devhost::TheFramework().pTransport = &Transport;
        Transport.bRefuse = true;
        EXPECT_EQ(Connection.CreateConnection("api.example", 443, 5000, 0), 0);
        EXPECT_EQ(Connection.CreateConnection(nullptr, 443, 5000, 0), 0);
        EXPECT_EQ(Exchange("early"), nullptr);
        EXPECT_EQ(DoHTTPExchangeWithConnection(nullptr, "x", "", 0, 0), nullptr);

        Transport.bRefuse = false;
        ASSERT_NE(Connection.CreateConnection("api.example", 443, 5000, 0), 0);
        EXPECT_EQ(Transport.Asked, "api.example:443 5000");
        EXPECT_EQ(Exchange(""), nullptr);
        const auto pPage = Exchange("GET / 100% %s\r\n\r\n");
        ASSERT_TRUE(pPage);
        EXPECT_STREQ(pPage->Data(), "HTTP/1.1 200 OK\r\n\r\nGET / 100% %s\r\n\r\n");
        EXPECT_EQ(Transport.nOpen, 1);
    }
    EXPECT_EQ(Transport.nOpen, 0);
}

} // namespace
