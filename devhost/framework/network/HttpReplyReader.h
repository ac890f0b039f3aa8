#pragma once
// Reading of one HTTP reply from bytes that arrive in pieces.

#include "devhost/framework/seams/Framework.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace devhost
{

/// Collects one final reply (RFC 9112): informational replies before it are skipped; the body is framed by
/// its length, by chunks, or, when neither is given, by the end of the connection. Contradictory framing,
/// sizes past the limits, a status outside 100 to 599, a NUL in the body, and anything malformed end the
/// reading. Bytes after the reply are ignored. One thread.
class HttpReplyReader
{
public:
    static constexpr std::uint32_t kMaxHeadBytes = 16u << 10;
    static constexpr std::uint64_t kMaxBodyBytes = 8u << 20;
    static constexpr int kMaxInformational = 8;

    enum class State { NeedsMore, Complete, Failed };

    HttpReplyReader();

    /// Takes the bytes that came next.
    State Feed(std::string_view bytes);
    /// The peer has closed the connection in good order.
    State EndOfStream();

    State Current() const { return m_state; }
    /// Why the reading failed, for people; empty otherwise.
    const std::string& Failure() const { return m_failure; }
    /// Whether it failed because the body is longer than kMaxBodyBytes.
    bool BodyTooLong() const { return m_bodyTooLong; }
    /// The reply, once, when the reading is complete.
    HttpReply Take();

private:
    using Parser = boost::beast::http::response_parser<boost::beast::http::string_body>;

    void StartReply();
    void CheckHead();
    void Complete();
    void Fail(std::string why);

    std::optional<Parser> m_parser;
    std::string m_pending; // received and not yet consumed by the parser
    std::string m_head;
    bool m_headChecked = false;
    bool m_bodyTooLong = false;
    int m_informationalCount = 0;
    State m_state = State::NeedsMore;
    std::string m_failure;
};

} // namespace devhost
