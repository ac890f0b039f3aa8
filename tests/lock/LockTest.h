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
    /// The reports so far without source and line; the other effects stay.
    Lines Reports()
    {
        Lines Texts = m_Journal.TakeReports();
        for (std::string& Text : Texts) {
            EXPECT_EQ(Text.rfind("portivo ", 0), 0u) << Text;
            Text.erase(0, Text.find(": ") + 2);
        }
        return Texts;
    }

    CVestaraInterface& m_Account;
    RecordingLock m_Lock;
};

} // namespace support
