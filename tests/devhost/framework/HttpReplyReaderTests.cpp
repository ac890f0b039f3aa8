#include "devhost/framework/HttpReplyReader.h"

#include <gtest/gtest.h>

namespace
{

using devhost::HttpReplyReader;
using State = HttpReplyReader::State;

// What a reader makes of the bytes in pieces of the given size, and of the end of the stream after them:
// "head|body", or "!" when there is no reply.
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
    return Reply.Head + "|" + Reply.Body;
}

TEST(HttpReplyReader, ReadsFramesAndRefusesContradictions)
{
    const std::string k200 = "HTTP/1.1 200 OK\r\n";
    const std::string kChunked = "Transfer-Encoding: chunked\r\n\r\n";
    const struct {
        std::string Bytes;
        bool bEnd;
        std::string Result;
    } kRows[] = {
        {k200 + "Content-Length: 5\r\nX: y\r\n\r\nhello", false,
         k200 + "Content-Length: 5\r\nX: y\r\n\r\n|hello"},
        {k200 + "Content-Length: 0\r\n\r\n", false, k200 + "Content-Length: 0\r\n\r\n|"},
        {k200 + "Content-Length: 5\r\n\r\nhello and more", false, k200 + "Content-Length: 5\r\n\r\n|hello"},
        {k200 + kChunked + "5;x=y\r\nhello\r\n1\r\n!\r\n0\r\nT: t\r\n\r\n", false,
         k200 + kChunked + "|hello!"},
        {k200 + "Transfer-Encoding: Chunked\r\n\r\n0\r\n\r\n", false,
         k200 + "Transfer-Encoding: Chunked\r\n\r\n|"},
        {k200 + "\r\nto the end", true, k200 + "\r\n|to the end"},
        {k200 + "\r\nto the end", false, "..."},
        {"HTTP/1.1 204 No Content\r\n\r\n", false, "HTTP/1.1 204 No Content\r\n\r\n|"},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nA: b\r\n\r\n" + k200 +
             "Content-Length: 1\r\n\r\nx",
         false, k200 + "Content-Length: 1\r\n\r\n|x"},
        {k200 + "Content-Length: 5, 5\r\n\r\nhello", false, k200 + "Content-Length: 5, 5\r\n\r\n|hello"},
        // Two ways to frame the same bytes are how replies are smuggled (RFC 9112, section 6.3).
        {k200 + "Content-Length: 5\r\n" + kChunked + "0\r\n\r\n", false, "!"},
        {k200 + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\nhello", false, "!"},
        {k200 + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nhello!", false, "!"},
        {k200 + "Content-Length: 5, 6\r\n\r\nhello!", false, "!"},
        {k200 + "Content-Length: -1\r\n\r\n", false, "!"},
        {k200 + "Content-Length: 99999999999999999999\r\n\r\n", false, "!"},
        {k200 + "Transfer-Encoding: gzip\r\n\r\nx", true, "!"},
        {k200 + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", false, "!"},
        {k200 + kChunked + "zz\r\n", false, "!"},
        {k200 + kChunked + "5\r\nhelloX\r\n0\r\n\r\n", false, "!"},
        // Cut short.
        {"", true, "!"},
        {"HTTP/1.1 200", true, "!"},
        {k200 + "Content-Length: 5\r\n", true, "!"},
        {k200 + "Content-Length: 5\r\n\r\nhell", true, "!"},
        {k200 + kChunked + "5\r\nhello\r\n", true, "!"},
        {k200 + kChunked + "5\r\nhello\r\n0\r\n", true, "!"},
        {"HTTP/1.1 100 Continue\r\n\r\n", true, "!"},
        // Not HTTP, or not what was asked for.
        {"garbage\r\n\r\n", false, "!"},
        {"HTTP/2.0 200 OK\r\n\r\n", true, "!"},
        {"HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n", false, "!"},
        {k200 + "No colon\r\n\r\n", false, "!"},
        {k200 + "Bad name : x\r\n\r\n", false, "!"},
    };
    for (const auto& Row : kRows) {
        for (const std::size_t cbPiece : {std::size_t{1}, std::size_t{3}, std::size_t{1} << 20})
            EXPECT_EQ(Read(Row.Bytes, cbPiece, Row.bEnd), Row.Result) << cbPiece << " of " << Row.Bytes;
    }
}

TEST(HttpReplyReader, LimitsAreExact)
{
    const auto WithHead = [](std::size_t cbHead) {
        const std::string Start = "HTTP/1.1 204 No Content\r\nX: ";
        return Start + std::string(cbHead - Start.size() - 4, 'x') + "\r\n\r\n";
    };
    const auto WithLength = [](std::size_t cbBody) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(cbBody) + "\r\n\r\n" +
               std::string(cbBody, 'x');
    };
    const auto ToTheEnd = [](std::size_t cbBody) {
        return "HTTP/1.1 200 OK\r\n\r\n" + std::string(cbBody, 'x');
    };
    const auto InChunks = [](std::size_t cbBody) {
        std::string Bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
        for (std::size_t cbLeft = cbBody; cbLeft > 0;) {
            const std::size_t cbChunk = std::min<std::size_t>(cbLeft, 65536);
            Bytes +=
                (cbChunk == 65536 ? "10000" : "1") + std::string("\r\n") + std::string(cbChunk, 'x') + "\r\n";
            cbLeft -= cbChunk;
        }
        return Bytes + "0\r\n\r\n";
    };
    const auto Informational = [](int n) {
        std::string Bytes;
        for (int i = 0; i < n; ++i)
            Bytes += "HTTP/1.1 100 Continue\r\n\r\n";
        return Bytes + "HTTP/1.1 204 No Content\r\n\r\n";
    };
    const std::size_t cbBody = HttpReplyReader::kMaxBodyBytes;
    const struct {
        const char* pName;
        std::string Bytes;
        bool bGood;
    } kRows[] = {
        {"head", WithHead(HttpReplyReader::kMaxHeadBytes), true},
        {"head", WithHead(HttpReplyReader::kMaxHeadBytes + 1), false},
        {"endless head", "HTTP/1.1 200 " + std::string(100000, 'x'), false},
        {"length", WithLength(cbBody), true},
        {"length", WithLength(cbBody + 1), false},
        {"to the end", ToTheEnd(cbBody), true},
        {"to the end", ToTheEnd(cbBody + 1), false},
        {"chunks", InChunks(cbBody), true},
        {"chunks", InChunks(cbBody + 1), false},
        {"endless chunk extension",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;" + std::string(100000, 'x'), false},
        {"informational", Informational(HttpReplyReader::kMaxInformational), true},
        {"informational", Informational(HttpReplyReader::kMaxInformational + 1), false},
    };
    for (const auto& Row : kRows)
        EXPECT_EQ(Read(Row.Bytes, 16384, true) != "!", Row.bGood) << Row.pName << " " << Row.Bytes.size();
}

} // namespace
