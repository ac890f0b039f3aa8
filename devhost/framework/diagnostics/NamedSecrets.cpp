// Finds secrets by the names before them, in JSON, forms, header fields and free text.

#include "devhost/framework/diagnostics/NamedSecrets.h"

#include "devhost/framework/diagnostics/JsonSecrets.h"
#include "devhost/framework/diagnostics/SecretFilter.h"

#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace devhost
{

namespace
{

// JSON inside the strings of JSON is parsed this deep. Below that it is read like free text, which hides
// more.
constexpr int kMaxNesting = 4;
constexpr std::size_t kLongestName = 32;
constexpr char kOther = '\x7F'; // stands for an encoded byte that is of no interest here

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// One character, however it is written.
struct Unit {
    char c;
    std::size_t byteCount;
};

// The ASCII character that so many hexadecimal digits stand for, kOther for any other; nothing when there are
// not so many.
std::optional<char> FromHex(std::string_view digits, std::size_t digitCount)
{
    unsigned value = 0;
    const char* end = digits.data() + digits.size();
    const auto [read, error] = std::from_chars(digits.data(), end, value, 16);
    if (error != std::errc() || read != end || digits.size() != digitCount)
        return {};
    return value < 0x80 ? static_cast<char>(value) : kOther;
}

class Scanner
{
public:
    Scanner(std::string_view text, const KnownSecrets& known, int nesting)
        : m_text(text), m_known(known), m_nesting(nesting)
    {
    }

    std::string Run()
    {
        while (m_i < m_text.size()) {
            if (m_text[m_i] == '[')
                m_bracketSeen = true;
            if (m_nesting < kMaxNesting && IsJsonStart())
                CopyJson();
            else if (const Word name = ReadWord(); name.end != m_i)
                TakeWord(name.text, name.end);
            else
                CopyUnit();
        }
        return std::move(m_out);
    }

private:
    struct Word {
        std::string text; // cut when it is too long for a name
        std::size_t end;
    };

    // Whether JSON may begin here; a look at the next character spares many attempts to read it.
    bool IsJsonStart() const
    {
        const char c = m_text[m_i];
        if (c != '{' && c != '[')
            return false;
        const std::size_t next = m_text.find_first_not_of(" \t\r\n", m_i + 1);
        return next != std::string_view::npos &&
               std::string_view(c == '{' ? "\"}" : "\"{}[]-0123456789tfn").find(m_text[next]) !=
                   std::string_view::npos;
    }

    // A percent sign that was itself encoded, and any number of backslashes, count as one.
    Unit UnitAt(std::size_t i) const
    {
        if (i >= m_text.size())
            return {'\0', 0};
        const char c = m_text[i];
        if (c == '%') {
            std::size_t hex = i + 1;
            while (m_text.compare(hex, 2, "25") == 0)
                hex += 2;
            if (const auto decoded = FromHex(m_text.substr(hex, 2), 2))
                return {*decoded, hex + 2 - i};
            return {'%', hex - i};
        }
        if (c != '\\')
            return {c, 1};
        const std::size_t letterIndex = std::min(m_text.find_first_not_of('\\', i), m_text.size());
        if (letterIndex == m_text.size())
            return {c, letterIndex - i};
        switch (const char letter = m_text[letterIndex]) {
        case 'u':
            if (const auto decoded = FromHex(m_text.substr(letterIndex + 1, 4), 4))
                return {*decoded, letterIndex + 5 - i};
            return {c, letterIndex - i};
        case 'b':
        case 'f':
            return {kOther, letterIndex + 1 - i};
        case 'n':
        case 'r':
        case 't':
            return {letter == 't' ? '\t' : '\n', letterIndex + 1 - i};
        case '"':
        case '\'':
        case '/':
            return {letter, letterIndex + 1 - i};
        default:
            return {c, letterIndex - i};
        }
    }

    Word ReadWord() const
    {
        Word result{{}, m_i};
        for (Unit next = UnitAt(m_i); IsWordByte(next.c); next = UnitAt(result.end)) {
            if (result.text.size() <= kLongestName)
                result.text += next.c;
            result.end += next.byteCount;
        }
        return result;
    }

    void Copy(std::size_t end)
    {
        m_out += m_text.substr(m_i, end - m_i);
        m_i = end;
    }

    void HideUpTo(std::size_t end)
    {
        if (end == m_i)
            return;
        m_out += kHiddenSecret;
        m_i = end;
    }

    void CopyUnit()
    {
        const std::size_t end = m_i + UnitAt(m_i).byteCount;
        m_escaped = m_text[m_i] == '\\' && IsWordByte(m_text[end - 1]);
        Copy(end);
    }

    void CopyJson()
    {
        const JsonText json = HideInJson(m_text.substr(m_i), [this](std::string_view string) {
            return m_known.Hide(Scanner(string, m_known, m_nesting + 1).Run());
        });
        m_out += json.shown;
        m_i += json.end;
    }

    void TakeWord(const std::string& name, std::size_t end)
    {
        // Behind a backslash the letter before may have been an escape, or the first one of the name.
        const bool secret = IsSecretName(name) || (m_escaped && IsSecretName(m_text[m_i - 1] + name));
        m_escaped = false;
        Copy(end);
        if (boost::beast::iequals(name, "bearer"))
            HideBearerToken();
        else if (secret)
            HideValue(boost::beast::iequals(name, "authorization"));
    }

    // Behind units of these characters.
    template <typename IsWanted>
    std::size_t Skip(std::size_t i, IsWanted wanted) const
    {
        for (Unit next = UnitAt(i); next.byteCount > 0 && wanted(next.c); next = UnitAt(i))
            i += next.byteCount;
        return i;
    }

    std::size_t EndAt(const char* chars) const
    {
        return std::min(m_text.find_first_of(chars, m_i), m_text.size());
    }

    void HideBearerToken()
    {
        const std::size_t tokenStart = Skip(m_i, [](char c) { return IsBlank(c) || c == '+'; });
        if (tokenStart == m_i)
            return;
        Copy(tokenStart);
        HideUpTo(EndAt(" \t\r\n\\\"']"));
    }

    void HideValue(bool authorization)
    {
        // What closes a name in quotes or brackets, as in user[pin].
        const auto closes = [](char c) {
            return IsBlank(c) || c == '"' || c == '\'' || c == ']' || c == '}' || c == ')';
        };
        const Unit separator = UnitAt(Skip(m_i, closes));
        if (separator.c != '=' && separator.c != ':')
            return;
        Copy(Skip(m_i, closes) + separator.byteCount);
        Copy(Skip(m_i, IsBlank));
        const Unit first = UnitAt(m_i);
        if (separator.c == '=' || m_text.substr(m_i, 1) == "%")
            HideUpTo(EndOfField());
        else if (first.c == '"' || first.c == '\'')
            HideQuoted(first);
        else if (first.c == '{' || first.c == '[')
            HideArrayOrObject();
        else if (authorization)
            HideCredentials();
        else
            HideUpTo(EndAt("&,]}\r\n"));
    }

    // Where the value of a form field ends. Forms are written without encoding too, so any character but the
    // separator may stand in it. What follows the target of a request is not part of it, and neither is the
    // bracket in which lines put a whole form.
    std::size_t EndOfField() const
    {
        constexpr std::string_view kVersion = " HTTP/1.1";
        const std::size_t end = EndAt("&\r\n");
        if (end - m_i > kVersion.size() && m_text.substr(end - kVersion.size()).starts_with(" HTTP/"))
            return end - kVersion.size();
        return EndInBracket(end);
    }

    std::size_t EndInBracket(std::size_t end) const
    {
        const bool closed = m_bracketSeen && end == m_text.size() && end > m_i && m_text.back() == ']';
        return closed ? end - 1 : end;
    }

    // The closing quotation mark has as many backslashes as the opening one, or less.
    void HideQuoted(const Unit& opening)
    {
        Copy(m_i + opening.byteCount);
        std::size_t backslashCount = 0;
        for (std::size_t i = m_i; i < m_text.size(); ++i) {
            if (m_text[i] == opening.c && backslashCount < opening.byteCount)
                return HideUpTo(i - backslashCount);
            backslashCount = m_text[i] == '\\' ? backslashCount + 1 : 0;
        }
        HideUpTo(m_text.size());
    }

    // Shows the scheme (RFC 9110, section 11.4) when there is one. A line that begins with a blank belongs to
    // the field before it (RFC 9112, section 5.2).
    void HideCredentials()
    {
        std::size_t end = EndAt("\r\n");
        for (;;) {
            const std::size_t next = m_text.find_first_not_of("\r\n", end);
            if (next == std::string_view::npos || (m_text[next] != ' ' && m_text[next] != '\t'))
                break;
            end = std::min(m_text.find_first_of("\r\n", next), m_text.size());
        }
        end = EndInBracket(end);
        std::size_t scheme = m_i;
        while (scheme < end && (IsWordByte(m_text[scheme]) || m_text[scheme] == '-'))
            ++scheme;
        const std::size_t behind = std::min(m_text.find_first_not_of(" \t", scheme), end);
        if (behind > scheme && behind < end)
            Copy(behind);
        HideUpTo(end);
    }

    // The whole rest when it cannot be told where the value ends.
    void HideArrayOrObject()
    {
        const JsonText json =
            HideInJson(m_text.substr(m_i), [](std::string_view string) { return std::string(string); });
        HideUpTo(json.whole ? m_i + json.end : m_text.size());
    }

    std::string_view m_text;
    const KnownSecrets& m_known;
    int m_nesting;
    std::size_t m_i = 0;
    bool m_bracketSeen = false;
    bool m_escaped = false; // the unit before was an escape that ends in a letter
    std::string m_out;
};

} // namespace

std::string HideNamedSecrets(std::string_view text, const KnownSecrets& known)
{
    return Scanner(text, known, 0).Run();
}

} // namespace devhost
