// The account's record, read and written over a stream that fails at each step.

#include "tests/support/AccountTest.h"

#include <algorithm>

namespace support
{

using RecordTest = AccountTest;

TEST_F(RecordTest, StopsAtTheFirstFailureWithTheFieldsReadSoFar)
{
    constexpr int kHostItems = 3; // bridge id, device id, flag word: 15 bytes
    constexpr std::size_t kHostBytes = 15;
    FailingFile record;
    record.WriteInt(1);
    record.WriteString("");
    record.WriteInt(0);
    for (const char* text : {"refresh-9", "access-9", "loc-9", "Barn"})
        record.WriteString(text);
    record.WriteInt(0);
    record.WriteInt(7);
    const char* const kRead[] = {
        "refresh-1 access-1 loc-1 Lake House 1", "refresh-9 access-1 loc-1 Lake House 1",
        "refresh-9 access-9 loc-1 Lake House 1", "refresh-9 access-9 loc-9 Lake House 1",
        "refresh-9 access-9 loc-9 Barn 1",       "refresh-9 access-9 loc-9 Barn 0"};
    m_system->Traces().Store("Vestara Interface (Barn)", true);
    for (const int version : {1460, 1461}) {
        const int itemCount = kHostItems + (version > 1460 ? 6 : 5);
        for (int stepCount = 0; stepCount <= itemCount; ++stepCount) {
            SCOPED_TRACE(testing::Message() << "version " << version << ", " << stepCount << " items");
            CVestaraInterface& account = AddReadyAccount();
            CVestaraInterfaceProbe fields = Probe(account);
            fields.Master() = 1;
            FailingFile file = record;
            file.left = stepCount;
            const bool complete = stepCount == itemCount;
            EXPECT_EQ(account.ReadClientData(&file, version), complete);
            EXPECT_EQ(Str(fields.RefreshToken()) + " " + Str(fields.AccessToken()) + " " +
                          Str(fields.LocationID()) + " " + Str(fields.LocationName()) + " " +
                          std::to_string(fields.Master()),
                      kRead[std::clamp(stepCount - kHostItems, 0, 5)]);
            // Older records get the other schema, not the one that a new account starts with.
            EXPECT_EQ(fields.RedirectSchema(), !complete ? 0 : version > 1460 ? 7 : 1);
            // Only after a complete record: name and trace switch, mask list, flags over the record's word.
            EXPECT_EQ(account.TraceEnabled(), complete);
            EXPECT_EQ(fields.ObfuscationList().GetCount(), complete ? 4 : 0);
            EXPECT_TRUE(stepCount < kHostItems || account.Flags() == (complete ? 0x4004000 : 0));

            FailingFile target;
            target.left = stepCount;
            const int written = account.WriteClientData(&target, 1400);
            EXPECT_EQ(written, stepCount == kHostItems + 6) << "in its newest form always";
            if (written) {
                EXPECT_EQ(target.Bytes().substr(kHostBytes), record.Bytes().substr(kHostBytes));
            }
            m_journal.Take();
        }
    }
}

} // namespace support
