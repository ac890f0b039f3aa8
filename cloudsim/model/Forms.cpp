// Decodes forms and addresses by Boost.URL and escapes texts for HTML; what the fields mean is left to the
// callers.
#include "cloudsim/model/Forms.h"

#include "cloudsim/model/Refusal.h"

#include <algorithm>
#include <boost/url/authority_view.hpp>
#include <boost/url/grammar/hexdig_chars.hpp>
#include <boost/url/url.hpp>

namespace cloudsim
{
namespace
{

namespace urls = boost::urls;

// The text with an escape for each percent sign that begins none: Boost.URL takes no other.
std::string EscapeLonePercents(std::string_view text)
{
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        escaped += text[i];
        const bool beginsEscape = text.size() - i > 2 && urls::grammar::hexdig_chars(text[i + 1]) &&
                                  urls::grammar::hexdig_chars(text[i + 2]);
        if (text[i] == '%' && !beginsEscape)
            escaped += "25";
    }
    return escaped;
}

} // namespace

FormFields ParseForm(std::string_view text)
{
    FormFields fields;
    if (text.empty())
        return fields;
    // A form may end with the sign that separates its fields, but not consist of it.
    if (text.size() > 1 && text.ends_with('&'))
        text.remove_suffix(1);
    urls::url form;
    form.set_encoded_query(EscapeLonePercents(text));
    const urls::encoding_opts plusStays(false); // else a plus sign would become a blank
    for (const urls::param& field : form.params(plusStays)) {
        if (!field.has_value)
            throw Refusal(400, "malformed_form", "a form field has no '='");
        if (!fields.emplace(field.key, field.value).second)
            throw Refusal(400, "duplicate_field", "form field '" + field.key.substr(0, 64) + "' comes twice");
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
    const auto parsed = urls::parse_authority(authority);
    // The grammar of addresses also knows users, and ports of no digit and of many.
    if (!parsed || parsed->has_userinfo() ||
        (parsed->has_port() && (parsed->port().empty() || parsed->port().size() > 5)))
        return {};
    return parsed->encoded_host();
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
