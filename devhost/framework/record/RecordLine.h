#pragma once
// One record of the configuration as a checked line of text.

#include <optional>
#include <string>
#include <string_view>

namespace devhost
{

/// A record: its kind and its bytes, as MemoryFile writes and reads them.
struct RecordLine {
    std::string kind; ///< letters and '-' only
    std::string bytes;

    /// The line without its line feed: kind, number of encoded bytes, CRC-32 of kind and encoded bytes, and
    /// the bytes percent-encoded. A line never holds a line feed, so one bad record spoils only itself.
    std::string Format() const;

    /// Nothing when the line is damaged: form, length, checksum or encoding.
    static std::optional<RecordLine> Parse(std::string_view line);
};

} // namespace devhost
