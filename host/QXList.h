#pragma once
// Ordered lists of untyped pointers. A list never owns or deletes what it holds.

#include <deque>
#include <mutex>

// One place in a CQXObList; null stands for "no position". Valid until its entry is removed.
class CQXPos
{
public:
    CQXPos* Next() const { return m_pNext; } // null after the last entry

private:
    friend class CQXObList;
    void* m_pItem = nullptr;
    CQXPos* m_pNext = nullptr;
    CQXPos* m_pPrevious = nullptr;
};

// One thread at a time. "No position" is borne everywhere: it reads as null and removes nothing.
class CQXObList
{
public:
    CQXObList() = default;
    CQXObList(const CQXObList&) = delete;
    CQXObList& operator=(const CQXObList&) = delete;
    virtual ~CQXObList();

    // Appends and returns the new entry's position. Virtual: the plug-in appends its definitions through
    // whatever list the host hands it.
    virtual CQXPos* AddTail(void* pItem);
    CQXPos* InsertBefore(CQXPos* pPos, void* pItem); // at the tail when there is no position

    void* RemoveHead();      // null when empty
    int Remove(void* pItem); // the first entry that holds the pointer; 1 when there was one
    void*
    RemoveAt(CQXPos*& pPos); // the entry's pointer, null at no position; pPos moves on to the next entry

    int IsEmpty() const { return m_iCount == 0 ? 1 : 0; }
    int GetCount() const { return m_iCount; }
    CQXPos* GetHeadPosition() const { return m_pHead; }
    void* GetNext(CQXPos*& pPos) const; // the entry's pointer; pPos moves on
    void* GetAt(CQXPos* pPos) const;
    CQXPos*
    FindIndex(int iIndex) const; // zero-based; no position for an index out of range, negative included

private:
    void* Unlink(CQXPos* pPos);

    CQXPos* m_pHead = nullptr;
    CQXPos* m_pTail = nullptr;
    int m_iCount = 0;
};

// First in, first out, safe to use from several threads at once: each call is atomic, and nothing holds
// between two calls. Another thread may take the last entry after IsEmpty() said no, so RemoveHead() may
// still give null.
class CTSObList
{
public:
    void AddTail(void* pItem);
    void* RemoveHead(); // null when empty
    int IsEmpty() const;
    int GetCount() const;

private:
    mutable std::mutex m_Mutex;
    std::deque<void*> m_Items;
};
