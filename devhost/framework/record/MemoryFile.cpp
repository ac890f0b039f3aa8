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

void MemoryFile::AppendNumber(std::uint32_t Value)
{
    for (unsigned Shift = 0; Shift < 32; Shift += 8)
        m_Bytes += static_cast<char>((Value >> Shift) & 0xffu);
}

bool MemoryFile::PeekNumber(char Kind, std::uint32_t* pValue) const
{
    if (m_Bytes.size() - m_Position < kNumberBytes || m_Bytes[m_Position] != Kind)
        return false;
    *pValue = 0;
    for (std::size_t i = 0; i < 4; ++i)
        *pValue |= static_cast<std::uint32_t>(static_cast<unsigned char>(m_Bytes[m_Position + 1 + i]))
                   << (8 * i);
    return true;
}

int MemoryFile::WriteInt(int iValue)
{
    m_Bytes += 'i';
    AppendNumber(static_cast<std::uint32_t>(iValue));
    return 1;
}

int MemoryFile::WriteString(const CQXString& sValue)
{
    const auto cbText = static_cast<std::size_t>(sValue.GetLength());
    if (cbText > std::numeric_limits<std::uint32_t>::max())
        return 0;
    m_Bytes += 's';
    AppendNumber(static_cast<std::uint32_t>(cbText));
    m_Bytes.append(static_cast<const char*>(sValue), cbText);
    return 1;
}

int MemoryFile::ReadInt(int* pValue)
{
    std::uint32_t Value = 0;
    if (!PeekNumber('i', &Value))
        return 0;
    *pValue = static_cast<int>(Value);
    m_Position += kNumberBytes;
    return 1;
}

int MemoryFile::ReadString(CQXString* pValue)
{
    std::uint32_t cbText = 0;
    if (!PeekNumber('s', &cbText) || m_Bytes.size() - m_Position - kNumberBytes < cbText)
        return 0;
    *pValue = m_Bytes.substr(m_Position + kNumberBytes, cbText).c_str();
    m_Position += kNumberBytes + cbText;
    return 1;
}

} // namespace devhost
