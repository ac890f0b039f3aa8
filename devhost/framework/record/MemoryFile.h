#pragma once
// A configuration record in memory.

#include "host/QXStream.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace devhost
{

/// A record that is written to, or read from, a run of bytes. Every item carries its kind and length, so a
/// reader that asks for the wrong item, or meets the end or foreign bytes, fails and takes nothing: target
/// and position stay. One thread at a time.
///
/// Layout of an item: 'i' and four bytes, or 's', a length of four bytes and the text; numbers are
/// little-endian.
class MemoryFile : public CQXFile
{
public:
    MemoryFile() = default;
    /// Reads the given bytes from their start; writing appends to them.
    explicit MemoryFile(std::string bytes) : m_bytes(std::move(bytes)) {}

    int WriteInt(int value) override;
    int WriteString(const CQXString& value) override;
    int ReadInt(int* value) override;
    int ReadString(CQXString* value) override;

    const std::string& Bytes() const { return m_bytes; }

private:
    void AppendNumber(std::uint32_t number);
    // The number after the item's kind; false when the next item is of another kind or cut short.
    bool PeekNumber(char kind, std::uint32_t* value) const;

    std::string m_bytes;
    std::size_t m_position = 0;
};

} // namespace devhost
