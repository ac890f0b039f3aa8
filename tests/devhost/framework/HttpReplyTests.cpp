#include "devhost/framework/HttpReplyReader.h"
#include "host/HTTP.h"
#include "host/JSON.h"

#include <gtest/gtest.h>

namespace
{

using devhost::HttpReplyReader;
using State = HttpReplyReader::State;

// What a reader makes of the bytes in pieces of the given size, and of the end of the stream after them: the
// body in "|", "..." when more must come, or "!" when there is no reply.
std::string Read(const std::string& Bytes, std::size_t cbPiece, bool bEnd)
{
    HttpReplyReader Reader;
    for (std::size_t i = 0; i < Bytes.size(); i += cbPiece)
        Reader.Feed(std::string_view(Bytes).substr(i, cbPiece));
    if (bEnd)
        Reader.EndOfStream();
    EXPECT_EQ(Reader.Current() == State::Failed, !Reader.Failure().empty());
    if (Reader.Current() == State::NeedsMore)
        return "...";
    if (Reader.Current() == State::Failed)
        return "!";
    devhost::HttpReply Reply = Reader.Take();
    EXPECT_NE(Bytes.find(Reply.Head), std::string::npos);
    EXPECT_TRUE(Reply.Head.starts_with("HTTP/1.1 20") && Reply.Head.ends_with("\r\n\r\n"));
    EXPECT_EQ(Reply.Head.find("\r\n\r\n"), Reply.Head.size() - 4);
    return "|" + Reply.Body + "|";
}

TEST(HttpReplyReader, ReadsFramesAndRefusesContradictions)
{
    const std::string k200 = "HTTP/1.1 200 OK\r\n", kLength = k200 + "Content-Length: ";
    const std::string kChunked = k200 + "Transfer-Encoding: chunked\r\n\r\n";
    // clang-format off
    const struct {
        std::string Bytes;
        bool bEnd;
        std::string Result;
    } kRows[] = {
        {kLength + "5\r\nX: y\r\n\r\nhello", false, "|hello|"}, {kLength + "0\r\n\r\n", false, "||"},
        {kLength + "5\r\n\r\nhello.", false, "|hello|"}, {kLength + "5, 5\r\n\r\nhello", false, "|hello|"},
        {kChunked + "5;x=y\r\nhello\r\n1\r\n!\r\n0\r\nT: t\r\n\r\n", false, "|hello!|"},
        {k200 + "Transfer-Encoding: Chunked\r\n\r\n0\r\n\r\n", false, "||"},
        {k200 + "\r\nto the end", true, "|to the end|"}, {k200 + "\r\nto the end", false, "..."},
        {"HTTP/1.1 204 No Content\r\n\r\n", false, "||"},
        {"HTTP/1.1 100 C\r\n\r\nHTTP/1.1 103 A\r\nA: b\r\n\r\n" + kLength + "1\r\n\r\nx", false, "|x|"},
        // Two ways to frame the same bytes are how replies are smuggled (RFC 9112, section 6.3).
        {kLength + "5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", false, "!"},
        {kLength + "5\r\nContent-Length: 6\r\n\r\nhello!", false, "!"},
        {kLength + "5, 6\r\n\r\nhello!", false, "!"}, {kLength + "-1\r\n\r\n", false, "!"},
        {kLength + "99999999999999999999\r\n\r\n", false, "!"},
        {k200 + "Transfer-Encoding: gzip\r\n\r\nx", true, "!"},
        {k200 + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", false, "!"},
        {kChunked + "zz\r\n\r\n", false, "!"}, {kChunked + "5\r\nhelloX\r\n0\r\n\r\n", false, "!"},
        // Cut short.
        {"", true, "!"}, {"HTTP/1.1 200", true, "!"}, {kLength + "5\r\n", true, "!"},
        {kLength + "5\r\n\r\nhell", true, "!"}, {kChunked + "5\r\nhello\r\n", true, "!"},
        {kChunked + "5\r\nhello\r\n0\r\n", true, "!"}, {"HTTP/1.1 100 Continue\r\n\r\n", true, "!"},
        // Not HTTP, or not what was asked for.
        {"garbage\r\n\r\n", false, "!"}, {"HTTP/2.0 200 OK\r\n\r\n", true, "!"},
        {"HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n", false, "!"},
        {k200 + "No colon\r\n\r\n", false, "!"}, {k200 + "Bad name : x\r\n\r\n", false, "!"},
    };
    // clang-format on
    for (const auto& Row : kRows) {
        for (const std::size_t cbPiece : {1, 3, 1 << 20})
            EXPECT_EQ(Read(Row.Bytes, cbPiece, Row.bEnd), Row.Result) << cbPiece << " of " << Row.Bytes;
    }
}

TEST(HttpReplyReader, LimitsAreExact)
{
    const std::string k200 = "HTTP/1.1 200 OK\r\n", k204 = "HTTP/1.1 204 No Content\r\n";
    const auto InChunks = [&](std::size_t cbBody) {
        std::string Bytes = k200 + "Transfer-Encoding: chunked\r\n\r\n";
        for (std::size_t cbChunk = 65536; cbBody > 0; cbBody -= cbChunk) {
            cbChunk = std::min(cbBody, cbChunk);
            Bytes += (cbChunk == 65536 ? "10000\r\n" : "1\r\n") + std::string(cbChunk, 'x') + "\r\n";
        }
        return Bytes + "0\r\n\r\n";
    };
    for (const std::size_t nOver : {0, 1}) {
        const std::size_t cbHead = HttpReplyReader::kMaxHeadBytes + nOver;
        const std::size_t cbBody = HttpReplyReader::kMaxBodyBytes + nOver;
        std::string Informational;
        for (std::size_t i = 0; i < HttpReplyReader::kMaxInformational + nOver; ++i)
            Informational += "HTTP/1.1 100 Continue\r\n\r\n";
        const std::string Body(cbBody, 'x');
        const std::string kRows[] = {
            k204 + "X: " + std::string(cbHead - k204.size() - 7, 'x') + "\r\n\r\n",
            k200 + "Content-Length: " + std::to_string(cbBody) + "\r\n\r\n" + Body,
            k200 + "\r\n" + Body,
            InChunks(cbBody),
            Informational + k204 + "\r\n",
        };
        for (const std::string& Row : kRows)
            EXPECT_EQ(Read(Row, 16384, true) == "!", nOver > 0) << Row.substr(0, 60);
    }
    const std::string Endless(100000, 'x');
    EXPECT_EQ(Read("HTTP/1.1 200 " + Endless, 16384, false), "!");
    EXPECT_EQ(Read(k200 + "Transfer-Encoding: chunked\r\n\r\n5;" + Endless, 16384, false), "!");
}

TEST(HtmlPage, ReadsTheStatusLineStrictly)
{
    const auto Expect = [](const char* pHead, int iExpected, const char* pReason) {
        int iCode = -1;
        CQXString sReason("unchanged");
        CHTMLPage(pHead, "HTTP/1.1 500 In the body\r\n").ParseResponseCode(&iCode, &sReason);
        EXPECT_EQ(iCode, iExpected) << pHead;
        EXPECT_STREQ(sReason, pReason) << pHead;
    };
    Expect("HTTP/1.0 404 Not Found\r\nA: b\r\n\r\n", 404, "Not Found");
    Expect("HTTP/1.1 204 \r\n\r\n", 204, "");
    Expect("HTTP/1.1 099 %s\r\n\r\n", 99, "%s");
    for (const char* pHead :
         {"HTTP/1.1 204\r\n\r\n", "HTTP/1.1 20 OK\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n",
          "HTTP/1.1 2x0 OK\r\n\r\n", "HTTP/1.1  200 OK\r\n\r\n", "HTTP/1.x 200 OK\r\n\r\n",
          "HTTP/2.0 200 OK\r\n\r\n", "http/1.1 200 OK\r\n\r\n", "HTTP/1.1 200 OK", ""})
        Expect(pHead, -1, "unchanged");
}

TEST(HtmlPage, TheConversionTakesThePageAndParsesTheBodyOnly)
{
    for (const auto& [pBody, nMembers] : {std::pair{"{\"a\":1}", 1}, {"{}", 0}, {"", -1}, {"<html/>", -1}}) {
        auto* pPage = new CHTMLPage("HTTP/1.1 200 OK\r\n\r\n", pBody);
        EXPECT_EQ(pPage->Data(), "HTTP/1.1 200 OK\r\n\r\n" + std::string(pBody));
        EXPECT_EQ(pPage->NBytes(), static_cast<int>(19 + std::string(pBody).size()));
        const std::unique_ptr<CJSONObject> pTree(CHTMLPage::HTMLPageToJSON(pPage));
        EXPECT_EQ(pPage, nullptr);
        EXPECT_EQ(pTree ? pTree->NObjects() : -1, nMembers) << pBody;
        EXPECT_EQ(CHTMLPage::HTMLPageToJSON(pPage), nullptr);
    }
}

} // namespace
