// Reads one HTTP reply with Beast's parser under the host's limits; the bytes are brought by the transport.

#include "devhost/framework/network/HttpReplyReader.h"

#include <utility>

namespace devhost
{

namespace http = boost::beast::http;

namespace
{
// "0 CR LF CR LF" (RFC 9112, section 7.1): nothing shorter ends a chunked body.
constexpr std::size_t kLastChunkBytes = 5;
} // namespace

HttpReplyReader::HttpReplyReader()
{
    StartReply();
}

void HttpReplyReader::StartReply()
{
    m_Parser.emplace();
    m_Parser->header_limit(kMaxHeadBytes);
    m_Parser->body_limit(kMaxBodyBytes);
    m_Head.clear();
    m_bHeadChecked = false;
}

void HttpReplyReader::Fail(std::string Why)
{
    m_State = State::Failed;
    m_Failure = std::move(Why);
}

HttpReplyReader::State HttpReplyReader::Feed(std::string_view Bytes)
{
    m_Pending += Bytes;
    while (m_State == State::NeedsMore && !m_Pending.empty()) {
        // The parser cannot resume a last chunk that it has seen less of.
        if (m_bHeadChecked && m_Parser->chunked() && m_Pending.size() < kLastChunkBytes)
            break;
        boost::beast::error_code Error;
        const std::size_t cbTaken = m_Parser->put(boost::asio::buffer(m_Pending), Error);
        // The parser stops behind the head, so what it takes before the head was checked belongs to the head.
        if (!m_bHeadChecked)
            m_Head.append(m_Pending, 0, cbTaken);
        m_Pending.erase(0, cbTaken);
        if (Error == http::error::need_more) {
            // What cannot be taken yet is at most a head or a chunk's header with its trailers.
            if (m_Pending.size() > kMaxHeadBytes)
                Fail("a header is too long");
            break;
        }
        m_bBodyTooLong = Error == http::error::body_limit;
        if (m_bBodyTooLong)
            Fail("the body is longer than " + std::to_string(kMaxBodyBytes) + " bytes");
        else if (Error)
            Fail(Error.message());
        else if (m_Parser->is_header_done() && !m_bHeadChecked)
            CheckHead();
        else if (m_Parser->is_done())
            Complete();
    }
    return m_State;
}

void HttpReplyReader::CheckHead()
{
    m_bHeadChecked = true;
    // The parser measures a head only while it is incomplete.
    if (m_Head.size() > kMaxHeadBytes)
        return Fail("the head is too long");
    const auto& Reply = m_Parser->get();
    if (Reply.version() != 10 && Reply.version() != 11)
        return Fail("unknown HTTP version");
    const auto nEncodings = Reply.count(http::field::transfer_encoding);
    if (nEncodings > 0 && Reply.count(http::field::content_length) > 0)
        return Fail("both Content-Length and Transfer-Encoding");
    // A sender of HTTP/1.0 knows none (RFC 9112, section 6.1).
    if (nEncodings > 1 || (nEncodings == 1 && Reply.version() == 10) ||
        (nEncodings == 1 && !boost::beast::iequals(Reply[http::field::transfer_encoding], "chunked")))
        return Fail("unknown transfer encoding");
    const unsigned uStatus = Reply.result_int();
    if (uStatus == 101)
        return Fail("the protocol was switched without being asked");
    if (uStatus / 100 == 1) {
        if (++m_nInformational > kMaxInformational)
            return Fail("too many informational replies");
        return StartReply();
    }
    m_Parser->eager(true);
    if (m_Parser->is_done())
        Complete();
}

// Texts end at a NUL: whoever reads the body as one would see another reply than whoever goes by its length.
void HttpReplyReader::Complete()
{
    if (m_Parser->get().body().find('\0') != std::string::npos)
        return Fail("the body has a NUL");
    m_State = State::Complete;
}

HttpReplyReader::State HttpReplyReader::EndOfStream()
{
    if (m_State != State::NeedsMore)
        return m_State;
    boost::beast::error_code Error;
    if (!m_bHeadChecked || !m_Parser->need_eof())
        Fail("the reply was cut short");
    else if (m_Parser->put_eof(Error); Error)
        Fail(Error.message());
    else
        Complete();
    return m_State;
}

HttpReply HttpReplyReader::Take()
{
    return {std::exchange(m_Head, {}), std::move(m_Parser->get().body())};
}

} // namespace devhost
