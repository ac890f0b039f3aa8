#pragma once

#include <map>
#include <string>
#include <string_view>

namespace cloudsim
{

// Name/value pairs of a query or a form body.
using FormFields = std::map<std::string, std::string, std::less<>>;

// Splits "a=1&b=2" and decodes names and values. Percent signs that begin no escape and plus signs stay:
// controllers insert their values as they are, so both may be part of a value. Throws Refusal (400) for a
// part without "=" and for a name that comes twice.
FormFields ParseForm(std::string_view text);

// Escapes a text for use in HTML content and quoted attribute values.
std::string EscapeHtml(std::string_view text);

// The host of "host" or "host:port"; an IPv6 address keeps its brackets. Empty for any other text, and for a
// port that is no number of up to five digits.
std::string_view HostWithoutPort(std::string_view authority);

// True for 127.0.0.1, [::1] and localhost.
bool IsLoopbackHost(std::string_view host);

// True for an http address without user part and fragment whose host is a loopback one, with any port and
// path.
bool IsLoopbackHttpAddress(std::string_view address);

} // namespace cloudsim
