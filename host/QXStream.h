#pragma once
// The two sequential streams that the host hands to the driver: configuration pages and the configuration
// file.

#include "host/QXString.h"

#include <cstddef>
#include <utility>
#include <variant>
#include <vector>

// A configuration page as a message: typed items, read in the order in which they were written. Host thread.
class CQXMSG
{
public:
    using Item = std::variant<int, CQXString>;

    void PutInt(int iValue) { m_Items.emplace_back(iValue); }
    void PutString(CQXString sValue) { m_Items.emplace_back(std::move(sValue)); }

    // The next item when it has the asked type, and moves on; otherwise -1 (no choice is taken for the first
    // one) or the empty string, and the item stays.
    int GetInt();
    CQXString GetString();

    // For the configurator, which takes a page apart: every item written so far.
    const std::vector<Item>& Items() const { return m_Items; }

private:
    std::vector<Item> m_Items;
    std::size_t m_iNext = 0;
};

// One record of the persistent configuration, read in the order in which it was written. Implemented by the
// host over a file or over memory. Every call returns non-zero on success; a failed read leaves its target
// unchanged. Host thread.
class CQXFile
{
public:
    virtual ~CQXFile() = default;
    virtual int WriteInt(int iValue) = 0;
    virtual int WriteString(const CQXString& sValue) = 0;
    virtual int ReadInt(int* pValue) = 0;
    virtual int ReadString(CQXString* pValue) = 0;
};
