// Configuration pages as messages: typed reading in the order of writing.

#include "host/QXStream.h"

int CQXMSG::GetInt()
{
    const int* value = m_iNext < m_Items.size() ? std::get_if<int>(&m_Items[m_iNext]) : nullptr;
    if (!value)
        return -1;
    ++m_iNext;
    return *value;
}

CQXString CQXMSG::GetString()
{
    const CQXString* value = m_iNext < m_Items.size() ? std::get_if<CQXString>(&m_Items[m_iNext]) : nullptr;
    if (!value)
        return {};
    ++m_iNext;
    return *value;
}
