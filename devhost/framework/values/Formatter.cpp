// Formats texts of any length for the host services; what becomes of a text is its caller's business.

#include "devhost/framework/values/Formatter.h"

#include <array>
#include <cstdio>

namespace devhost
{

std::string FormatText(const char* format, std::va_list arguments)
{
    if (!format)
        return {};
    // Most lines are short, so the first attempt formats into the stack and measures at the same time.
    std::array<char, 512> shortText;
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(shortText.data(), shortText.size(), format, arguments);
    std::string text;
    if (length >= 0 && static_cast<std::size_t>(length) < shortText.size()) {
        text.assign(shortText.data(), static_cast<std::size_t>(length));
    } else if (length >= 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

} // namespace devhost
