// Finds and hides secrets in JSON by nlohmann's parser; which names are secrets is the filter's business.

#include "devhost/framework/diagnostics/JsonSecrets.h"

#include "devhost/framework/diagnostics/SecretFilter.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace devhost
{

namespace
{

using Json = nlohmann::json;

// Tells how far the parser has read; its events do not.
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* pNext, const char** ppRead) : m_pNext(pNext), m_ppRead(ppRead) {}
    reference operator*() const { return *m_pNext; }
    CountingIterator& operator++()
    {
        *m_ppRead = ++m_pNext;
        return *this;
    }
    bool operator==(const CountingIterator& Other) const { return m_pNext == Other.m_pNext; }
    bool operator!=(const CountingIterator& Other) const { return m_pNext != Other.m_pNext; }

private:
    const char* m_pNext;
    const char** m_ppRead;
};

// Receives the parser's events, and copies the text piece by piece. The parser keeps its own stack off the
// thread's, so any depth is borne.
class SecretHider
{
public:
    SecretHider(std::string_view Text, const std::function<std::string(std::string_view)>& HideInString)
        : m_Text(Text), m_HideInString(HideInString), m_pRead(Text.data())
    {
    }

    JsonText Run()
    {
        const CountingIterator First(m_Text.data(), &m_pRead);
        const CountingIterator Last(m_Text.data() + m_Text.size(), &m_pRead);
        const bool bWhole = Json::sax_parse(First, Last, this, Json::input_format_t::json, false);
        if (!bWhole && m_iSecret != std::string_view::npos)
            Replace(m_iSecret, m_Text.size(), kHiddenSecret);
        else if (!bWhole && m_bSecretNext)
            HideRest();
        else if (!bWhole && m_iLast == m_String.iEnd)
            GoBack();
        m_Out += m_Text.substr(m_iCopied, m_iLast - m_iCopied);
        return {std::move(m_Out), m_iLast, bWhole};
    }

    bool null() { return TakeWord(); }
    bool boolean(bool) { return TakeWord(); }
    bool number_integer(Json::number_integer_t) { return TakeWord(); }
    bool number_unsigned(Json::number_unsigned_t) { return TakeWord(); }
    bool number_float(Json::number_float_t, const std::string&) { return TakeWord(); }
    bool binary(const Json::binary_t&) { return false; }
    bool string(const std::string& Value)
    {
        const std::size_t iStart = TokenStart();
        const std::size_t iEnd = Read();
        if (!m_bSecretNext)
            return TakeString(iStart, iEnd, Value);
        m_bSecretNext = false;
        if (!Value.empty())
            Replace(iStart + 1, iEnd - 1, kHiddenSecret);
        m_iLast = iEnd;
        return true;
    }
    bool key(const std::string& Key)
    {
        TakeString(TokenStart(), Read(), Key);
        m_bSecretNext = m_iSecret == std::string_view::npos && IsSecretName(Key);
        return true;
    }
    bool start_object(std::size_t) { return Open(); }
    bool start_array(std::size_t) { return Open(); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) { return false; }

private:
    std::size_t Read() const { return static_cast<std::size_t>(m_pRead - m_Text.data()); }

    // Between two events stand only blanks and separators.
    std::size_t TokenStart() const
    {
        return std::min(m_Text.find_first_not_of(" \t\r\n,:", m_iLast), m_Text.size());
    }

    void Replace(std::size_t iStart, std::size_t iEnd, std::string_view With)
    {
        m_Out.append(m_Text.substr(m_iCopied, iStart - m_iCopied)).append(With);
        m_iCopied = m_iLast = iEnd;
    }

    // What was taken for a string may be a secret's name in a text that is no JSON, so it is not used up.
    void GoBack()
    {
        m_iLast = m_String.iStart;
        m_iCopied = m_String.iCopied;
        m_Out.resize(m_String.nOut);
    }

    void HideRest()
    {
        std::size_t iStart = TokenStart();
        if (iStart < m_Text.size() && m_Text[iStart] == '"')
            ++iStart;
        if (iStart < m_Text.size())
            Replace(iStart, m_Text.size(), kHiddenSecret);
    }

    // A number or literal. The parser has read one byte more than a number has.
    bool TakeWord()
    {
        const std::size_t iStart = TokenStart();
        m_iLast = std::min(m_Text.find_first_not_of("+-.0123456789Eaeflnrstu", iStart), m_Text.size());
        if (m_bSecretNext)
            Replace(iStart, m_iLast, kHiddenSecret);
        m_bSecretNext = false;
        return true;
    }

    bool TakeString(std::size_t iStart, std::size_t iEnd, const std::string& Value)
    {
        m_iLast = iEnd;
        if (m_iSecret != std::string_view::npos)
            return true;
        m_String = {iStart, iEnd, m_iCopied, m_Out.size()};
        const std::string Shown = m_HideInString(Value);
        if (Shown != Value)
            Replace(iStart, iEnd, Json(Shown).dump(-1, ' ', false, Json::error_handler_t::replace));
        return true;
    }

    bool Open()
    {
        ++m_nDepth;
        m_iLast = Read();
        if (m_bSecretNext) {
            m_iSecret = m_iLast - 1;
            m_nSecretDepth = m_nDepth;
        }
        m_bSecretNext = false;
        return true;
    }

    bool Close()
    {
        m_iLast = Read();
        if (m_iSecret != std::string_view::npos && m_nDepth == m_nSecretDepth) {
            Replace(m_iSecret, m_iLast, kHiddenSecret);
            m_iSecret = std::string_view::npos;
        }
        --m_nDepth;
        return true;
    }

    // The last key or text that is no secret, and what the members were before it.
    struct String {
        std::size_t iStart, iEnd, iCopied, nOut;
    };

    std::string_view m_Text;
    const std::function<std::string(std::string_view)>& m_HideInString;
    const char* m_pRead;
    std::string m_Out;
    std::size_t m_iCopied = 0; // m_Out stands for the text up to here
    std::size_t m_iLast = 0;   // the end of the last event's part of the text
    String m_String{};
    bool m_bSecretNext = false;
    std::size_t m_iSecret = std::string_view::npos; // where the array or object starts that is one secret
    std::size_t m_nDepth = 0;
    std::size_t m_nSecretDepth = 0;
};

} // namespace

JsonText HideInJson(std::string_view Text, const std::function<std::string(std::string_view)>& HideInString)
{
    return SecretHider(Text, HideInString).Run();
}

} // namespace devhost
