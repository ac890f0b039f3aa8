// The account's record, read and written over a stream that fails at each step.

#include "support/AccountTest.h"
#include "support/FailingFile.h"

#include <algorithm>

namespace support
{

using RecordTest = AccountTest;

TEST_F(RecordTest, StopsAtTheFirstFailureWithTheFieldsReadSoFar)
{
    constexpr int kHostItems = 3; // bridge id, device id, flag word: 15 bytes
    constexpr std::size_t kHostBytes = 15;
    FailingFile Record;
    Record.WriteInt(1);
    Record.WriteString("");
    Record.WriteInt(0);
    for (const char* pText : {"refresh-9", "access-9", "loc-9", "Barn"})
        Record.WriteString(pText);
    Record.WriteInt(0);
    Record.WriteInt(7);
    const char* const kRead[] = {
        "refresh-1 access-1 loc-1 Lake House 1", "refresh-9 access-1 loc-1 Lake House 1",
        "refresh-9 access-9 loc-1 Lake House 1", "refresh-9 access-9 loc-9 Lake House 1",
        "refresh-9 access-9 loc-9 Barn 1",       "refresh-9 access-9 loc-9 Barn 0"};
    m_pSystem->Traces().Store("Vestara Interface (Barn)", true);
    for (const int iVersion : {1460, 1461}) {
        const int nItems = kHostItems + (iVersion > 1460 ? 6 : 5);
        for (int nSteps = 0; nSteps <= nItems; ++nSteps) {
            SCOPED_TRACE(testing::Message() << "version " << iVersion << ", " << nSteps << " items");
            CVestaraInterface& Account = AddReadyAccount();
            CVestaraInterfaceProbe Fields = Probe(Account);
            Fields.Master() = 1;
            FailingFile File = Record;
            File.Left = nSteps;
            const bool bComplete = nSteps == nItems;
            EXPECT_EQ(Account.ReadClientData(&File, iVersion), bComplete);
            EXPECT_EQ(Str(Fields.RefreshToken()) + " " + Str(Fields.AccessToken()) + " " +
                          Str(Fields.LocationID()) + " " + Str(Fields.LocationName()) + " " +
                          std::to_string(Fields.Master()),
                      kRead[std::clamp(nSteps - kHostItems, 0, 5)]);
            // Older records get the other schema, not the one that a new account starts with.
            EXPECT_EQ(Fields.RedirectSchema(), !bComplete ? 0 : iVersion > 1460 ? 7 : 1);
            // Only after a complete record: name and trace switch, mask list, flags over the record's word.
            EXPECT_EQ(Account.TraceEnabled(), bComplete);
            EXPECT_EQ(Fields.ObfuscationList().GetCount(), bComplete ? 4 : 0);
            EXPECT_TRUE(nSteps < kHostItems || Account.Flags() == (bComplete ? 0x4004000 : 0));

            FailingFile Target;
            Target.Left = nSteps;
            const int bWritten = Account.WriteClientData(&Target, 1400);
            EXPECT_EQ(bWritten, nSteps == kHostItems + 6) << "in its newest form always";
            if (bWritten) {
                EXPECT_EQ(Target.Bytes().substr(kHostBytes), Record.Bytes().substr(kHostBytes));
            }
            m_Journal.Take();
        }
    }
}

} // namespace support
