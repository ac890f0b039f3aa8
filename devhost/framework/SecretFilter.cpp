// Finds and hides secrets in log lines. Which lines are written, and where to, is the log's business.

#include "devhost/framework/SecretFilter.h"

#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace devhost
{

namespace
{

using namespace std::string_view_literals;

constexpr std::string_view kHidden = "***";
constexpr std::string_view kBlanks = " \t";
constexpr std::size_t kShortSecret = 8;

constexpr std::array kSecretNames = {"access_token"sv, "client_secret"sv,    "code"sv,
                                     "pin"sv,          "programming_code"sv, "refresh_token"sv};

// The driver writes these lines while tracing; the PINs stand in brackets without a name.
constexpr std::string_view kUpdatedPerson = "Updating AccessPerson: [";
constexpr std::string_view kChangedPin = "User's PinCode changed from [";

bool IsWordByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Name, id, PIN and e-mail in brackets. A name may hold brackets itself; then everything is hidden.
std::string HideUpdatedPerson(std::string_view Line, std::size_t iFields)
{
    const std::string_view Fields = Line.substr(iFields);
    std::array<std::size_t, 3> Gaps;
    std::size_t nGaps = 0;
    for (std::size_t i = Fields.find("]["); i != std::string_view::npos; i = Fields.find("][", i + 1)) {
        if (nGaps < Gaps.size())
            Gaps[nGaps] = i;
        ++nGaps;
    }
    std::string Result(Line.substr(0, iFields));
    if (nGaps != Gaps.size())
        return Result.append(kHidden) + "]";
    Result += Fields.substr(0, Gaps[1] + 2);
    Result += kHidden;
    return Result.append(Fields.substr(Gaps[2]));
}

std::string HideDriverTraces(std::string_view Line)
{
    if (const std::size_t i = Line.find(kChangedPin); i != std::string_view::npos)
        return std::string(Line.substr(0, i + kChangedPin.size())) + "***] to [***]";
    if (const std::size_t i = Line.find(kUpdatedPerson); i != std::string_view::npos)
        return HideUpdatedPerson(Line, i + kUpdatedPerson.size());
    return std::string(Line);
}

// Copies a line and leaves out the values of named secrets.
class NamedSecretScanner
{
public:
    explicit NamedSecretScanner(std::string_view Line) : m_Line(Line) {}

    std::string Run()
    {
        while (m_i < m_Line.size()) {
            const std::size_t iWordEnd = WordEnd();
            if (iWordEnd == m_i) {
                Copy(m_i + 1);
                continue;
            }
            std::string_view Word = m_Line.substr(m_i, iWordEnd - m_i);
            // Behind a backslash the first letter belongs to an escape like \n.
            if (m_i > 0 && m_Line[m_i - 1] == '\\')
                Word.remove_prefix(1);
            Copy(iWordEnd);
            if (boost::beast::iequals(Word, "bearer"))
                HideBearerToken();
            else if (IsSecretName(Word))
                HideValue();
        }
        return std::move(m_Out);
    }

private:
    std::size_t WordEnd() const
    {
        std::size_t i = m_i;
        while (i < m_Line.size() && IsWordByte(m_Line[i]))
            ++i;
        return i;
    }

    void Copy(std::size_t iEnd)
    {
        m_Out += m_Line.substr(m_i, iEnd - m_i);
        m_i = iEnd;
    }

    void HideUpTo(std::size_t iEnd)
    {
        iEnd = std::min(iEnd, m_Line.size());
        if (iEnd == m_i)
            return;
        m_Out += kHidden;
        m_i = iEnd;
    }

    std::size_t Skip(std::size_t i, std::string_view Chars) const
    {
        return std::min(m_Line.find_first_not_of(Chars, i), m_Line.size());
    }

    // A quotation mark, with the backslashes before it when the text is itself quoted; empty when none is
    // here.
    std::string_view QuoteAt(std::size_t i) const
    {
        const std::size_t iQuote = Skip(i, "\\");
        if (iQuote == m_Line.size() || (m_Line[iQuote] != '"' && m_Line[iQuote] != '\''))
            return {};
        return m_Line.substr(i, iQuote + 1 - i);
    }

    void HideBearerToken()
    {
        const std::size_t iToken = Skip(m_i, kBlanks);
        if (iToken == m_i)
            return;
        Copy(iToken);
        HideUpTo(m_Line.find_first_of(" \t\r\n\\\"']", m_i));
    }

    void HideValue()
    {
        const std::size_t iSeparator = Skip(m_i + QuoteAt(m_i).size(), kBlanks);
        if (iSeparator == m_Line.size() || (m_Line[iSeparator] != '=' && m_Line[iSeparator] != ':'))
            return;
        const bool bForm = m_Line[iSeparator] == '=';
        Copy(Skip(iSeparator + 1, kBlanks));
        const std::string_view Quote = QuoteAt(m_i);
        if (Quote.empty())
            return HideUpTo(m_Line.find_first_of(bForm ? "& \t\r\n\"']" : "&, \t\r\n\"']}", m_i));
        Copy(m_i + Quote.size());
        HideUpTo(EndOfQuoted(Quote));
    }

    // Where the closing quotation mark stands: as many backslashes as at the opening one, no more.
    std::size_t EndOfQuoted(std::string_view Quote) const
    {
        std::size_t nBackslashes = 0;
        for (std::size_t i = m_i; i < m_Line.size(); ++i) {
            if (m_Line[i] == Quote.back() && nBackslashes + 1 <= Quote.size())
                return i - nBackslashes;
            nBackslashes = m_Line[i] == '\\' ? nBackslashes + 1 : 0;
        }
        return m_Line.size();
    }

    std::string_view m_Line;
    std::size_t m_i = 0;
    std::string m_Out;
};

} // namespace

bool IsSecretName(std::string_view Name)
{
    return std::any_of(kSecretNames.begin(), kSecretNames.end(),
                       [Name](std::string_view Secret) { return boost::beast::iequals(Name, Secret); });
}

void SecretFilter::SetKnownSecrets(std::vector<std::string> Secrets)
{
    std::erase(Secrets, std::string());
    std::sort(Secrets.begin(), Secrets.end(),
              [](const auto& Left, const auto& Right) { return Left.size() > Right.size(); });
    const std::unique_lock Lock(m_Mutex);
    m_Known = std::move(Secrets);
}

std::string SecretFilter::HideKnown(std::string Line) const
{
    const std::shared_lock Lock(m_Mutex);
    for (const std::string& Secret : m_Known) {
        for (std::size_t i = Line.find(Secret); i != std::string::npos; i = Line.find(Secret, i)) {
            const std::size_t iEnd = i + Secret.size();
            const bool bInside =
                (i > 0 && IsWordByte(Line[i - 1])) || (iEnd < Line.size() && IsWordByte(Line[iEnd]));
            if (bInside && Secret.size() < kShortSecret) {
                ++i;
                continue;
            }
            Line.replace(i, Secret.size(), kHidden);
            i += kHidden.size();
        }
    }
    return Line;
}

std::string SecretFilter::Hide(std::string_view Line) const
{
    return HideKnown(NamedSecretScanner(HideDriverTraces(Line)).Run());
}

} // namespace devhost
