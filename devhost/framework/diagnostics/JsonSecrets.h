#pragma once
// Secrets inside JSON texts.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace devhost
{

/// The beginning of a text, as far as it could be read as one JSON value.
struct JsonText {
    std::string shown; ///< what may be shown of it
    std::size_t end;   ///< how many bytes of the text Shown stands for, at least 1
    bool whole;        ///< whether the value was read to its end
};

/// Reads one JSON value (RFC 8259) and puts "***" for the values of members with a secret's name, whatever
/// their type and depth. All else stays as it is written.
/// @param text begins with '{' or '['; what follows the value is not looked at.
/// @param hideInString gives what may be shown of a key, or of a text that has no secret's name.
/// A text that ends early or turns out not to be JSON is read up to the last part that was understood; when
/// that lies within a secret, nothing of the rest is shown. Takes time linear in what it reads.
JsonText HideInJson(std::string_view text, const std::function<std::string(std::string_view)>& hideInString);

} // namespace devhost
