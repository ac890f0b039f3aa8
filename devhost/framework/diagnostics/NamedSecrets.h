#pragma once
// Secrets that a name or a scheme gives away.

#include <string>
#include <string_view>

namespace devhost
{

class KnownSecrets;

/// A copy of the text with "***" for what follows a secret's name or an authentication scheme, and for known
/// secrets inside JSON texts, where escapes may hide them. JSON is parsed wherever it begins, also inside the
/// strings of JSON; everything else is read as fields of a form (NAME=VALUE&...) or of a header (NAME:
/// VALUE), in which letters may be percent-encoded or written as JSON escapes, because lines quote requests
/// and replies whole, cut or quoted once more. Takes time linear in the text. Any thread.
std::string HideNamedSecrets(std::string_view text, const KnownSecrets& known);

} // namespace devhost
