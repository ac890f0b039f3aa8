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

    CountingIterator(const char* next, const char** ppRead) : m_next(next), m_ppRead(ppRead) {}
    reference operator*() const { return *m_next; }
    CountingIterator& operator++()
    {
        *m_ppRead = ++m_next;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return m_next == other.m_next; }
    bool operator!=(const CountingIterator& other) const { return m_next != other.m_next; }

private:
    const char* m_next;
    const char** m_ppRead;
};

// Receives the parser's events, and copies the text piece by piece. The parser keeps its own stack off the
// thread's, so any depth is borne.
class SecretHider
{
public:
    SecretHider(std::string_view text, const std::function<std::string(std::string_view)>& hideInString)
        : m_text(text), m_hideInString(hideInString), m_read(text.data())
    {
    }

    JsonText Run()
    {
        const CountingIterator first(m_text.data(), &m_read);
        const CountingIterator last(m_text.data() + m_text.size(), &m_read);
        const bool whole = Json::sax_parse(first, last, this, Json::input_format_t::json, false);
        if (!whole && m_secretStart != std::string_view::npos)
            Replace(m_secretStart, m_text.size(), kHiddenSecret);
        else if (!whole && m_secretNext)
            HideRest();
        else if (!whole && m_lastEnd == m_string.end)
            GoBack();
        m_out += m_text.substr(m_copiedEnd, m_lastEnd - m_copiedEnd);
        return {std::move(m_out), m_lastEnd, whole};
    }

    bool null() { return TakeWord(); }
    bool boolean(bool) { return TakeWord(); }
    bool number_integer(Json::number_integer_t) { return TakeWord(); }
    bool number_unsigned(Json::number_unsigned_t) { return TakeWord(); }
    bool number_float(Json::number_float_t, const std::string&) { return TakeWord(); }
    bool binary(const Json::binary_t&) { return false; }
    bool string(const std::string& value)
    {
        const std::size_t start = TokenStart();
        const std::size_t end = Read();
        if (!m_secretNext)
            return TakeString(start, end, value);
        m_secretNext = false;
        if (!value.empty())
            Replace(start + 1, end - 1, kHiddenSecret);
        m_lastEnd = end;
        return true;
    }
    bool key(const std::string& key)
    {
        TakeString(TokenStart(), Read(), key);
        m_secretNext = m_secretStart == std::string_view::npos && IsSecretName(key);
        return true;
    }
    bool start_object(std::size_t) { return Open(); }
    bool start_array(std::size_t) { return Open(); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) { return false; }

private:
    std::size_t Read() const { return static_cast<std::size_t>(m_read - m_text.data()); }

    // Between two events stand only blanks and separators.
    std::size_t TokenStart() const
    {
        return std::min(m_text.find_first_not_of(" \t\r\n,:", m_lastEnd), m_text.size());
    }

    void Replace(std::size_t start, std::size_t end, std::string_view with)
    {
        m_out.append(m_text.substr(m_copiedEnd, start - m_copiedEnd)).append(with);
        m_copiedEnd = m_lastEnd = end;
    }

    // What was taken for a string may be a secret's name in a text that is no JSON, so it is not used up.
    void GoBack()
    {
        m_lastEnd = m_string.start;
        m_copiedEnd = m_string.copiedEnd;
        m_out.resize(m_string.out);
    }

    void HideRest()
    {
        std::size_t start = TokenStart();
        if (start < m_text.size() && m_text[start] == '"')
            ++start;
        if (start < m_text.size())
            Replace(start, m_text.size(), kHiddenSecret);
    }

    // A number or literal. The parser has read one byte more than a number has.
    bool TakeWord()
    {
        const std::size_t start = TokenStart();
        m_lastEnd = std::min(m_text.find_first_not_of("+-.0123456789Eaeflnrstu", start), m_text.size());
        if (m_secretNext)
            Replace(start, m_lastEnd, kHiddenSecret);
        m_secretNext = false;
        return true;
    }

    bool TakeString(std::size_t start, std::size_t end, const std::string& value)
    {
        m_lastEnd = end;
        if (m_secretStart != std::string_view::npos)
            return true;
        m_string = {start, end, m_copiedEnd, m_out.size()};
        const std::string shown = m_hideInString(value);
        if (shown != value)
            Replace(start, end, Json(shown).dump(-1, ' ', false, Json::error_handler_t::replace));
        return true;
    }

    bool Open()
    {
        ++m_depth;
        m_lastEnd = Read();
        if (m_secretNext) {
            m_secretStart = m_lastEnd - 1;
            m_secretDepth = m_depth;
        }
        m_secretNext = false;
        return true;
    }

    bool Close()
    {
        m_lastEnd = Read();
        if (m_secretStart != std::string_view::npos && m_depth == m_secretDepth) {
            Replace(m_secretStart, m_lastEnd, kHiddenSecret);
            m_secretStart = std::string_view::npos;
        }
        --m_depth;
        return true;
    }

    // The last key or text that is no secret, and what the members were before it.
    struct String {
        std::size_t start, end, copiedEnd, out;
    };

    std::string_view m_text;
    const std::function<std::string(std::string_view)>& m_hideInString;
    const char* m_read;
    std::string m_out;
    std::size_t m_copiedEnd = 0; // m_out stands for the text up to here
    std::size_t m_lastEnd = 0;   // the end of the last event's part of the text
    String m_string{};
    bool m_secretNext = false;
    std::size_t m_secretStart = std::string_view::npos; // where the array or object starts that is one secret
    std::size_t m_depth = 0;
    std::size_t m_secretDepth = 0;
};

} // namespace

JsonText HideInJson(std::string_view text, const std::function<std::string(std::string_view)>& hideInString)
{
    return SecretHider(text, hideInString).Run();
}

} // namespace devhost
