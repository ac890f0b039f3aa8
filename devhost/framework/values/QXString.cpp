// The framework's text value: changes, comparisons, masking and conversions. It never validates bytes.

#include "host/QXString.h"

#include "devhost/framework/values/Formatter.h"
#include "host/QXList.h"

#include <boost/nowide/convert.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace
{

constexpr const char* kHidden = "***";

char FoldAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// A copy of a text with its terminator in a buffer that std::free releases; null when memory has run out.
template <class Char>
Char* CopyToBuffer(const std::basic_string<Char>& Text)
{
    const std::size_t cb = (Text.size() + 1) * sizeof(Char);
    auto* pBuffer = static_cast<Char*>(std::malloc(cb));
    if (pBuffer)
        std::memcpy(pBuffer, Text.c_str(), cb);
    return pBuffer;
}

// Marks every occurrence, overlapping ones too, so that no part of a secret survives next to another one.
void MarkOccurrences(std::string_view Text, std::string_view Secret, std::vector<bool>& Marked)
{
    std::size_t iMarkedEnd = 0;
    for (std::size_t i = Text.find(Secret); i != std::string_view::npos; i = Text.find(Secret, i + 1)) {
        for (std::size_t j = std::max(i, iMarkedEnd); j < i + Secret.size(); ++j)
            Marked[j] = true;
        iMarkedEnd = i + Secret.size();
    }
}

} // namespace

CQXString::CQXString(const char* pText) : m_Text(pText ? pText : "") {}

CQXString::CQXString(const wchar_t* pText) : m_Text(pText ? boost::nowide::narrow(pText) : std::string()) {}

CQXString& CQXString::operator=(const char* pText)
{
    // The text may lie inside this string, which std::string::assign bears.
    m_Text.assign(pText ? pText : "");
    return *this;
}

CQXString& CQXString::operator+=(const char* pText)
{
    if (pText)
        m_Text.append(pText);
    return *this;
}

CQXString& CQXString::operator+=(const CQXString& sText)
{
    m_Text.append(sText.m_Text);
    return *this;
}

void CQXString::Format(const char* pFormat, ...)
{
    std::va_list Arguments;
    va_start(Arguments, pFormat);
    std::string Text = devhost::FormatText(pFormat, Arguments);
    va_end(Arguments);
    m_Text = std::move(Text);
}

int CQXString::Compare(const char* pOther) const
{
    return m_Text.compare(pOther ? pOther : "");
}

int CQXString::CompareNoCase(const char* pOther) const
{
    const std::string_view Other(pOther ? pOther : "");
    const std::size_t cbCommon = std::min(m_Text.size(), Other.size());
    for (std::size_t i = 0; i < cbCommon; ++i) {
        const int iDifference = static_cast<unsigned char>(FoldAscii(m_Text[i])) -
                                static_cast<unsigned char>(FoldAscii(Other[i]));
        if (iDifference != 0)
            return iDifference;
    }
    return m_Text.size() == Other.size() ? 0 : m_Text.size() < Other.size() ? -1 : 1;
}

void CQXString::TrimRight(const char* pChars)
{
    // Values from the cloud rarely have anything to trim, so the common case is one look at the last byte.
    const std::string_view Chars(pChars ? pChars : "");
    std::size_t cb = m_Text.size();
    while (cb > 0 && std::find(Chars.begin(), Chars.end(), m_Text[cb - 1]) != Chars.end())
        --cb;
    m_Text.resize(cb);
}

CQXString CQXString::IntegerToString(int iValue)
{
    return std::to_string(iValue).c_str();
}

CQXString CQXString::Obfuscate(CQXString* pText, CQXObList* pSecrets)
{
    if (!pText)
        return {};
    if (!pSecrets)
        return kHidden;
    const std::string& Text = pText->m_Text;
    std::vector<bool> Marked(Text.size(), false);
    for (CQXPos* pPos = pSecrets->GetHeadPosition(); pPos;) {
        const auto* pSecret = static_cast<const CQXString*>(pSecrets->GetNext(pPos));
        if (pSecret && !pSecret->m_Text.empty())
            MarkOccurrences(Text, pSecret->m_Text, Marked);
    }
    CQXString sResult;
    for (std::size_t i = 0; i < Text.size(); ++i) {
        if (!Marked[i])
            sResult.m_Text += Text[i];
        else if (i == 0 || !Marked[i - 1])
            sResult.m_Text += kHidden;
    }
    return sResult;
}

char* CQXString::ConvertTochar(const wchar_t* pText)
{
    return pText ? CopyToBuffer(boost::nowide::narrow(pText)) : nullptr;
}

wchar_t* CQXString::ConvertTowchar_t(const char* pText)
{
    return pText ? CopyToBuffer(boost::nowide::widen(pText)) : nullptr;
}

char* CQXString::DetachOwnership()
{
    char* pBuffer = CopyToBuffer(m_Text);
    m_Text.clear();
    return pBuffer;
}

void CQXString::Free(void* pBuffer)
{
    std::free(pBuffer);
}
