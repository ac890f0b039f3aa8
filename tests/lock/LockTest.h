#pragma once
// A recording lock under a ready account.

#include "tests/support/AccountTest.h"

namespace support
{

class LockTest : public AccountTest
{
protected:
    LockTest() : m_account(AddReadyAccount()), m_lock(m_journal, m_account, "dev-1")
    {
        m_lock.Name("Front");
        m_journal.Take();
    }

    int Tell(Attributes attribute, const char* value)
    {
        CQXString text(value);
        const int result = m_lock.ProcessCommand(attribute, &text);
        EXPECT_EQ(Str(text), value) << "the caller's text stays";
        return result;
    }

    CVestaraInterface& m_account;
    RecordingLock m_lock;
};

} // namespace support
