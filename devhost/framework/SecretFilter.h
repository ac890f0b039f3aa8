#pragma once
// The second line of defence against secrets in logs.

#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// Hides secrets in lines of any producer: bearer tokens; the values of the form fields and JSON members
/// access_token, refresh_token, client_secret, code, pin and programming_code; the PINs in the driver's own
/// traces of changed persons; and the secrets that were registered. When in doubt it hides more. Any thread.
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
