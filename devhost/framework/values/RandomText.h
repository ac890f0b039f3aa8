#pragma once
// Texts that nobody can guess.

#include <string>

namespace devhost
{

/// 192 bits of the system's random source as 48 hexadecimal digits, which need no escape anywhere. Any
/// thread.
/// @throws std::system_error where the system has no such source.
std::string RandomText();

} // namespace devhost
