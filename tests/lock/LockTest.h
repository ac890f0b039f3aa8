#pragma once
// A recording lock under a ready account.

#include "support/AccountTest.h"

namespace support
{

class LockTest : public AccountTest
{
protected:
    LockTest() : m_Account(AddReadyAccount()), m_Lock(m_Journal, m_Account, "dev-1")
    {
        m_Lock.Name("Front");
        m_Journal.Take();
    }

    int Tell(Attributes eAttribute, const char* pValue)
    {
        CQXString sValue(pValue);
        const int iResult = m_Lock.ProcessCommand(eAttribute, &sValue);
        EXPECT_EQ(Str(sValue), pValue) << "the caller's text stays";
        return iResult;
    }

    CVestaraInterface& m_Account;
    RecordingLock m_Lock;
};

} // namespace support
