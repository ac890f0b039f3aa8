// The account's record, read and written over a stream that fails at each step.

#include "support/AccountTest.h"
#include "support/FailingFile.h"

namespace support
{

using RecordTest = AccountTest;

// The host's own items: bridge id, device id, flag word.
constexpr int kHostItems = 3;

FailingFile Record(int nItems)
{
    FailingFile File;
    File.WriteInt(1), File.WriteString(""), File.WriteInt(0);
    for (const char* pText : {"refresh-9", "access-9", "loc-9", "Barn"})
        File.WriteString(pText);
    File.WriteInt(0), File.WriteInt(7);
    File.Left = nItems;
    return File;
}

TEST_F(RecordTest, WritingStopsAtTheFirstFailureAndGivesBackWhatWasThere)
{
    CVestaraInterface& Account = AddReadyAccount();
    Probe(Account).RedirectSchema() = static_cast<OAUTH_REDIRECT_SCHEMA>(3);
    for (int nSteps = 0; nSteps < kHostItems + 6; ++nSteps) {
        FailingFile File;
        File.Left = nSteps;
        EXPECT_EQ(Account.WriteClientData(&File, 1461), 0) << nSteps;
    }
    FailingFile File;
    ASSERT_EQ(Account.WriteClientData(&File, 1400), 1) << "the newest form, whatever the version";
    CVestaraInterface& Copy = AddAccount();
    ASSERT_EQ(Copy.ReadClientData(&File, 1461), 1);
    EXPECT_EQ(Str(Probe(Copy).RefreshToken()) + Str(Probe(Copy).AccessToken()), "refresh-1access-1");
    EXPECT_EQ(Str(Copy.LocationID()) + Str(Copy.LocationName()), "loc-1Lake House");
    EXPECT_EQ(Copy.IsMaster(), 1);
    EXPECT_EQ(Probe(Copy).RedirectSchema(), 3);
    m_Journal.Take();
}

TEST_F(RecordTest, ReadingStopsAtTheFirstFailureWithTheFieldsReadSoFar)
{
    for (const int iVersion : {-1, 1460, 1461}) {
        const int nItems = kHostItems + (iVersion > 1460 ? 6 : 5);
        for (int nSteps = 0; nSteps <= nItems; ++nSteps) {
            SCOPED_TRACE(testing::Message() << "version " << iVersion << ", " << nSteps << " items");
            CVestaraInterface& Account = AddReadyAccount();
            Probe(Account).Master() = 1;
            m_pSystem->Traces().Store("Vestara Interface (Barn)", true);
            auto File = Record(nSteps);
            const bool bComplete = nSteps == nItems;
            EXPECT_EQ(Account.ReadClientData(&File, iVersion), bComplete);
            EXPECT_EQ(Str(Probe(Account).RefreshToken()), nSteps > kHostItems ? "refresh-9" : "refresh-1");
            EXPECT_EQ(Str(Probe(Account).AccessToken()), nSteps > kHostItems + 1 ? "access-9" : "access-1");
            EXPECT_EQ(Str(Account.LocationID()), nSteps > kHostItems + 2 ? "loc-9" : "loc-1");
            EXPECT_EQ(Str(Account.LocationName()), nSteps > kHostItems + 3 ? "Barn" : "Lake House");
            EXPECT_EQ(Account.IsMaster(), nSteps > kHostItems + 4 ? 0 : 1);
            // Older records get the other schema, not the one that a new account starts with.
            EXPECT_EQ(Probe(Account).RedirectSchema(), !bComplete ? 0 : iVersion > 1460 ? 7 : 1);

            // What follows a complete record: name, trace switch, mask list, flags over the record's word.
            EXPECT_EQ(Str(Account.NetworkBridge()->Name()),
                      bComplete ? "Vestara Interface (Barn)" : "Vestara Interface");
            EXPECT_EQ(Account.TraceEnabled(), bComplete);
            EXPECT_EQ(Probe(Account).ObfuscationList().GetCount(), bComplete ? 4 : 0);
            EXPECT_TRUE(nSteps < kHostItems || Account.Flags() == (bComplete ? 0x4004000 : 0));
            Account.RemoveAllObjects();
            Probe(Account).Master() = 0;
        }
    }
    m_Journal.Take();
}

} // namespace support
