// Pushing, pulling, granting and revoking a slot: what is queued, what is said, and the registry afterwards.

#include "access/AccessPerson.h"
#include "tests/support/TestHost.h"

namespace support
{

const std::string kEmpty = "~trace: AccessPersons list has not yet been initialzied or there are no users";
const std::string kNoId = "AccessPerson missing ID - can't identify for ";

using SynchronisationTest = DriverTest;

enum class Call { Push, Pull, Grant, Revoke };

TEST_F(SynchronisationTest, EachCallHasItsEffectsInOrder)
{
    SetUser(4, "Ann", "0042", "ann@x.example"); // the controller's only user
    const std::string ann = "4|p1|Ann|0042|ann@x.example";
    const std::string updating = "~trace: Updating AccessPerson: [Ann][p1][0042][ann@x.example]";
    const std::string updatingNew = "~trace: Updating AccessPerson: [Ann][][0042][ann@x.example]";
    const std::string pin = "~trace: User's PinCode changed from [9] to [0042]";
    struct Given {
        int index;
        const char *id, *name, *pin, *email;
    };
    const Given same = {4, "p1", "Ann", "0042", "ann@x.example"};
    const Given sameNew = {4, "", "Ann", "0042", "ann@x.example"};
    const Given otherPin = {4, "p1", "Ann", "9", "ann@x.example"};
    struct {
        const char* name;
        Call what;
        std::vector<Given> before;
        int result;
        Lines effects, queued, after;
        // clang-format off
    } const rows[] = {
        {"push of a new user", Call::Push, {}, 1, {kEmpty, kEmpty, kEmpty}, {"3 8 loc-1|dev-1|4|"},
         {"4||Ann|0042|ann@x.example"}},
        {"push of an unchanged user", Call::Push, {same}, 0, {updating,
         "~trace: Failed to Update AccessPerson details or update not required"}, {}, {ann}},
        {"push of a changed user", Call::Push, {{4, "p1", "Old", "9", ""}}, 1, {updating,
         "~trace: User's Name changed from [Old] to [Ann]", pin,
         "~trace: User's Email changed from [] to [ann@x.example]"}, {"3 9 loc-1|dev-1|p1|"}, {ann}},
        {"changed push before the id is known", Call::Push, {{4, "", "Ann", "9", "ann@x.example"}}, 0,
         {updatingNew, pin, "report vestarai 3343: " + kNoId + "update"}, {}, {"4||Ann|0042|ann@x.example"}},
        {"push that ties a person by name", Call::Push, {{-1, "p1", "Ann", "9", "ann@x.example"}}, 1,
         {updating, pin}, {}, {ann}},
        {"push that takes over another slot's person", Call::Push, {{7, "p1", "Ann", "0042",
         "ann@x.example"}}, 1, {updating,
         "~trace: Failed to Update AccessPerson details or no changes to update"}, {}, {ann}},
        {"take-over before the id is known", Call::Push, {{7, "", "Ann", "0042", "ann@x.example"}}, 0,
         {updatingNew, "~trace: Failed to Update AccessPerson details or no changes to update",
         "report vestarai 3358: " + kNoId + "update"}, {}, {"4||Ann|0042|ann@x.example"}},
        {"pull of an empty slot", Call::Pull, {{5, "p5", "Ann", "1", ""}}, 1,
         {"~trace: No AccessPerson found with index: [4]"}, {}, {"5|p5|Ann|1|"}},
        {"pull before the id is known", Call::Pull, {sameNew}, 0, {"report vestarai 3371: " + kNoId +
         "deletion"}, {}, {"4||Ann|0042|ann@x.example"}},
        {"pull", Call::Pull, {{3, "p3", "B", "1", ""}, {4, "p%n", "%s", "1", ""}, {5, "p5", "C", "1", ""}}, 1,
         {"~trace: AccessPerson deletion queued for: [4][%s][p%n]"}, {"4 10 loc-1|dev-1|p%n|"}, {"3|p3|B|1|",
         "5|p5|C|1|"}},
        {"grant", Call::Grant, {otherPin}, 1, {}, {"3 13 loc-1|dev-1|p1|"}, {"4|p1|Ann|9|ann@x.example"}},
        {"grant before the id is known", Call::Grant, {sameNew}, 0, {"~trace: " + kNoId + "granting access"},
         {}, {"4||Ann|0042|ann@x.example"}},
        {"grant of an empty slot", Call::Grant, {}, 0, {kEmpty}, {}, {}},
        {"revoke of an empty slot", Call::Revoke, {}, 0, {kEmpty}, {}, {}},
        {"revoke reads the accesses", Call::Revoke, {same}, 1, {}, {"2 12 loc-1|dev-1|p1|"}, {ann}},
        {"revoke before the id is known", Call::Revoke, {sameNew}, 0, {"report vestarai 3406: " + kNoId +
         "revokin access"}, {}, {"4||Ann|0042|ann@x.example"}},
    };
    // clang-format on
    for (const auto& row : rows) {
        for (const bool tracing : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (tracing ? ", traced" : ""));
            CVestaraInterface& account = AddReadyAccount();
            for (const Given& person : row.before)
                AddPerson(account, person.index, person.id, person.name, person.pin, person.email);
            account.TraceEnabled(tracing);
            CUser* user = m_system->Security().GetUserAtDoorLockSlot(4);
            EXPECT_EQ(row.what == Call::Push    ? account.PushUser(4, "dev-1", user)
                      : row.what == Call::Pull  ? account.PullUser(4, "dev-1")
                      : row.what == Call::Grant ? account.GrantAccess(4, "dev-1")
                                                : account.RevokeAccess(4, "dev-1"),
                      row.result);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(tracing, row.effects));
            EXPECT_EQ(Queued(account), row.queued);
            EXPECT_EQ(Persons(account), row.after);
        }
    }
}

TEST_F(SynchronisationTest, UpdateTiesAPersonToTheFirstSlotWithItsNameAndPin)
{
    SetUser(3, "Ann", "1111");
    SetUser(5, "Ann", "2222", "5@x.example");
    SetUser(6, "Ann", "2222", "6@x.example");
    for (const auto& [pin, after] : {std::pair{"2222", "5|p|Ann|2222|5@x.example"},
                                     {"3333", "-1||n%s|0|e"}}) { // the name alone does not tie
        CVestaraInterface& account = AddReadyAccount();
        AddPerson(account, -1, "p", "Ann", pin);
        EXPECT_EQ(account.UpdateAccessPerson(account.AccessPersonByID("p"), nullptr, "n%s", "", "0", "e"), 1);
        EXPECT_EQ(Persons(account), Lines{after});
    }
    EXPECT_EQ(AddAccount().UpdateAccessPerson(nullptr, nullptr, "", "", "", ""), 0);
    EXPECT_EQ(m_journal.TakeReports(), Lines{"vestarai 3419: AccessPerson NULL - cannot update"});
}

} // namespace support
