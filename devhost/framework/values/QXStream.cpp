// Configuration pages as messages: typed reading in the order of writing.

#include "host/QXStream.h"

int CQXMSG::GetInt()
{
    const int* pValue = m_iNext < m_Items.size() ? std::get_if<int>(&m_Items[m_iNext]) : nullptr;
    if (!pValue)
        return -1;
    ++m_iNext;
    return *pValue;
}

CQXString CQXMSG::GetString()
{
    const CQXString* pValue = m_iNext < m_Items.size() ? std::get_if<CQXString>(&m_Items[m_iNext]) : nullptr;
    if (!pValue)
        return {};
    ++m_iNext;
    return *pValue;
}
