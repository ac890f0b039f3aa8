#pragma once
// A text of the account that the host thread and a worker both use.

#include "host/QXString.h"

#include <mutex>
#include <utility>

// Any thread. Copies go in and out under a lock of the text's own, so no caller ever holds a buffer that the
// other thread may free. Nothing but the copy or the comparison happens under the lock.
class CSharedText
{
public:
    CSharedText() = default;
    CSharedText(const CSharedText&) = delete;
    CSharedText& operator=(const CSharedText&) = delete;

    CQXString Get() const
    {
        const std::lock_guard Lock(m_Mutex);
        return m_sText;
    }
    void Set(CQXString sText) { Exchange(std::move(sText)); }
    void Empty() { Exchange(CQXString()); }

    // Stores the text and returns the one that it replaces, as one step.
    CQXString Exchange(CQXString sText)
    {
        const std::lock_guard Lock(m_Mutex);
        std::swap(m_sText, sText);
        return sText;
    }

    int IsEmpty() const { return GetLength() == 0 ? 1 : 0; }
    int GetLength() const // bytes
    {
        const std::lock_guard Lock(m_Mutex);
        return m_sText.GetLength();
    }
    // 0 when equal, without a copy.
    int Compare(const CQXString& sOther) const
    {
        const std::lock_guard Lock(m_Mutex);
        return m_sText.Compare(sOther);
    }

private:
    mutable std::mutex m_Mutex;
    CQXString m_sText;
};
