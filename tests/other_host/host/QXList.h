#pragma once
// Lists: rows of places. What a place is, nobody outside knows.

#include <memory>

class CQXPos;

class CQXObList
{
public:
    CQXObList();
    virtual ~CQXObList();
    virtual CQXPos* AddTail(void* item);
    void* RemoveHead();
    void* RemoveAt(CQXPos*& pos);
    int IsEmpty() const;
    int GetCount() const;
    CQXPos* GetHeadPosition() const;
    CQXPos* FindIndex(int index) const;
    void* GetAt(CQXPos* pos) const;
    void* GetNext(CQXPos*& pos) const;

private:
    struct Own;
    const std::unique_ptr<Own> m_row;
};

class CTSObList
{
public:
    CTSObList();
    ~CTSObList();
    void AddTail(void* item);
    void* RemoveHead();
    int IsEmpty() const;
    int GetCount() const;

private:
    struct Own;
    const std::unique_ptr<Own> m_queue;
};
