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
std::string HideUpdatedPerson(std::string_view line, std::size_t fieldsStart)
{
    const std::string_view fields = line.substr(fieldsStart);
    std::array<std::size_t, 3> gaps;
    std::size_t gapCount = 0;
    for (std::size_t i = fields.find("]["); i != std::string_view::npos; i = fields.find("][", i + 1)) {
        if (gapCount < gaps.size())
            gaps[gapCount] = i;
        ++gapCount;
    }
    std::string result(line.substr(0, fieldsStart));
    if (gapCount != gaps.size())
        return result.append(kHiddenSecret) + "]";
    result += fields.substr(0, gaps[1] + 2);
    result += kHiddenSecret;
    return result.append(fields.substr(gaps[2]));
}

std::string HideDriverTraces(std::string_view line)
{
    if (const std::size_t i = line.find(kChangedPin); i != std::string_view::npos)
        return std::string(line.substr(0, i + kChangedPin.size())) + "***] to [***]";
    if (const std::size_t i = line.find(kUpdatedPerson); i != std::string_view::npos)
        return HideUpdatedPerson(line, i + kUpdatedPerson.size());
    return std::string(line);
}

// The longest of the secrets that begins at i and, unless asked for inside words too, ends with a word.
std::size_t LengthAt(const std::vector<std::string>& secrets, std::string_view text, std::size_t i,
                     bool insideWords)
{
    std::size_t foundCount = 0;
    const auto first = std::lower_bound(secrets.begin(), secrets.end(), text.substr(i, 1));
    for (auto it = first; it != secrets.end() && it->front() == text[i]; ++it) {
        const std::size_t end = i + it->size();
        const bool wordGoesOn = !insideWords && end < text.size() && IsWordByte(text[end]);
        if (!wordGoesOn && text.compare(i, it->size(), *it) == 0)
            foundCount = std::max(foundCount, it->size());
    }
    return foundCount;
}

// Where two secrets overlap, all of both is hidden.
std::string HideEach(const std::vector<std::string>& secrets, std::string_view text, bool insideWords)
{
    if (secrets.empty())
        return std::string(text);
    std::string result;
    result.reserve(text.size());
    std::size_t hiddenEnd = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool hidden = i < hiddenEnd;
        if (insideWords || i <= hiddenEnd || !IsWordByte(text[i - 1])) {
            const std::size_t length = LengthAt(secrets, text, i, insideWords);
            if (length > 0 && !hidden)
                result += kHiddenSecret;
            hiddenEnd = std::max(hiddenEnd, i + length);
        }
        if (i >= hiddenEnd)
            result += text[i];
    }
    return result;
}

} // namespace

bool IsWordByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool IsSecretName(std::string_view name)
{
    return std::any_of(kSecretNames.begin(), kSecretNames.end(),
                       [name](std::string_view secret) { return boost::beast::iequals(name, secret); });
}

KnownSecrets::KnownSecrets(std::vector<std::string> secrets)
{
    std::erase(secrets, std::string());
    std::sort(secrets.begin(), secrets.end());
    const auto isShort = [](const std::string& secret) { return secret.size() < kShortSecret; };
    std::copy_if(secrets.begin(), secrets.end(), std::back_inserter(m_short), isShort);
    std::remove_copy_if(secrets.begin(), secrets.end(), std::back_inserter(m_long), isShort);
}

std::string KnownSecrets::Hide(std::string_view text) const
{
    // The long ones first: a short one may stand by itself beside what they leave.
    return HideEach(m_short, HideEach(m_long, text, true), false);
}

void SecretFilter::SetKnownSecrets(std::vector<std::string> secrets)
{
    auto known = std::make_shared<const KnownSecrets>(std::move(secrets));
    const std::unique_lock lock(m_mutex);
    m_known.swap(known);
}

std::string SecretFilter::Hide(std::string_view line) const
{
    std::shared_lock lock(m_mutex);
    const std::shared_ptr<const KnownSecrets> known = m_known;
    lock.unlock();
    return known->Hide(HideNamedSecrets(HideDriverTraces(line), *known));
}

} // namespace devhost
