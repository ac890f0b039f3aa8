#pragma once
// Parsing of JSON texts into the trees that the driver reads.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

class CJSONObject;

namespace devhost
{

/// Bounds of what is taken for JSON. The largest replies that a cloud has reason for are 10,000 persons of 7
/// values, 2,000 locks of 16 values and 1,000 houses, each far more than a house or an installer has. The
/// bounds leave such a list 20 values and 400 bytes an entry, and the driver, which looks at every entry, can
/// take in whatever is within them without holding up the host. Replies have 4 levels.
constexpr std::size_t kMaxJsonBytes = 4u << 20;
constexpr std::size_t kMaxJsonValues = 200000;
constexpr std::size_t kMaxJsonChildren =
    10000; // members of one object, repeated ones too, or elements of one array
constexpr std::size_t kMaxJsonDepth = 64; // of nested objects and arrays

/// Parses one JSON text (RFC 8259). Members keep their order; of members with the same key only the first is
/// kept; numbers keep their spelling; U+0000 becomes U+FFFD, because texts end at a NUL and a cut id must not
/// equal another one. Null when the text is no JSON, passes a bound, is not valid UTF-8, or has a number
/// beyond the range of a double. Any thread.
/// @param passed takes the bound that the text passes, for people; stays as it is when the text passes none.
/// @throws std::bad_alloc
std::unique_ptr<CJSONObject> ParseJson(std::string_view text, std::string* passed = nullptr);

} // namespace devhost
