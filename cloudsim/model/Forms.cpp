// Encodes and decodes the texts of forms, addresses and HTML; what the fields mean is left to the callers.
#include "cloudsim/model/Forms.h"

#include "cloudsim/model/Refusal.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace cloudsim
{
namespace
{

bool IsUnreserved(char letter)
{
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') ||
           std::string_view("-._~").find(letter) != std::string_view::npos;
}

} // namespace

std::string PercentDecode(std::string_view text)
{
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint8_t byte = 0;
        if (text[i] == '%' && i + 2 < text.size()) {
            const char* digits = text.data() + i + 1;
            const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
            if (error == std::errc{} && end == digits + 2) {
                decoded += static_cast<char>(byte);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

std::string PercentEncode(std::string_view text)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    for (char letter : text) {
        if (IsUnreserved(letter)) {
            encoded += letter;
            continue;
        }
        const auto byte = static_cast<unsigned char>(letter);
        encoded += {'%', digits[byte >> 4], digits[byte & 15]};
    }
    return encoded;
}

FormFields ParseForm(std::string_view text)
{
    FormFields fields;
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(text.size(), part.size() + 1));
        const auto equals = part.find('=');
        if (equals == std::string_view::npos)
            throw Refusal(400, "malformed_form", "a form field has no '='");
        const std::string name = PercentDecode(part.substr(0, equals));
        if (!fields.emplace(name, PercentDecode(part.substr(equals + 1))).second)
            throw Refusal(400, "duplicate_field", "form field '" + name.substr(0, 64) + "' comes twice");
    }
    return fields;
}

std::string EscapeHtml(std::string_view text)
{
    std::string escaped;
    for (char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

std::string_view HostWithoutPort(std::string_view authority)
{
    const auto colon = authority.find(':', authority.starts_with('[') ? authority.find(']') : 0);
    if (colon == std::string_view::npos)
        return authority;
    const std::string_view port = authority.substr(colon + 1);
    const bool isNumber = !port.empty() && port.size() <= 5 &&
                          std::ranges::all_of(port, [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? authority.substr(0, colon) : std::string_view();
}

bool IsLoopbackHost(std::string_view host)
{
    return host == "127.0.0.1" || host == "localhost" || host == "[::1]";
}

bool IsLoopbackHttpAddress(std::string_view address)
{
    static constexpr std::string_view scheme = "http://";
    if (!address.starts_with(scheme))
        return false;
    // Blanks, quotes, control characters and a fragment have no place in a redirect address (RFC 6749 3.1.2).
    const auto isAllowed = [](char letter) {
        return letter > ' ' && letter < 0x7f &&
               std::string_view("\"<>#\\^`{|}").find(letter) == std::string_view::npos;
    };
    if (!std::ranges::all_of(address, isAllowed))
        return false;
    address.remove_prefix(scheme.size());
    const std::string_view authority = address.substr(0, address.find_first_of("/?"));
    return IsLoopbackHost(HostWithoutPort(authority));
}

} // namespace cloudsim
