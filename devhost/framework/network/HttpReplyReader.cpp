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
    m_parser.emplace();
    m_parser->header_limit(kMaxHeadBytes);
    m_parser->body_limit(kMaxBodyBytes);
    m_head.clear();
    m_headChecked = false;
}

void HttpReplyReader::Fail(std::string why)
{
    m_state = State::Failed;
    m_failure = std::move(why);
}

HttpReplyReader::State HttpReplyReader::Feed(std::string_view bytes)
{
    m_pending += bytes;
    while (m_state == State::NeedsMore && !m_pending.empty()) {
        // The parser cannot resume a last chunk that it has seen less of.
        if (m_headChecked && m_parser->chunked() && m_pending.size() < kLastChunkBytes)
            break;
        boost::beast::error_code error;
        const std::size_t takenSize = m_parser->put(boost::asio::buffer(m_pending), error);
        // The parser stops behind the head, so what it takes before the head was checked belongs to the head.
        if (!m_headChecked)
            m_head.append(m_pending, 0, takenSize);
        m_pending.erase(0, takenSize);
        if (error == http::error::need_more) {
            // What cannot be taken yet is at most the rest of a head or a chunk's header with its trailers.
            if (m_pending.size() + (m_headChecked ? 0 : m_head.size()) > kMaxHeadBytes)
                Fail("a header is too long");
            break;
        }
        m_bodyTooLong = error == http::error::body_limit;
        if (m_bodyTooLong)
            Fail("the body is longer than " + std::to_string(kMaxBodyBytes) + " bytes");
        else if (error)
            Fail(error.message());
        else if (m_parser->is_header_done() && !m_headChecked)
            CheckHead();
        else if (m_parser->is_done())
            Complete();
    }
    return m_state;
}

void HttpReplyReader::CheckHead()
{
    m_headChecked = true;
    // The parser measures a head only while it is incomplete.
    if (m_head.size() > kMaxHeadBytes)
        return Fail("the head is too long");
    const auto& reply = m_parser->get();
    if (reply.version() != 10 && reply.version() != 11)
        return Fail("unknown HTTP version");
    const auto encodingCount = reply.count(http::field::transfer_encoding);
    if (encodingCount > 0 && reply.count(http::field::content_length) > 0)
        return Fail("both Content-Length and Transfer-Encoding");
    // A sender of HTTP/1.0 knows none (RFC 9112, section 6.1).
    if (encodingCount > 1 || (encodingCount == 1 && reply.version() == 10) ||
        (encodingCount == 1 && !boost::beast::iequals(reply[http::field::transfer_encoding], "chunked")))
        return Fail("unknown transfer encoding");
    const unsigned status = reply.result_int();
    if (status < 100 || status > 599)
        return Fail("unknown status");
    if (status == 101)
        return Fail("the protocol was switched without being asked");
    if (status / 100 == 1) {
        if (++m_informationalCount > kMaxInformational)
            return Fail("too many informational replies");
        return StartReply();
    }
    m_parser->eager(true);
    if (m_parser->is_done())
        Complete();
}

// Texts end at a NUL: whoever reads the body as one would see another reply than whoever goes by its length.
void HttpReplyReader::Complete()
{
    if (m_parser->get().body().find('\0') != std::string::npos)
        return Fail("the body has a NUL");
    m_state = State::Complete;
}

HttpReplyReader::State HttpReplyReader::EndOfStream()
{
    if (m_state != State::NeedsMore)
        return m_state;
    boost::beast::error_code error;
    if (!m_headChecked || !m_parser->need_eof())
        Fail("the reply was cut short");
    else if (m_parser->put_eof(error); error)
        Fail(error.message());
    else
        Complete();
    return m_state;
}

HttpReply HttpReplyReader::Take()
{
    return {std::exchange(m_head, {}), std::move(m_parser->get().body())};
}

} // namespace devhost
