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
    std::size_t nBytes;
};

// The ASCII character that so many hexadecimal digits stand for, kOther for any other; nothing when there are
// not so many.
std::optional<char> FromHex(std::string_view Digits, std::size_t nDigits)
{
    unsigned uValue = 0;
    const char* pEnd = Digits.data() + Digits.size();
    const auto [pRead, Error] = std::from_chars(Digits.data(), pEnd, uValue, 16);
    if (Error != std::errc() || pRead != pEnd || Digits.size() != nDigits)
        return {};
    return uValue < 0x80 ? static_cast<char>(uValue) : kOther;
}

class Scanner
{
public:
    Scanner(std::string_view Text, const KnownSecrets& Known, int nNesting)
        : m_Text(Text), m_Known(Known), m_nNesting(nNesting)
    {
    }

    std::string Run()
    {
        while (m_i < m_Text.size()) {
            if (m_Text[m_i] == '[')
                m_bBracketSeen = true;
            if (m_nNesting < kMaxNesting && IsJsonStart())
                CopyJson();
            else if (const Word Name = ReadWord(); Name.iEnd != m_i)
                TakeWord(Name.Text, Name.iEnd);
            else
                CopyUnit();
        }
        return std::move(m_Out);
    }

private:
    struct Word {
        std::string Text; // cut when it is too long for a name
        std::size_t iEnd;
    };

    // Whether JSON may begin here; a look at the next character spares many attempts to read it.
    bool IsJsonStart() const
    {
        const char c = m_Text[m_i];
        if (c != '{' && c != '[')
            return false;
        const std::size_t iNext = m_Text.find_first_not_of(" \t\r\n", m_i + 1);
        return iNext != std::string_view::npos &&
               std::string_view(c == '{' ? "\"}" : "\"{}[]-0123456789tfn").find(m_Text[iNext]) !=
                   std::string_view::npos;
    }

    // A percent sign that was itself encoded, and any number of backslashes, count as one.
    Unit UnitAt(std::size_t i) const
    {
        if (i >= m_Text.size())
            return {'\0', 0};
        const char c = m_Text[i];
        if (c == '%') {
            std::size_t iHex = i + 1;
            while (m_Text.compare(iHex, 2, "25") == 0)
                iHex += 2;
            if (const auto Decoded = FromHex(m_Text.substr(iHex, 2), 2))
                return {*Decoded, iHex + 2 - i};
            return {'%', iHex - i};
        }
        if (c != '\\')
            return {c, 1};
        const std::size_t iLetter = std::min(m_Text.find_first_not_of('\\', i), m_Text.size());
        if (iLetter == m_Text.size())
            return {c, iLetter - i};
        switch (const char Letter = m_Text[iLetter]) {
        case 'u':
            if (const auto Decoded = FromHex(m_Text.substr(iLetter + 1, 4), 4))
                return {*Decoded, iLetter + 5 - i};
            return {c, iLetter - i};
        case 'b':
        case 'f':
            return {kOther, iLetter + 1 - i};
        case 'n':
        case 'r':
        case 't':
            return {Letter == 't' ? '\t' : '\n', iLetter + 1 - i};
        case '"':
        case '\'':
        case '/':
            return {Letter, iLetter + 1 - i};
        default:
            return {c, iLetter - i};
        }
    }

    Word ReadWord() const
    {
        Word Result{{}, m_i};
        for (Unit Next = UnitAt(m_i); IsWordByte(Next.c); Next = UnitAt(Result.iEnd)) {
            if (Result.Text.size() <= kLongestName)
                Result.Text += Next.c;
            Result.iEnd += Next.nBytes;
        }
        return Result;
    }

    void Copy(std::size_t iEnd)
    {
        m_Out += m_Text.substr(m_i, iEnd - m_i);
        m_i = iEnd;
    }

    void HideUpTo(std::size_t iEnd)
    {
        if (iEnd == m_i)
            return;
        m_Out += kHiddenSecret;
        m_i = iEnd;
    }

    void CopyUnit()
    {
        const std::size_t iEnd = m_i + UnitAt(m_i).nBytes;
        m_bEscaped = m_Text[m_i] == '\\' && IsWordByte(m_Text[iEnd - 1]);
        Copy(iEnd);
    }

    void CopyJson()
    {
        const JsonText Json = HideInJson(m_Text.substr(m_i), [this](std::string_view String) {
            return m_Known.Hide(Scanner(String, m_Known, m_nNesting + 1).Run());
        });
        m_Out += Json.Shown;
        m_i += Json.iEnd;
    }

    void TakeWord(const std::string& Name, std::size_t iEnd)
    {
        // Behind a backslash the letter before may have been an escape, or the first one of the name.
        const bool bSecret = IsSecretName(Name) || (m_bEscaped && IsSecretName(m_Text[m_i - 1] + Name));
        m_bEscaped = false;
        Copy(iEnd);
        if (boost::beast::iequals(Name, "bearer"))
            HideBearerToken();
        else if (bSecret)
            HideValue(boost::beast::iequals(Name, "authorization"));
    }

    // Behind units of these characters.
    template <typename IsWanted>
    std::size_t Skip(std::size_t i, IsWanted Wanted) const
    {
        for (Unit Next = UnitAt(i); Next.nBytes > 0 && Wanted(Next.c); Next = UnitAt(i))
            i += Next.nBytes;
        return i;
    }

    std::size_t EndAt(const char* pChars) const
    {
        return std::min(m_Text.find_first_of(pChars, m_i), m_Text.size());
    }

    void HideBearerToken()
    {
        const std::size_t iToken = Skip(m_i, [](char c) { return IsBlank(c) || c == '+'; });
        if (iToken == m_i)
            return;
        Copy(iToken);
        HideUpTo(EndAt(" \t\r\n\\\"']"));
    }

    void HideValue(bool bAuthorization)
    {
        // What closes a name in quotes or brackets, as in user[pin].
        const auto Closes = [](char c) {
            return IsBlank(c) || c == '"' || c == '\'' || c == ']' || c == '}' || c == ')';
        };
        const Unit Separator = UnitAt(Skip(m_i, Closes));
        if (Separator.c != '=' && Separator.c != ':')
            return;
        Copy(Skip(m_i, Closes) + Separator.nBytes);
        Copy(Skip(m_i, IsBlank));
        const Unit First = UnitAt(m_i);
        if (Separator.c == '=' || m_Text.substr(m_i, 1) == "%")
            HideUpTo(EndOfField());
        else if (First.c == '"' || First.c == '\'')
            HideQuoted(First);
        else if (First.c == '{' || First.c == '[')
            HideArrayOrObject();
        else if (bAuthorization)
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
        const std::size_t iEnd = EndAt("&\r\n");
        if (iEnd - m_i > kVersion.size() && m_Text.substr(iEnd - kVersion.size()).starts_with(" HTTP/"))
            return iEnd - kVersion.size();
        return EndInBracket(iEnd);
    }

    std::size_t EndInBracket(std::size_t iEnd) const
    {
        const bool bClosed = m_bBracketSeen && iEnd == m_Text.size() && iEnd > m_i && m_Text.back() == ']';
        return bClosed ? iEnd - 1 : iEnd;
    }

    // The closing quotation mark has as many backslashes as the opening one, or less.
    void HideQuoted(const Unit& Opening)
    {
        Copy(m_i + Opening.nBytes);
        std::size_t nBackslashes = 0;
        for (std::size_t i = m_i; i < m_Text.size(); ++i) {
            if (m_Text[i] == Opening.c && nBackslashes < Opening.nBytes)
                return HideUpTo(i - nBackslashes);
            nBackslashes = m_Text[i] == '\\' ? nBackslashes + 1 : 0;
        }
        HideUpTo(m_Text.size());
    }

    // Shows the scheme (RFC 9110, section 11.4) when there is one. A line that begins with a blank belongs to
    // the field before it (RFC 9112, section 5.2).
    void HideCredentials()
    {
        std::size_t iEnd = EndAt("\r\n");
        for (;;) {
            const std::size_t iNext = m_Text.find_first_not_of("\r\n", iEnd);
            if (iNext == std::string_view::npos || (m_Text[iNext] != ' ' && m_Text[iNext] != '\t'))
                break;
            iEnd = std::min(m_Text.find_first_of("\r\n", iNext), m_Text.size());
        }
        iEnd = EndInBracket(iEnd);
        std::size_t iScheme = m_i;
        while (iScheme < iEnd && (IsWordByte(m_Text[iScheme]) || m_Text[iScheme] == '-'))
            ++iScheme;
        const std::size_t iBehind = std::min(m_Text.find_first_not_of(" \t", iScheme), iEnd);
        if (iBehind > iScheme && iBehind < iEnd)
            Copy(iBehind);
        HideUpTo(iEnd);
    }

    // The whole rest when it cannot be told where the value ends.
    void HideArrayOrObject()
    {
        const JsonText Json =
            HideInJson(m_Text.substr(m_i), [](std::string_view String) { return std::string(String); });
        HideUpTo(Json.bWhole ? m_i + Json.iEnd : m_Text.size());
    }

    std::string_view m_Text;
    const KnownSecrets& m_Known;
    int m_nNesting;
    std::size_t m_i = 0;
    bool m_bBracketSeen = false;
    bool m_bEscaped = false; // the unit before was an escape that ends in a letter
    std::string m_Out;
};

} // namespace

std::string HideNamedSecrets(std::string_view Text, const KnownSecrets& Known)
{
    return Scanner(Text, Known, 0).Run();
}

} // namespace devhost
