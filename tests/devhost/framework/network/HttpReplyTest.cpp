#include "devhost/framework/network/HttpReplyReader.h"
#include "host/HTTP.h"

#include <gtest/gtest.h>

namespace
{

using devhost::HttpReplyReader;
using State = HttpReplyReader::State;

const std::string k200 = "HTTP/1.1 200 OK\r\n", k204 = "HTTP/1.1 204 No Content\r\n";
const std::string kLength = k200 + "Content-Length: ", kEncoding = k200 + "Transfer-Encoding: ";
const std::string kChunked = kEncoding + "chunked\r\n\r\n";

// What a reader makes of the bytes in pieces of the given size, and of the end of the stream after them: the
// body in "|", "..." when more must come, or "!" when there is no reply.
std::string Read(const std::string& bytes, std::size_t pieceSize, bool end)
{
    HttpReplyReader reader;
    for (std::size_t i = 0; i < bytes.size(); i += pieceSize)
        reader.Feed(std::string_view(bytes).substr(i, pieceSize));
    if (end)
        reader.EndOfStream();
    EXPECT_EQ(reader.Current() == State::Failed, !reader.Failure().empty());
    if (reader.Current() != State::Complete)
        return reader.Current() == State::Failed ? "!" : "...";
    devhost::HttpReply reply = reader.Take();
    EXPECT_NE(bytes.find(reply.head), std::string::npos);
    EXPECT_TRUE(reply.head.starts_with("HTTP/1.1 20"));
    EXPECT_EQ(reply.head.find("\r\n\r\n"), reply.head.size() - 4);
    return "|" + reply.body + "|";
}

TEST(HttpReplyReaderTest, ReadsFramesAndRefusesContradictions)
{
    // clang-format off
    const struct {
        std::string bytes, result;
        bool end = false;
    } kRows[] = {
        {kLength + "5\r\nX: y\r\n\r\nhello", "|hello|"}, {kLength + "0\r\n\r\n", "||"},
        {kLength + "5, 5\r\n\r\nhello.", "|hello|"}, {k204 + "\r\n", "||"},
        {kChunked + "5;x=y\r\nhello\r\n1\r\n!\r\n0\r\nT: t\r\n\r\n", "|hello!|"},
        {kEncoding + "Chunked\r\n\r\n0\r\n\r\n", "||"},
        {k200 + "\r\nto the end", "|to the end|", true}, {k200 + "\r\nto the end", "..."},
        {"HTTP/1.1 100 C\r\n\r\nHTTP/1.1 103 A\r\nA: b\r\n\r\n" + kLength + "1\r\n\r\nx", "|x|"},
        // Two ways to frame the same bytes are how replies are smuggled (RFC 9112, section 6.3).
        {kLength + "5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "!"},
        {kLength + "5\r\nContent-Length: 6\r\n\r\nhello!", "!"}, {kLength + "-1\r\n\r\n", "!"},
        {kLength + "99999999999999999999\r\n\r\n", "!"}, {kEncoding + "gzip\r\n\r\nx", "!", true},
        {kEncoding + "gzip, chunked\r\n\r\n0\r\n\r\n", "!"}, {kChunked + "5\r\nhelloX\r\n0\r\n\r\n", "!"},
        {"HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "!"},
        {kEncoding + "\r\n\r\n0\r\n\r\n", "!", true},
        // Texts end at a NUL.
        {kLength + "5\r\n\r\n{}" + std::string("\0[]", 3), "!"}, {kChunked + "1\r\n" + std::string(1, '\0') + "\r\n0\r\n\r\n", "!"},
        {k200 + "\r\n{}" + std::string("\0[]", 3), "!", true},
        // Cut short.
        {"", "!", true}, {"HTTP/1.1 200", "!", true}, {kLength + "5\r\n\r\nhell", "!", true},
        {kChunked + "5\r\nhello\r\n0\r\n", "!", true}, {"HTTP/1.1 100 Continue\r\n\r\n", "!", true},
        // Not HTTP, or not what was asked for.
        {"garbage\r\n\r\n", "!"}, {"HTTP/2.0 200 OK\r\n\r\n", "!", true},
        {"HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n", "!"}, {k200 + "Bad name : x\r\n\r\n", "!"},
    };
    // clang-format on
    for (const auto& row : kRows) {
        for (const std::size_t pieceSize : {1U, 3U, 1U << 20})
            EXPECT_EQ(Read(row.bytes, pieceSize, row.end), row.result) << pieceSize << " of " << row.bytes;
    }
}

TEST(HttpReplyReaderTest, LimitsAreExact)
{
    for (const std::size_t over : {0U, 1U}) {
        const std::size_t headSize = HttpReplyReader::kMaxHeadBytes + over;
        const std::string body(HttpReplyReader::kMaxBodyBytes + over, 'x');
        std::string chunks = kChunked;
        for (std::size_t i = 0; i < HttpReplyReader::kMaxBodyBytes; i += 65536)
            chunks += "10000\r\n" + body.substr(0, 65536) + "\r\n";
        std::string informational;
        for (std::size_t i = 0; i < HttpReplyReader::kMaxInformational + over; ++i)
            informational += "HTTP/1.1 100 Continue\r\n\r\n";
        const std::string kRows[] = {
            k204 + "X: " + std::string(headSize - k204.size() - 7, 'x') + "\r\n\r\n",
            kLength + std::to_string(body.size()) + "\r\n\r\n" + body,
            k200 + "\r\n" + body,
            chunks + (over > 0 ? "1\r\nx\r\n" : "") + "0\r\n\r\n",
            informational + k204 + "\r\n",
        };
        for (const std::string& row : kRows)
            EXPECT_EQ(Read(row, 16384, true) == "!", over > 0) << row.substr(0, 60);
    }
    const std::string endless(100000, 'x');
    EXPECT_EQ(Read("HTTP/1.1 200 " + endless, 16384, false), "!");
    EXPECT_EQ(Read(kChunked + "5;" + endless, 16384, false), "!");
}

TEST(HtmlPageTest, ReadsTheStatusLineStrictly)
{
    const auto expect = [](const char* head, int expected, const char* expectedReason) {
        int code = -1;
        CQXString reason("unchanged");
        CHTMLPage(head, "HTTP/1.1 500 In the body\r\n").ParseResponseCode(&code, &reason);
        EXPECT_EQ(code, expected) << head;
        EXPECT_STREQ(reason, expectedReason) << head;
    };
    expect("HTTP/1.1 204 \r\n\r\n", 204, "");
    expect("HTTP/1.0 099 %s\r\nA: b\r\n\r\n", 99, "%s");
    for (const char* head : {"HTTP/1.1 204\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n", "HTTP/1.1 2x0 OK\r\n\r\n",
                             "HTTP/1.1  20 OK\r\n\r\n", "HTTP/1.x 200 OK\r\n\r\n", "HTTP/2.0 200 OK\r\n\r\n",
                             "HTTP/1.1 200 OK", ""})
        expect(head, -1, "unchanged");
}

} // namespace
