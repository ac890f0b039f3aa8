#pragma once
// A text that a list is searched for.

#include "cloud/Text.h"

#include <cstddef>
#include <functional>
#include <string_view>

// Lists are searched for every entry of a reply, so their entries keep the hash of the texts that they are
// searched by: it tells most of them apart without a look at the text. Borrows the text.
class CWantedText
{
public:
    explicit CWantedText(const CQXString& sText) : m_sText(sText), m_uHash(Hash(sText)) {}

    static std::size_t Hash(const CQXString& sText)
    {
        return std::hash<std::string_view>()({Text(sText), static_cast<std::size_t>(sText.GetLength())});
    }
    bool Is(const CQXString& sOther, std::size_t uOtherHash) const
    {
        return uOtherHash == m_uHash && sOther.Compare(m_sText) == 0;
    }

private:
    const CQXString& m_sText;
    std::size_t m_uHash;
};
