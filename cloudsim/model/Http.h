#pragma once

#include "cloudsim/model/Refusal.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace cloudsim
{

inline constexpr std::size_t kMaxHeaderBytes = std::size_t{16} * 1024;
inline constexpr std::size_t kMaxBodyBytes = std::size_t{1024} * 1024;

struct Header {
    std::string name;
    std::string value;
};

// One parsed HTTP/1.1 request. The headers keep their order.
struct Request {
    std::string method;
    std::string target;
    int version = 11; // 11 for HTTP/1.1
    std::vector<Header> headers;
    std::string body;
    std::string trailing; // bytes received behind the request

    // The target up to the question mark.
    std::string_view Path() const;
    // The target behind the question mark; nothing when there is none.
    std::optional<std::string_view> Query() const;
    // The value of the first header of that name (letter case ignored), or nothing.
    std::optional<std::string_view> FindHeader(std::string_view name) const;
    std::size_t CountHeader(std::string_view name) const;
};

// One reply, with what an injected fault does to its delivery.
struct Response {
    int status = 200;
    std::vector<Header> headers; // without Content-Length and Connection, which SerializeReply adds
    std::string body;

    std::string errorcode; // why the request was refused; empty for an accepted one
    std::string reason;    // the same for a person to read; holds no secret

    std::chrono::milliseconds delay{0};       // the transport waits this long before it sends
    bool closeWithoutReply = false;           // the transport closes without a byte
    std::optional<std::size_t> cutAfterBytes; // only so much of the body is sent, then the connection ends
};

// Collects the bytes of one request until it is complete. Not safe for use by several threads.
class RequestReader
{
public:
    enum class State { NeedMore, Complete, Failed };

    RequestReader();
    ~RequestReader();

    // Takes more bytes and says how far the request is. After Complete or Failed further bytes are ignored.
    State Feed(std::string_view bytes);

    // What Feed returned last.
    State Progress() const { return m_state; }
    // The request, once Feed has returned Complete; an empty one before.
    const Request& Result() const { return m_request; }
    // What is wrong, once Feed has returned Failed.
    const Refusal& Error() const { return *m_error; }

private:
    struct Parser;

    void TakeResult();

    std::unique_ptr<Parser> m_parser;
    std::string m_pending;
    Request m_request;
    std::optional<Refusal> m_error;
    State m_state = State::NeedMore;
};

// Parses the whole bytes of one request; bytes behind it end up in Request::trailing.
std::variant<Request, Refusal> ParseRawRequest(std::string_view bytes);

// The bytes that go over the wire: status line, headers, body, shortened when a fault cuts the reply, empty
// when it closes without one. Response::delay is the transport's business.
std::string SerializeReply(const Response& response);

} // namespace cloudsim
