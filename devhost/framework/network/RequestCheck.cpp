// Checks the head of a request against what a driver sends; sending it is the transport's work.

#include "devhost/framework/network/RequestCheck.h"

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

bool IsTokenCharacter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~+/").find(c) != std::string_view::npos;
}

// RFC 6750, section 2.1: "Bearer" and a b64token, characters of which at least one comes before any "=".
bool IsBearer(std::string_view Value)
{
    constexpr std::string_view kScheme = "Bearer ";
    if (!Value.starts_with(kScheme))
        return false;
    Value.remove_prefix(kScheme.size());
    const auto Padding = std::find_if_not(Value.begin(), Value.end(), IsTokenCharacter);
    return Padding != Value.begin() && std::all_of(Padding, Value.end(), [](char c) { return c == '='; });
}

// Takes a line from the front of the head, without its end.
std::string_view TakeLine(std::string_view& Head)
{
    const std::size_t cb = Head.find(kLineEnds);
    const std::string_view Line = Head.substr(0, cb);
    Head.remove_prefix(cb + kLineEnds.size());
    return Line;
}

} // namespace

const char* RequestFault(std::string_view Request)
{
    const std::size_t cbHead = Request.find("\r\n\r\n");
    if (cbHead == std::string_view::npos)
        return "its head has no end";
    std::string_view Head = Request.substr(0, cbHead + kLineEnds.size());
    std::string_view Rest = Request.substr(cbHead + 2 * kLineEnds.size());

    std::string_view Line = TakeLine(Head);
    if (!Line.ends_with(" HTTP/1.1") || Line.find_first_of(kLineEnds) != std::string_view::npos)
        return "its request line is broken";
    std::size_t cbBody = 0;
    for (const auto* pNext = std::begin(kHeaders); !Head.empty(); ++pNext) {
        Line = TakeLine(Head);
        pNext = std::find_if(pNext, std::end(kHeaders),
                             [&](std::string_view Header) { return Line.starts_with(Header); });
        if (pNext == std::end(kHeaders) || Line.find_first_of(kLineEnds) != std::string_view::npos)
            return "it has a header line that does not belong there";
        const std::string_view Value = Line.substr(pNext->size());
        if (*pNext == "Authorization: " && !IsBearer(Value))
            return "its access token has characters that no token has";
        if (*pNext == "Content-Length: " &&
            (std::from_chars(Value.data(), Value.data() + Value.size(), cbBody).ptr !=
                 Value.data() + Value.size() ||
             cbBody > Rest.size()))
            return "its length is wrong";
    }
    Rest.remove_prefix(cbBody);
    return Rest.find_first_not_of(kLineEnds) == std::string_view::npos ? nullptr : "bytes follow its end";
}

} // namespace devhost
