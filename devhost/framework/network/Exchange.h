#pragma once
// What an exchange with the cloud was, and what it came to.

#include <string_view>

namespace devhost
{

/// One exchange of a driver's worker, as its bytes had it; views that are good during the call that hands it
/// over. Bodies hold secrets.
struct Exchange {
    unsigned account = 0;     ///< whose worker it was
    std::string_view method;  ///< empty when there was no connection, so that nothing could be sent
    std::string_view path;    ///< without its query
    std::string_view body;    ///< of the request
    int status = 0;           ///< 100 to 599; 0: no reply
    std::string_view failure; ///< for people, when there was no reply
    std::string_view reply;   ///< the body of the reply, decoded
};

} // namespace devhost
