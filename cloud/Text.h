#pragma once
// Hands a string to a printf-like function.

#include "host/QXString.h"

// The characters of the string, for use as a "%s" argument: a string object itself must never travel through
// `...`. The pointer dies with the string, so call it inside the full expression that formats.
inline const char* Text(const CQXString& sText)
{
    return sText;
}
