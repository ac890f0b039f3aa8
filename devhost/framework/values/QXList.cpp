// The framework's lists of untyped pointers: positions and order. What the pointers mean, and who deletes
// what they point to, is up to the callers.

#include "host/QXList.h"

CQXObList::~CQXObList()
{
    while (m_pHead)
        Unlink(m_pHead);
}

CQXPos* CQXObList::AddTail(void* pItem)
{
    return InsertBefore(nullptr, pItem);
}

CQXPos* CQXObList::InsertBefore(CQXPos* pPos, void* pItem)
{
    auto* pNew = new CQXPos;
    pNew->m_pItem = pItem;
    pNew->m_pNext = pPos;
    pNew->m_pPrevious = pPos ? pPos->m_pPrevious : m_pTail;
    (pNew->m_pPrevious ? pNew->m_pPrevious->m_pNext : m_pHead) = pNew;
    (pPos ? pPos->m_pPrevious : m_pTail) = pNew;
    ++m_iCount;
    return pNew;
}

void* CQXObList::Unlink(CQXPos* pPos)
{
    (pPos->m_pPrevious ? pPos->m_pPrevious->m_pNext : m_pHead) = pPos->m_pNext;
    (pPos->m_pNext ? pPos->m_pNext->m_pPrevious : m_pTail) = pPos->m_pPrevious;
    --m_iCount;
    void* pItem = pPos->m_pItem;
    delete pPos;
    return pItem;
}

void* CQXObList::RemoveHead()
{
    return m_pHead ? Unlink(m_pHead) : nullptr;
}

int CQXObList::Remove(void* pItem)
{
    for (CQXPos* pPos = m_pHead; pPos; pPos = pPos->m_pNext) {
        if (pPos->m_pItem == pItem) {
            Unlink(pPos);
            return 1;
        }
    }
    return 0;
}

void* CQXObList::RemoveAt(CQXPos*& pPos)
{
    if (!pPos)
        return nullptr;
    CQXPos* pRemoved = pPos;
    pPos = pRemoved->m_pNext;
    return Unlink(pRemoved);
}

void* CQXObList::GetNext(CQXPos*& pPos) const
{
    if (!pPos)
        return nullptr;
    void* pItem = pPos->m_pItem;
    pPos = pPos->m_pNext;
    return pItem;
}

void* CQXObList::GetAt(CQXPos* pPos) const
{
    return pPos ? pPos->m_pItem : nullptr;
}

CQXPos* CQXObList::FindIndex(int iIndex) const
{
    if (iIndex < 0 || iIndex >= m_iCount)
        return nullptr;
    CQXPos* pPos = m_pHead;
    while (iIndex-- > 0)
        pPos = pPos->m_pNext;
    return pPos;
}

void CTSObList::AddTail(void* pItem)
{
    const std::lock_guard Lock(m_Mutex);
    m_Items.push_back(pItem);
}

void* CTSObList::RemoveHead()
{
    const std::lock_guard Lock(m_Mutex);
    if (m_Items.empty())
        return nullptr;
    void* pItem = m_Items.front();
    m_Items.pop_front();
    return pItem;
}

int CTSObList::IsEmpty() const
{
    const std::lock_guard Lock(m_Mutex);
    return m_Items.empty() ? 1 : 0;
}

int CTSObList::GetCount() const
{
    const std::lock_guard Lock(m_Mutex);
    return static_cast<int>(m_Items.size());
}
