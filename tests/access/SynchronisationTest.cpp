// Pushing, pulling, granting and revoking a slot: what is queued, what is said, and the registry afterwards.

#include "access/AccessPerson.h"
#include "support/TestHost.h"

namespace support
{

const std::string kEmpty = "~trace: AccessPersons list has not yet been initialzied or there are no users";
const std::string kNoId = "AccessPerson missing ID - can't identify for ";

using Synchronisation = DriverTest;

enum class Call { Push, Pull, Grant, Revoke };

TEST_F(Synchronisation, EachCallHasItsEffectsInOrder)
{
    SetUser(4, "Ann", "0042", "ann@x.example"); // the controller's only user
    const std::string Ann = "4|p1|Ann|0042|ann@x.example";
    const std::string Updating = "~trace: Updating AccessPerson: [Ann][p1][0042][ann@x.example]";
    const std::string UpdatingNew = "~trace: Updating AccessPerson: [Ann][][0042][ann@x.example]";
    const std::string Pin = "~trace: User's PinCode changed from [9] to [0042]";
    struct Given {
        int Index;
        const char *ID, *Name, *Pin, *Email;
    };
    const Given Same = {4, "p1", "Ann", "0042", "ann@x.example"};
    const Given SameNew = {4, "", "Ann", "0042", "ann@x.example"};
    const Given OtherPin = {4, "p1", "Ann", "9", "ann@x.example"};
    struct {
        const char* Name;
        Call What;
        std::vector<Given> Before;
        int Result;
        Lines Effects, Queued, After;
        // clang-format off
    } const Rows[] = {
        {"push of a new user", Call::Push, {}, 1, {kEmpty, kEmpty, kEmpty}, {"3 8 loc-1|dev-1|4|"},
         {"4||Ann|0042|ann@x.example"}},
        {"push of an unchanged user", Call::Push, {Same}, 0, {Updating,
         "~trace: Failed to Update AccessPerson details or update not required"}, {}, {Ann}},
        {"push of a changed user", Call::Push, {{4, "p1", "Old", "9", ""}}, 1, {Updating,
         "~trace: User's Name changed from [Old] to [Ann]", Pin,
         "~trace: User's Email changed from [] to [ann@x.example]"}, {"3 9 loc-1|dev-1|p1|"}, {Ann}},
        {"changed push before the id is known", Call::Push, {{4, "", "Ann", "9", "ann@x.example"}}, 0,
         {UpdatingNew, Pin, "report vestarai 3343: " + kNoId + "update"}, {}, {"4||Ann|0042|ann@x.example"}},
        {"push that ties a person by name", Call::Push, {{-1, "p1", "Ann", "9", "ann@x.example"}}, 1,
         {Updating, Pin}, {}, {Ann}},
        {"push that takes over another slot's person", Call::Push, {{7, "p1", "Ann", "0042",
         "ann@x.example"}}, 1, {Updating,
         "~trace: Failed to Update AccessPerson details or no changes to update"}, {}, {Ann}},
        {"pull of an empty slot", Call::Pull, {{5, "p5", "Ann", "1", ""}}, 1,
         {"~trace: No AccessPerson found with index: [4]"}, {}, {"5|p5|Ann|1|"}},
        {"pull before the id is known", Call::Pull, {SameNew}, 0, {"report vestarai 3371: " + kNoId +
         "deletion"}, {}, {"4||Ann|0042|ann@x.example"}},
        {"pull", Call::Pull, {{3, "p3", "B", "1", ""}, {4, "p%n", "%s", "1", ""}, {5, "p5", "C", "1", ""}}, 1,
         {"~trace: AccessPerson deletion queued for: [4][%s][p%n]"}, {"4 10 loc-1|dev-1|p%n|"}, {"3|p3|B|1|",
         "5|p5|C|1|"}},
        {"grant", Call::Grant, {OtherPin}, 1, {}, {"3 13 loc-1|dev-1|p1|"}, {"4|p1|Ann|9|ann@x.example"}},
        {"grant before the id is known", Call::Grant, {SameNew}, 0, {"~trace: " + kNoId + "granting access"},
         {}, {"4||Ann|0042|ann@x.example"}},
        {"revoke reads the accesses", Call::Revoke, {Same}, 1, {}, {"2 12 loc-1|dev-1|p1|"}, {Ann}},
        {"revoke before the id is known", Call::Revoke, {SameNew}, 0, {"report vestarai 3406: " + kNoId +
         "revokin access"}, {}, {"4||Ann|0042|ann@x.example"}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(std::string(Row.Name) + (bTracing ? ", traced" : ""));
            CVestaraInterface& Account = AddReadyAccount();
            for (const Given& Person : Row.Before)
                AddPerson(Account, Person.Index, Person.ID, Person.Name, Person.Pin, Person.Email);
            Account.TraceEnabled(bTracing);
            CUser* pUser = m_pSystem->Security().GetUserAtDoorLockSlot(4);
            EXPECT_EQ(Row.What == Call::Push    ? Account.PushUser(4, "dev-1", pUser)
                      : Row.What == Call::Pull  ? Account.PullUser(4, "dev-1")
                      : Row.What == Call::Grant ? Account.GrantAccess(4, "dev-1")
                                                : Account.RevokeAccess(4, "dev-1"),
                      Row.Result);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(bTracing, Row.Effects));
            EXPECT_EQ(Queued(Account), Row.Queued);
            EXPECT_EQ(Persons(Account), Row.After);
        }
    }
}

TEST_F(Synchronisation, UpdateTiesAPersonToTheFirstSlotWithItsNameAndPin)
{
    SetUser(3, "Ann", "1111");
    SetUser(5, "Ann", "2222", "5@x.example");
    SetUser(6, "Ann", "2222", "6@x.example");
    for (const auto& [Pin, After] : {std::pair{"2222", "5|p|Ann|2222|5@x.example"},
                                     {"3333", "-1||n%s|0|e"}}) { // the name alone does not tie
        CVestaraInterface& Account = AddReadyAccount();
        AddPerson(Account, -1, "p", "Ann", Pin);
        EXPECT_EQ(Account.UpdateAccessPerson(Account.AccessPersonByID("p"), nullptr, "n%s", "", "0", "e"), 1);
        EXPECT_EQ(Persons(Account), Lines{After});
    }
}

} // namespace support
