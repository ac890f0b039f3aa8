// Checks the head of a request against what a driver sends; sending it is the transport's work.

#include "devhost/framework/network/RequestCheck.h"

#include <boost/url/rfc/unreserved_chars.hpp>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace devhost
{

namespace
{

constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kHeaders[] = {
    "Accept: ", "Authorization: ", "Host: ", "Content-Length: ", "Content-Type: ",
};

// The characters of a b64token but for its padding.
constexpr auto kTokenCharacters = boost::urls::unreserved_chars + boost::urls::grammar::lut_chars("+/");

// RFC 6750, section 2.1: "Bearer" and a b64token, characters of which at least one comes before any "=".
bool IsBearer(std::string_view value)
{
    constexpr std::string_view kScheme = "Bearer ";
    if (!value.starts_with(kScheme))
        return false;
    value.remove_prefix(kScheme.size());
    const auto padding = std::find_if_not(value.begin(), value.end(), kTokenCharacters);
    return padding != value.begin() && std::all_of(padding, value.end(), [](char c) { return c == '='; });
}

// Takes a line from the front of the head, without its end.
std::string_view TakeLine(std::string_view& head)
{
    const std::size_t size = head.find(kLineEnds);
    const std::string_view line = head.substr(0, size);
    head.remove_prefix(size + kLineEnds.size());
    return line;
}

} // namespace

const char* RequestFault(std::string_view request)
{
    const std::size_t headSize = request.find("\r\n\r\n");
    if (headSize == std::string_view::npos)
        return "its head has no end";
    std::string_view head = request.substr(0, headSize + kLineEnds.size());
    std::string_view rest = request.substr(headSize + 2 * kLineEnds.size());

    std::string_view line = TakeLine(head);
    if (!line.ends_with(" HTTP/1.1") || line.find_first_of(kLineEnds) != std::string_view::npos)
        return "its request line is broken";
    std::size_t bodySize = 0;
    for (const auto* next = std::begin(kHeaders); !head.empty(); ++next) {
        line = TakeLine(head);
        next = std::find_if(next, std::end(kHeaders),
                            [&](std::string_view header) { return line.starts_with(header); });
        if (next == std::end(kHeaders) || line.find_first_of(kLineEnds) != std::string_view::npos)
            return "it has a header line that does not belong there";
        const std::string_view value = line.substr(next->size());
        if (*next == "Authorization: " && !IsBearer(value))
            return "its access token has characters that no token has";
        if (*next == "Content-Length: " &&
            (std::from_chars(value.data(), value.data() + value.size(), bodySize).ptr !=
                 value.data() + value.size() ||
             bodySize > rest.size()))
            return "its length is wrong";
    }
    rest.remove_prefix(bodySize);
    return rest.find_first_not_of(kLineEnds) == std::string_view::npos ? nullptr : "bytes follow its end";
}

} // namespace devhost
