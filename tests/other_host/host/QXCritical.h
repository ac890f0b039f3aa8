#pragma once
// A handle, and no virtual member.

class CQXCritical
{
public:
    CQXCritical();
    ~CQXCritical();
    CQXCritical(const CQXCritical&) = delete;
    CQXCritical& operator=(const CQXCritical&) = delete;

private:
    void* m_handle;
};
