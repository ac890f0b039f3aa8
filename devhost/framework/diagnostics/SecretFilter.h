#pragma once
// The second line of defence against secrets in logs.

#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// What stands in a line for a secret.
inline constexpr std::string_view kHiddenSecret = "***";

/// Whether words are made of this byte: names are whole words, and short secrets stand between others.
bool IsWordByte(char c);

/// Whether a form field, JSON member or header field of this name, in any case, holds a secret. "code" is
/// both an authorisation code and a field of error replies; hiding the second is the price of hiding the
/// first.
bool IsSecretName(std::string_view name);

/// The secrets that are known by their value. Immutable.
class KnownSecrets
{
public:
    /// Empty ones are ignored.
    explicit KnownSecrets(std::vector<std::string> secrets);

    /// A copy of the text with "***" for every secret. Short ones are hidden only where they stand by
    /// themselves, because four digits also occur inside times and ids. Takes one pass over the text each for
    /// long and for short ones.
    std::string Hide(std::string_view text) const;

private:
    std::vector<std::string> m_long, m_short; // in bytewise order
};

/// Hides secrets in lines of any producer: credentials of Authorization header fields and bearer tokens; the
/// values of form fields and JSON members with a secret's name; the PINs in the driver's own traces of
/// changed persons; and the secrets that were registered. When in doubt it hides more. Any thread.
class SecretFilter
{
public:
    /// Replaces the registered secrets (the PINs of the host's users).
    void SetKnownSecrets(std::vector<std::string> secrets);

    /// A copy of the line with "***" for every secret; takes time linear in the line.
    std::string Hide(std::string_view line) const;

private:
    mutable std::shared_mutex m_mutex;
    std::shared_ptr<const KnownSecrets> m_known = std::make_shared<KnownSecrets>(std::vector<std::string>());
};

} // namespace devhost
