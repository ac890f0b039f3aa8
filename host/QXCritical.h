#pragma once
// The framework's critical section, a base of every interface object.

#include <mutex>

// The driver constructs and destroys it and never enters it.
class CQXCritical
{
public:
    CQXCritical() = default;
    virtual ~CQXCritical() = default;

private:
    std::recursive_mutex m_Mutex;
};
