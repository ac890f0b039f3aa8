// The typed items of a configuration record; framing and checksum of the whole record are RecordLine.cpp's.

#include "devhost/framework/record/MemoryFile.h"

#include <cstdint>
#include <limits>

namespace devhost
{

namespace
{
constexpr std::size_t kNumberBytes = 1 + 4; // kind and value
}

void MemoryFile::AppendNumber(std::uint32_t number)
{
    for (unsigned shift = 0; shift < 32; shift += 8)
        m_bytes += static_cast<char>((number >> shift) & 0xffu);
}

bool MemoryFile::PeekNumber(char kind, std::uint32_t* value) const
{
    if (m_bytes.size() - m_position < kNumberBytes || m_bytes[m_position] != kind)
        return false;
    *value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        *value |= static_cast<std::uint32_t>(static_cast<unsigned char>(m_bytes[m_position + 1 + i]))
                  << (8 * i);
    return true;
}

int MemoryFile::WriteInt(int value)
{
    m_bytes += 'i';
    AppendNumber(static_cast<std::uint32_t>(value));
    return 1;
}

int MemoryFile::WriteString(const CQXString& value)
{
    const auto textSize = static_cast<std::size_t>(value.GetLength());
    if (textSize > std::numeric_limits<std::uint32_t>::max())
        return 0;
    m_bytes += 's';
    AppendNumber(static_cast<std::uint32_t>(textSize));
    m_bytes.append(static_cast<const char*>(value), textSize);
    return 1;
}

int MemoryFile::ReadInt(int* value)
{
    std::uint32_t number = 0;
    if (!PeekNumber('i', &number))
        return 0;
    *value = static_cast<int>(number);
    m_position += kNumberBytes;
    return 1;
}

int MemoryFile::ReadString(CQXString* value)
{
    std::uint32_t textSize = 0;
    if (!PeekNumber('s', &textSize) || m_bytes.size() - m_position - kNumberBytes < textSize)
        return 0;
    *value = m_bytes.substr(m_position + kNumberBytes, textSize).c_str();
    m_position += kNumberBytes + textSize;
    return 1;
}

} // namespace devhost
