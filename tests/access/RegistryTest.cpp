// The order of the registry, its refusals and its look-ups.

#include "access/AccessPerson.h"
#include "tests/support/TestHost.h"

namespace support
{

class RegistryTest : public DriverTest
{
protected:
    RegistryTest() : m_account(AddReadyAccount()) {}

    // The person that was refused stays with the caller, and goes with the pointer.
    bool Insert(int index, const char* name)
    {
        auto person = std::make_unique<CAccessPerson>(index, "", "1111", name, "");
        const int takenIndex = m_account.InsertAccessPerson(person);
        EXPECT_EQ(takenIndex, person ? 0 : 1);
        return takenIndex != 0;
    }

    CVestaraInterface& m_account;
};

TEST_F(RegistryTest, KeepsIndexedPersonsInOrderBeforeTheOthers)
{
    EXPECT_TRUE(Insert(-1, "First"));
    for (const int i : {5, 2, 9, 0, -7})
        EXPECT_TRUE(Insert(i, "P"));
    EXPECT_TRUE(Insert(-1, "Last"));
    EXPECT_EQ(Persons(m_account), (Lines{"-7||P|1111|", "0||P|1111|", "2||P|1111|", "5||P|1111|",
                                         "9||P|1111|", "-1||First|1111|", "-1||Last|1111|"}));
    // A changed index moves nothing; the next person finds its place from the head.
    m_account.AccessPersonByIndex(2)->Index(7);
    EXPECT_TRUE(Insert(6, "Next"));
    EXPECT_EQ(Persons(m_account)[2], "6||Next|1111|");
}

TEST_F(RegistryTest, RefusesASecondPersonOfASlotOrOfAName)
{
    EXPECT_TRUE(Insert(-1, "Bob"));
    EXPECT_FALSE(Insert(-1, "Bob"));
    EXPECT_TRUE(Insert(3, "Bob")); // names are compared for persons without a slot only
    EXPECT_FALSE(Insert(3, "Cy"));
    EXPECT_EQ(TakeEffects(), (Lines{"report vestarai 3277: AccessPerson already in list - not adding",
                                    "report vestarai 3251: AccessPersons already exists with this index"}));
    EXPECT_EQ(Persons(m_account).size(), 2u);
}

TEST_F(RegistryTest, EmptyOneSaysSoAndBringsThePollsForward)
{
    const std::string emptyText = "AccessPersons list has not yet been initialzied or there are no users";
    m_account.TraceEnabled(1);
    for (const bool byIndex : {true, false}) {
        SCOPED_TRACE(byIndex);
        Probe(m_account).StatusPollTimer().SetElapsed(13'001);
        Probe(m_account).AccessPollTimer().SetElapsed(57'999);
        EXPECT_FALSE(byIndex ? m_account.AccessPersonByIndex(0) : m_account.AccessPersonByID("p"));
        EXPECT_EQ(TakeEffects(), Lines{(byIndex ? "report vestarai 3204: " : "trace: ") + emptyText});
        EXPECT_EQ(Probe(m_account).StatusPollTimer().QXTickCount(), 13'001u) << "only ever forwards";
        EXPECT_EQ(Probe(m_account).AccessPollTimer().QXTickCount(), 58'000u);
    }
}

TEST_F(RegistryTest, LookUpsCompareExactlyAndTakeTheFirst)
{
    AddPerson(m_account, 3, "", "Bob");
    AddPerson(m_account, 4, "p1", "Ann");
    AddPerson(m_account, 5, "p1", "Bob");
    AddPerson(m_account, -1, "P1", "Cy");
    EXPECT_EQ(m_account.AccessPersonByID("p1")->Index(), 4);
    EXPECT_EQ(std::string(m_account.AccessPersonByID("P1")->Name()), "Cy");
    EXPECT_FALSE(m_account.AccessPersonByID(""));
    EXPECT_EQ(m_account.AccessPersonByName("Bob")->Index(), 3);
    EXPECT_FALSE(m_account.AccessPersonByName("bob"));
    EXPECT_FALSE(m_account.AccessPersonByIndex(-1)) << "Cy has no slot";
    EXPECT_EQ(m_account.AccessPersonExists(5), 1);
    m_account.ClearIndexes();
    EXPECT_EQ(m_account.AccessPersonExists(5), 0);
}

// The worker drops the list at any moment, also while the host thread holds a person of it.
TEST_F(RegistryTest, DroppedPersonsCountAsGoneAndLiveUntilTheHostThreadLooksAgain)
{
    CAccessPersonList list;
    auto created = std::make_unique<CAccessPerson>(4, "p4", "1111", "Eve", "");
    for (const int i : {3, 2, 5})
        list.Append(std::make_unique<CAccessPerson>(i, ("p" + std::to_string(i)).c_str(), "1111", "Ann", ""));
    const CAccessPerson* held = list.WithID("p2");
    EXPECT_TRUE(list.CopyAtIndex(2) && list.CopyWithID("p2"));
    list.Drop();
    EXPECT_FALSE(list.CopyAtIndex(2) || list.CopyWithID("p2") || list.InsertByIndex(created));
    EXPECT_TRUE(list.IsEmpty() && created);
    EXPECT_EQ(std::string(held->Name()), "Ann");
    list.Remove(held);
    list.Append(std::move(created));
    list.Remove(nullptr); // nobody of the list
    EXPECT_FALSE(list.WithName("Ann") || list.IsEmpty());
    EXPECT_TRUE(list.WithID("p4"));
}

} // namespace support
