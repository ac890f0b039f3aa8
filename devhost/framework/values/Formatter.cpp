// Formats texts of any length for the host services; what becomes of a text is its caller's business.

#include "devhost/framework/values/Formatter.h"

#include <array>
#include <cstdio>

namespace devhost
{

std::string FormatText(const char* pFormat, std::va_list Arguments)
{
    if (!pFormat)
        return {};
    // Most lines are short, so the first attempt formats into the stack and measures at the same time.
    std::array<char, 512> Short;
    std::va_list Again;
    va_copy(Again, Arguments);
    const int iLength = std::vsnprintf(Short.data(), Short.size(), pFormat, Arguments);
    std::string Text;
    if (iLength >= 0 && static_cast<std::size_t>(iLength) < Short.size()) {
        Text.assign(Short.data(), static_cast<std::size_t>(iLength));
    } else if (iLength >= 0) {
        Text.resize(static_cast<std::size_t>(iLength));
        std::vsnprintf(Text.data(), Text.size() + 1, pFormat, Again);
    }
    va_end(Again);
    return Text;
}

} // namespace devhost
