// The framework's lists of untyped pointers: positions and order. What the pointers mean, and who deletes
// what they point to, is up to the callers.

#include "host/QXList.h"

#include <utility>

CQXObList::~CQXObList()
{
    for (CQXPos* pos = m_pHead; pos;)
        delete std::exchange(pos, pos->m_pNext);
}

CQXPos* CQXObList::AddTail(void* item)
{
    return InsertBefore(nullptr, item);
}

CQXPos* CQXObList::InsertBefore(CQXPos* pos, void* item)
{
    auto* created = new CQXPos;
    created->m_pItem = item;
    created->m_pNext = pos;
    created->m_pPrevious = pos ? pos->m_pPrevious : m_pTail;
    (created->m_pPrevious ? created->m_pPrevious->m_pNext : m_pHead) = created;
    (pos ? pos->m_pPrevious : m_pTail) = created;
    ++m_iCount;
    return created;
}

void* CQXObList::Unlink(CQXPos* pos)
{
    (pos->m_pPrevious ? pos->m_pPrevious->m_pNext : m_pHead) = pos->m_pNext;
    (pos->m_pNext ? pos->m_pNext->m_pPrevious : m_pTail) = pos->m_pPrevious;
    --m_iCount;
    void* item = pos->m_pItem;
    delete pos;
    return item;
}

void* CQXObList::RemoveHead()
{
    return m_pHead ? Unlink(m_pHead) : nullptr;
}

int CQXObList::Remove(void* item)
{
    for (CQXPos* pos = m_pHead; pos; pos = pos->m_pNext) {
        if (pos->m_pItem == item) {
            Unlink(pos);
            return 1;
        }
    }
    return 0;
}

void* CQXObList::RemoveAt(CQXPos*& pos)
{
    if (!pos)
        return nullptr;
    CQXPos* removed = pos;
    pos = removed->m_pNext;
    return Unlink(removed);
}

void* CQXObList::GetNext(CQXPos*& pos) const
{
    if (!pos)
        return nullptr;
    void* item = pos->m_pItem;
    pos = pos->m_pNext;
    return item;
}

void* CQXObList::GetAt(CQXPos* pos) const
{
    return pos ? pos->m_pItem : nullptr;
}

CQXPos* CQXObList::FindIndex(int index) const
{
    if (index < 0 || index >= m_iCount)
        return nullptr;
    CQXPos* pos = m_pHead;
    while (index-- > 0)
        pos = pos->m_pNext;
    return pos;
}

void CTSObList::AddTail(void* item)
{
    const std::lock_guard lock(m_Mutex);
    m_Items.push_back(item);
}

void* CTSObList::RemoveHead()
{
    const std::lock_guard lock(m_Mutex);
    if (m_Items.empty())
        return nullptr;
    void* item = m_Items.front();
    m_Items.pop_front();
    return item;
}

int CTSObList::IsEmpty() const
{
    const std::lock_guard lock(m_Mutex);
    return m_Items.empty() ? 1 : 0;
}

int CTSObList::GetCount() const
{
    const std::lock_guard lock(m_Mutex);
    return static_cast<int>(m_Items.size());
}
