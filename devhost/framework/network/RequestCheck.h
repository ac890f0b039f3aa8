#pragma once
// What the host looks at in a request before its bytes go out.

#include <string_view>

namespace devhost
{

/// What is wrong with a request that the driver has put together, for people and without any part of it; null
/// when it may go out. Ids and tokens come from the cloud, and a line end in one would let it write header
/// lines of its own. So the head must be one request line, which ends in the version and is not looked at
/// otherwise, and header lines that a driver sends, each once at most and in this order: Accept,
/// Authorization, Host, Content-Length, Content-Type. An access token must be one of RFC 6750, section 2.1.
/// Nothing but line ends follows the body. Any thread.
const char* RequestFault(std::string_view request);

} // namespace devhost
