#pragma once
// Numbers out of texts that come from outside.

#include <cstdlib>

// The decimal number at the beginning of the text, after white space, with its sign; 0 when there is none.
// What is beyond 64 bits counts as the nearest number within them, and of that the low 32 bits are taken:
// what the C library's atoi gives in practice, without the undefined behaviour that the standard leaves it
// for large numbers.
inline int IntegerOf(const char* pText)
{
    return static_cast<int>(std::strtoll(pText, nullptr, 10));
}
