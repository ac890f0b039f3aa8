// Asks the system for random bytes and writes them as a text.

#include "devhost/framework/values/RandomText.h"

#include <boost/algorithm/hex.hpp>

#include <array>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <unistd.h>

namespace devhost
{

std::string RandomText()
{
    std::array<unsigned char, 24> bytes = {};
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "no random bytes");
    std::string text;
    boost::algorithm::hex_lower(bytes, std::back_inserter(text));
    return text;
}

} // namespace devhost
