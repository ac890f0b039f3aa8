// The order of the registry, its refusals, its look-ups, and the ties to user slots.

#include "access/AccessPerson.h"
#include "support/TestHost.h"

namespace support
{

const std::string kEmptyText = "AccessPersons list has not yet been initialzied or there are no users";

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
    const std::array<const char*, 10> Names = {"P0", "P1", "P2", "P3", "P4", "P5", "P6", "P7", "P8", "P9"};
    EXPECT_TRUE(Insert(-1, "First"));
    for (const int i : {5, 2, 9, 0, 1, 8})
        EXPECT_TRUE(Insert(i, Names[static_cast<std::size_t>(i)]));
    EXPECT_TRUE(Insert(-7, "P-7"));
    EXPECT_TRUE(Insert(-1, "Last"));
    m_Journal.Take();
    EXPECT_EQ(Persons(m_Account),
              (Lines{"-7||P-7|1111|", "0||P0|1111|", "1||P1|1111|", "2||P2|1111|", "5||P5|1111|",
                     "8||P8|1111|", "9||P9|1111|", "-1||First|1111|", "-1||Last|1111|"}));
    // A changed index moves nothing; the next person finds its place from the head.
    m_Account.AccessPersonByIndex(2)->Index(7);
    EXPECT_TRUE(Insert(6, "P6"));
    EXPECT_EQ(Persons(m_Account)[3], "6||P6|1111|");
}

TEST_F(Registry, RefusesASecondPersonOfASlotOrOfAName)
{
    m_Account.TraceEnabled(1);
    EXPECT_TRUE(Insert(-1, "Bob"));
    EXPECT_EQ(TakeEffects(),
              (Lines{"trace: AccessPerson added from remote - non-indexed", "trace: " + kEmptyText}));
    EXPECT_FALSE(Insert(-1, "Bob"));
    EXPECT_EQ(TakeEffects(), (Lines{"trace: AccessPerson added from remote - non-indexed",
                                    "report vestarai 3277: AccessPerson already in list - not adding"}));
    EXPECT_TRUE(Insert(3, "Bob")); // names are compared for persons without a slot only
    EXPECT_TRUE(Insert(-1, "bob"));
    m_Journal.Take();
    EXPECT_FALSE(Insert(3, "Cy"));
    EXPECT_EQ(TakeEffects(), (Lines{"report vestarai 3251: AccessPersons already exists with this index"}));
    EXPECT_EQ(Persons(m_Account).size(), 3u);
}

TEST_F(Registry, EmptyOneSaysSoAndBringsThePollsForward)
{
    const std::function<bool()> LookUps[] = {
        [this] { return m_Account.AccessPersonByID("p") != nullptr; },
        [this] { return m_Account.AccessPersonByName("n") != nullptr; },
        [this] { return m_Account.AccessPersonExists(0) != 0; },
        [this] { return m_Account.AccessPersonExists("n") != 0; },
        [this] { return m_Account.AccessPersonByIndex(0) != nullptr; },
        [this] { return !Insert(4, "Ann"); }, // the last one: it fills the registry
    };
    m_Account.TraceEnabled(1);
    for (const auto& LookUp : LookUps) {
        m_Account.ResetUpdateTimers();
        EXPECT_FALSE(LookUp());
        const std::string Start = &LookUp == &LookUps[4] ? "report vestarai 3204: " : "trace: ";
        EXPECT_EQ(TakeEffects(), Lines{Start + kEmptyText});
        EXPECT_EQ(Probe(m_Account).StatusPollTimer().QXTickCount(), 13'000u);
        EXPECT_EQ(Probe(m_Account).AccessPollTimer().QXTickCount(), 58'000u);
    }
    m_Account.ResetUpdateTimers();
    for (int i = 0; i < 5; ++i)
        EXPECT_FALSE(LookUps[i]());
    EXPECT_EQ(TakeEffects(), Lines{});
    EXPECT_EQ(Probe(m_Account).StatusPollTimer().QXTickCount(), 0u);
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
    EXPECT_FALSE(m_Account.AccessPersonByIndex(-1)); // Cy has no slot
    EXPECT_EQ(m_Account.AccessPersonExists(-1), 0);
    EXPECT_EQ(m_Account.AccessPersonExists(5), 1);
    EXPECT_EQ(m_Account.AccessPersonExists("Cy"), 1);
}

TEST_F(Registry, SlotsComeFromTheControllersUsers)
{
    AddPerson(m_Account, 0, "p0", "Gone");
    AddPerson(m_Account, 1, "p1", "Bob");
    AddPerson(m_Account, 2, "p2", "Bob");
    AddPerson(m_Account, -1, "p3", "Dee");
    SetUser(0, "Ann");
    SetUser(5, "Dee");
    SetUser(28, "Dee");
    SetUser(29, "Bob");
    m_Account.RefreshIndexes();
    EXPECT_EQ(Persons(m_Account),
              (Lines{"-1|p0|Gone|1111|", "29|p1|Bob|1111|", "-1|p2|Bob|1111|", "28|p3|Dee|1111|"}));
    m_Account.ClearIndexes();
    EXPECT_EQ(m_Account.AccessPersonExists(29), 0);
    m_Account.RemoveAllAccessPersons();
    EXPECT_EQ(Persons(m_Account), Lines{});
}

} // namespace support
