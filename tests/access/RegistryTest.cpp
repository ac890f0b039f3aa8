// The order of the registry, its refusals and its look-ups.

#include "access/AccessPerson.h"
#include "support/TestHost.h"

namespace support
{

class Registry : public DriverTest
{
protected:
    Registry() : m_Account(AddReadyAccount()) {}

    // The person that was refused stays with the caller, and goes with the pointer.
    bool Insert(int Index, const char* Name)
    {
        auto pPerson = std::make_unique<CAccessPerson>(Index, "", "1111", Name, "");
        const int iTaken = m_Account.InsertAccessPerson(pPerson);
        EXPECT_EQ(iTaken, pPerson ? 0 : 1);
        return iTaken != 0;
    }

    CVestaraInterface& m_Account;
};

TEST_F(Registry, KeepsIndexedPersonsInOrderBeforeTheOthers)
{
    EXPECT_TRUE(Insert(-1, "First"));
    for (const int i : {5, 2, 9, 0, -7})
        EXPECT_TRUE(Insert(i, "P"));
    EXPECT_TRUE(Insert(-1, "Last"));
    EXPECT_EQ(Persons(m_Account), (Lines{"-7||P|1111|", "0||P|1111|", "2||P|1111|", "5||P|1111|",
                                         "9||P|1111|", "-1||First|1111|", "-1||Last|1111|"}));
    // A changed index moves nothing; the next person finds its place from the head.
    m_Account.AccessPersonByIndex(2)->Index(7);
    EXPECT_TRUE(Insert(6, "Next"));
    EXPECT_EQ(Persons(m_Account)[2], "6||Next|1111|");
}

TEST_F(Registry, RefusesASecondPersonOfASlotOrOfAName)
{
    EXPECT_TRUE(Insert(-1, "Bob"));
    EXPECT_FALSE(Insert(-1, "Bob"));
    EXPECT_TRUE(Insert(3, "Bob")); // names are compared for persons without a slot only
    EXPECT_FALSE(Insert(3, "Cy"));
    EXPECT_EQ(TakeEffects(), (Lines{"report vestarai 3277: AccessPerson already in list - not adding",
                                    "report vestarai 3251: AccessPersons already exists with this index"}));
    EXPECT_EQ(Persons(m_Account).size(), 2u);
}

TEST_F(Registry, EmptyOneSaysSoAndBringsThePollsForward)
{
    const std::string EmptyText = "AccessPersons list has not yet been initialzied or there are no users";
    m_Account.TraceEnabled(1);
    for (const bool bByIndex : {true, false}) {
        SCOPED_TRACE(bByIndex);
        Probe(m_Account).StatusPollTimer().SetElapsed(13'001);
        Probe(m_Account).AccessPollTimer().SetElapsed(57'999);
        EXPECT_FALSE(bByIndex ? m_Account.AccessPersonByIndex(0) : m_Account.AccessPersonByID("p"));
        EXPECT_EQ(TakeEffects(), Lines{(bByIndex ? "report vestarai 3204: " : "trace: ") + EmptyText});
        EXPECT_EQ(Probe(m_Account).StatusPollTimer().QXTickCount(), 13'001u) << "only ever forwards";
        EXPECT_EQ(Probe(m_Account).AccessPollTimer().QXTickCount(), 58'000u);
    }
}

TEST_F(Registry, LookUpsCompareExactlyAndTakeTheFirst)
{
    AddPerson(m_Account, 3, "", "Bob");
    AddPerson(m_Account, 4, "p1", "Ann");
    AddPerson(m_Account, 5, "p1", "Bob");
    AddPerson(m_Account, -1, "P1", "Cy");
    EXPECT_EQ(m_Account.AccessPersonByID("p1")->Index(), 4);
    EXPECT_EQ(std::string(m_Account.AccessPersonByID("P1")->Name()), "Cy");
    EXPECT_FALSE(m_Account.AccessPersonByID(""));
    EXPECT_EQ(m_Account.AccessPersonByName("Bob")->Index(), 3);
    EXPECT_FALSE(m_Account.AccessPersonByName("bob"));
    EXPECT_FALSE(m_Account.AccessPersonByIndex(-1)) << "Cy has no slot";
    EXPECT_EQ(m_Account.AccessPersonExists(5), 1);
    m_Account.ClearIndexes();
    EXPECT_EQ(m_Account.AccessPersonExists(5), 0);
}

// The worker drops the list at any moment, also while the host thread holds a person of it.
TEST_F(Registry, DroppedPersonsCountAsGoneAndLiveUntilTheHostThreadLooksAgain)
{
    CAccessPersonList List;
    auto pNew = std::make_unique<CAccessPerson>(4, "p4", "1111", "Eve", "");
    for (const int i : {3, 2, 5})
        List.Append(std::make_unique<CAccessPerson>(i, ("p" + std::to_string(i)).c_str(), "1111", "Ann", ""));
    const CAccessPerson* pHeld = List.WithID("p2");
    EXPECT_TRUE(List.CopyAtIndex(2) && List.CopyWithID("p2"));
    List.Drop();
    EXPECT_FALSE(List.CopyAtIndex(2) || List.CopyWithID("p2") || List.InsertByIndex(pNew));
    EXPECT_TRUE(List.IsEmpty() && pNew);
    EXPECT_EQ(std::string(pHeld->Name()), "Ann");
    List.Remove(pHeld);
    List.Append(std::move(pNew));
    EXPECT_FALSE(List.WithName("Ann") || List.IsEmpty());
    EXPECT_TRUE(List.WithID("p4"));
}

} // namespace support
