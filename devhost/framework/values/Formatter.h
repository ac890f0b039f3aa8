#pragma once
// The one printf-style formatter behind every formatting service of the host.

#include <cstdarg>
#include <string>

namespace devhost
{

/// Formats like vprintf, whatever the length of the result. A null format, and one that the C library
/// refuses, give the empty text; a null argument of %s reads "(null)". The caller vouches that the arguments
/// fit the format. Any thread.
std::string FormatText(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

} // namespace devhost
