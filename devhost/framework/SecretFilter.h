#pragma once
// The second line of defence against secrets in logs.

#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// Whether a form field or JSON member of this name, in any case, holds a secret. "code" is both an
/// authorisation code and a field of error replies; hiding the second is the price of hiding the first.
bool IsSecretName(std::string_view Name);

/// Hides secrets in lines of any producer: bearer tokens; the values of form fields and JSON members with a
/// secret's name; the PINs in the driver's own traces of changed persons; and the secrets that were
/// registered. When in doubt it hides more. Any thread.
class SecretFilter
{
public:
    /// Replaces the registered secrets (the PINs of the host's users). Short ones are hidden only where they
    /// stand by themselves, because four digits also occur inside times and ids. Empty ones are ignored.
    void SetKnownSecrets(std::vector<std::string> Secrets);

    /// A copy of the line with "***" for every secret; takes time linear in the line.
    std::string Hide(std::string_view Line) const;

private:
    std::string HideKnown(std::string Line) const;

    mutable std::shared_mutex m_Mutex;
    std::vector<std::string> m_Known; // longest first
};

} // namespace devhost
