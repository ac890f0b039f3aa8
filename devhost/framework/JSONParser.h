#pragma once
// Parsing of JSON texts into the trees that the driver reads.

#include <cstddef>
#include <memory>
#include <string_view>

class CJSONObject;

namespace devhost
{

/// Bounds of what is taken for JSON. They are far above what a cloud answers, and keep a hostile reply from
/// taking the memory or the stack.
constexpr std::size_t kMaxJsonBytes = 8u << 20;
constexpr std::size_t kMaxJsonNodes = 400000;
constexpr std::size_t kMaxJsonDepth = 64; // of nested objects and arrays

/// Parses one JSON text (RFC 8259). Members keep their order; of members with the same key only the first is
/// kept; numbers keep their spelling; U+0000 becomes U+FFFD, because texts end at a NUL and a cut id must not
/// equal another one. Null when the text is no JSON, passes a bound, is not valid UTF-8, or has a number
/// beyond the range of a double. Any thread.
std::unique_ptr<CJSONObject> ParseJson(std::string_view Text);

} // namespace devhost
