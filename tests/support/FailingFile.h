#pragma once
// A record in memory whose stream breaks after a given number of items.

#include "devhost/framework/record/MemoryFile.h"

#include <limits>

namespace support
{

class FailingFile : public devhost::MemoryFile
{
public:
    int left = std::numeric_limits<int>::max(); ///< calls that still succeed

    int WriteInt(int i) override { return left-- > 0 ? MemoryFile::WriteInt(i) : 0; }
    int WriteString(const CQXString& s) override { return left-- > 0 ? MemoryFile::WriteString(s) : 0; }
    int ReadInt(int* p) override { return left-- > 0 ? MemoryFile::ReadInt(p) : 0; }
    int ReadString(CQXString* p) override { return left-- > 0 ? MemoryFile::ReadString(p) : 0; }
};

} // namespace support
