#pragma once
// Looking up host names without being held up by the resolver.

#include <boost/asio/ip/tcp.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace devhost
{

struct LookupResult {
    std::vector<boost::asio::ip::tcp::endpoint> endpoints; ///< empty when the look-up failed
    std::string failure;                                   ///< why, for people
};

/// The addresses of a host name, or of an address given as text. Waits at most until the deadline, and no
/// longer than a worker that is asked to stop has grace.
LookupResult LookUpName(const std::string& name, std::uint16_t port,
                        std::chrono::steady_clock::time_point deadline);

} // namespace devhost
