// Hides known secrets and those of the driver's own traces; secrets with a name are found by NamedSecrets.

#include "devhost/framework/diagnostics/SecretFilter.h"

#include "devhost/framework/diagnostics/NamedSecrets.h"

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

constexpr std::size_t kShortSecret = 8;

constexpr std::array kSecretNames = {"access_token"sv, "authorization"sv,    "client_secret"sv, "code"sv,
                                     "pin"sv,          "programming_code"sv, "refresh_token"sv};

// The driver writes these lines while tracing; the PINs stand in brackets without a name.
constexpr std::string_view kUpdatedPerson = "Updating AccessPerson: [";
constexpr std::string_view kChangedPin = "User's PinCode changed from [";

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
        return Result.append(kHiddenSecret) + "]";
    Result += Fields.substr(0, Gaps[1] + 2);
    Result += kHiddenSecret;
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

// The longest of the secrets that begins at i and, unless asked for inside words too, ends with a word.
std::size_t LengthAt(const std::vector<std::string>& Secrets, std::string_view Text, std::size_t i,
                     bool bInsideWords)
{
    std::size_t nFound = 0;
    const auto First = std::lower_bound(Secrets.begin(), Secrets.end(), Text.substr(i, 1));
    for (auto It = First; It != Secrets.end() && It->front() == Text[i]; ++It) {
        const std::size_t iEnd = i + It->size();
        const bool bWordGoesOn = !bInsideWords && iEnd < Text.size() && IsWordByte(Text[iEnd]);
        if (!bWordGoesOn && Text.compare(i, It->size(), *It) == 0)
            nFound = std::max(nFound, It->size());
    }
    return nFound;
}

// Where two secrets overlap, all of both is hidden.
std::string HideEach(const std::vector<std::string>& Secrets, std::string_view Text, bool bInsideWords)
{
    if (Secrets.empty())
        return std::string(Text);
    std::string Result;
    Result.reserve(Text.size());
    std::size_t iHiddenEnd = 0;
    for (std::size_t i = 0; i < Text.size(); ++i) {
        const bool bHidden = i < iHiddenEnd;
        if (bInsideWords || i <= iHiddenEnd || !IsWordByte(Text[i - 1])) {
            const std::size_t nLength = LengthAt(Secrets, Text, i, bInsideWords);
            if (nLength > 0 && !bHidden)
                Result += kHiddenSecret;
            iHiddenEnd = std::max(iHiddenEnd, i + nLength);
        }
        if (i >= iHiddenEnd)
            Result += Text[i];
    }
    return Result;
}

} // namespace

bool IsWordByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool IsSecretName(std::string_view Name)
{
    return std::any_of(kSecretNames.begin(), kSecretNames.end(),
                       [Name](std::string_view Secret) { return boost::beast::iequals(Name, Secret); });
}

KnownSecrets::KnownSecrets(std::vector<std::string> Secrets)
{
    std::erase(Secrets, std::string());
    std::sort(Secrets.begin(), Secrets.end());
    const auto IsShort = [](const std::string& Secret) { return Secret.size() < kShortSecret; };
    std::copy_if(Secrets.begin(), Secrets.end(), std::back_inserter(m_Short), IsShort);
    std::remove_copy_if(Secrets.begin(), Secrets.end(), std::back_inserter(m_Long), IsShort);
}

std::string KnownSecrets::Hide(std::string_view Text) const
{
    // The long ones first: a short one may stand by itself beside what they leave.
    return HideEach(m_Short, HideEach(m_Long, Text, true), false);
}

void SecretFilter::SetKnownSecrets(std::vector<std::string> Secrets)
{
    auto pKnown = std::make_shared<const KnownSecrets>(std::move(Secrets));
    const std::unique_lock Lock(m_Mutex);
    m_pKnown.swap(pKnown);
}

std::string SecretFilter::Hide(std::string_view Line) const
{
    std::shared_lock Lock(m_Mutex);
    const std::shared_ptr<const KnownSecrets> pKnown = m_pKnown;
    Lock.unlock();
    return pKnown->Hide(HideNamedSecrets(HideDriverTraces(Line), *pKnown));
}

} // namespace devhost
