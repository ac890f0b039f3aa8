// The framework's text value: changes, comparisons, masking and conversions. It never validates bytes.

#include "host/QXString.h"

#include "devhost/framework/values/Formatter.h"
#include "host/QXList.h"

#include <boost/nowide/convert.hpp>
#include <boost/url/grammar/ci_string.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace
{

constexpr const char* kHidden = "***";

// A copy of a text with its terminator in a buffer that std::free releases; null when memory has run out.
template <class Char>
Char* CopyToBuffer(const std::basic_string<Char>& text)
{
    const std::size_t size = (text.size() + 1) * sizeof(Char);
    auto* buffer = static_cast<Char*>(std::malloc(size));
    if (buffer)
        std::memcpy(buffer, text.c_str(), size);
    return buffer;
}

// Marks every occurrence, overlapping ones too, so that no part of a secret survives next to another one.
void MarkOccurrences(std::string_view text, std::string_view secret, std::vector<bool>& marked)
{
    std::size_t markedEnd = 0;
    for (std::size_t i = text.find(secret); i != std::string_view::npos; i = text.find(secret, i + 1)) {
        for (std::size_t j = std::max(i, markedEnd); j < i + secret.size(); ++j)
            marked[j] = true;
        markedEnd = i + secret.size();
    }
}

} // namespace

CQXString::CQXString(const char* text) : m_Text(text ? text : "") {}

CQXString::CQXString(const wchar_t* text) : m_Text(text ? boost::nowide::narrow(text) : std::string()) {}

CQXString& CQXString::operator=(const char* text)
{
    // The text may lie inside this string, which std::string::assign bears.
    m_Text.assign(text ? text : "");
    return *this;
}

CQXString& CQXString::operator+=(const char* text)
{
    if (text)
        m_Text.append(text);
    return *this;
}

CQXString& CQXString::operator+=(const CQXString& text)
{
    m_Text.append(text.m_Text);
    return *this;
}

void CQXString::Format(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = devhost::FormatText(format, arguments);
    va_end(arguments);
    m_Text = std::move(text);
}

int CQXString::Compare(const char* other) const
{
    return m_Text.compare(other ? other : "");
}

int CQXString::CompareNoCase(const char* other) const
{
    const std::string_view text(other ? other : "");
    const std::size_t commonSize = std::min(m_Text.size(), text.size());
    for (std::size_t i = 0; i < commonSize; ++i) {
        const int difference = static_cast<unsigned char>(boost::urls::grammar::to_lower(m_Text[i])) -
                               static_cast<unsigned char>(boost::urls::grammar::to_lower(text[i]));
        if (difference != 0)
            return difference;
    }
    return m_Text.size() == text.size() ? 0 : m_Text.size() < text.size() ? -1 : 1;
}

void CQXString::TrimRight(const char* chars)
{
    // Values from the cloud rarely have anything to trim, so the common case is one look at the last byte.
    const std::string_view trimmed(chars ? chars : "");
    std::size_t size = m_Text.size();
    while (size > 0 && std::find(trimmed.begin(), trimmed.end(), m_Text[size - 1]) != trimmed.end())
        --size;
    m_Text.resize(size);
}

CQXString CQXString::IntegerToString(int value)
{
    return std::to_string(value).c_str();
}

CQXString CQXString::Obfuscate(CQXString* text, CQXObList* secrets)
{
    if (!text)
        return {};
    if (!secrets)
        return kHidden;
    const std::string& clear = text->m_Text;
    std::vector<bool> marked(clear.size(), false);
    for (CQXPos* pos = secrets->GetHeadPosition(); pos;) {
        const auto* secret = static_cast<const CQXString*>(secrets->GetNext(pos));
        if (secret && !secret->m_Text.empty())
            MarkOccurrences(clear, secret->m_Text, marked);
    }
    CQXString result;
    for (std::size_t i = 0; i < clear.size(); ++i) {
        if (!marked[i])
            result.m_Text += clear[i];
        else if (i == 0 || !marked[i - 1])
            result.m_Text += kHidden;
    }
    return result;
}

char* CQXString::ConvertTochar(const wchar_t* text)
{
    return text ? CopyToBuffer(boost::nowide::narrow(text)) : nullptr;
}

wchar_t* CQXString::ConvertTowchar_t(const char* text)
{
    return text ? CopyToBuffer(boost::nowide::widen(text)) : nullptr;
}

char* CQXString::DetachOwnership()
{
    char* buffer = CopyToBuffer(m_Text);
    m_Text.clear();
    return buffer;
}

void CQXString::Free(void* buffer)
{
    std::free(buffer);
}
