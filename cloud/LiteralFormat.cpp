// Expands a format that has no arguments; the result is a finished text and goes nowhere as a format.

#include "cloud/LiteralFormat.h"

#include "cloud/Text.h"

#include <string>

CQXString LiteralFormat(const CQXString& sFormat)
{
    std::string sResult;
    for (const char* p = Text(sFormat); *p; ++p) {
        sResult += *p;
        if (p[0] == '%' && p[1] == '%')
            ++p;
    }
    return sResult.c_str();
}
