// Replies about access persons and their accesses: the registry afterwards, and the requests that follow.

#include "support/TestHost.h"

namespace support
{

const std::string kEmpty = "~trace: AccessPersons list has not yet been initialzied or there are no users";
const std::string kAdded = "~trace: AccessPerson added from remote - non-indexed";
const std::string kNamesake = "trace: Found existing AccessPerson with matching name";
const std::string kWrong = "report vestarai 1379: Something went wrong parsing user";

static std::string Missing(const std::string& Key)
{
    return "report vestarai 3023: \"" + Key + "\" not identified";
}

static std::string Person(const std::string& ID, const std::string& Name, const std::string& Pin = "1111",
                          const std::string& Email = "null")
{
    return R"({"type":"access_user","id":")" + ID + R"(","name":")" + Name + R"(","pin":")" + Pin +
           R"(","email":")" + Email + R"("})";
}

class PersonReplies : public DriverTest
{
protected:
    PersonReplies()
    {
        SetUser(4, "Ann", "1111", "ann@x.example");
        SetUser(29, "Bob", "2222");
    }
};

TEST_F(PersonReplies, KeepTheRegistryInStep)
{
    struct {
        const char* Name;
        int Command;
        const char* UserID;
        std::vector<std::array<const char*, 2>> Before; // id and name, the first one at slot 4
        std::string Json;
        int Result;
        Lines Effects;
        Lines After; // by then Ann is tied to slot 4 and Bob to slot 29, by name
        // clang-format off
    } const Rows[] = {
        {"new persons", 7, "", {}, R"({"meta":{},"data":[)" + Person("p1", "Ann", "0001", "a@b") + "," +
         Person("p2", "Cy", "3", "NuLL") + "]}", 1, {"~trace: Processing [Ann:p1] ...", kEmpty, kEmpty,
         kAdded, kEmpty, "~trace: Processing [Cy:p2] ...", kAdded}, {"4|p1|Ann|0001|a@b", "-1|p2|Cy|3|"}},
        {"list without meta is one entry", 7, "", {{"x", "X"}}, R"({"data":[)" + Person("p1", "Eve", "1", "e")
         + "," + Person("p2", "Cy") + "]}", 1, {"~trace: Processing [Eve:p1] ...", kAdded}, {"-1|x|X|1111|",
         "-1|p1|Eve|1|e"}},
        {"controller's user wins", 7, "", {{"p1", "Old"}}, R"({"x":{"meta":0},"data":[)" + Person("p1",
         "New %s", "9", "n@x") + "]}", 1, {"~trace: Processing [New %s:p1] ...",
         "~trace: Updating AccessPerson: [Ann][p1][1111][ann@x.example]",
         "~trace: User's Name changed from [Old] to [Ann]",
         "~trace: User's Email changed from [] to [ann@x.example]"}, {"4|p1|Ann|1111|ann@x.example"}},
        {"cloud's values without a user", 7, "", {{"x", "X"}, {"p2", "Old"}}, R"({"meta":1,"data":[)" +
         Person("p2", "New %s", "9", "n@x") + "]}", 1, {"~trace: Processing [New %s:p2] ...",
         "~trace: Updating AccessPerson: [New %s][p2][9][n@x]",
         "~trace: User's Name changed from [Old] to [New %s]",
         "~trace: User's PinCode changed from [1111] to [9]",
         "~trace: User's Email changed from [] to [n@x]"}, {"-1|x|X|1111|", "-1|p2|New %s|9|n@x"}},
        {"namesake stays as it is", 7, "", {{"p1", "Ann"}}, R"({"data":)" + Person("p2", "Ann", "9", "n") +
         "}", 1, {"~trace: Processing [Ann:p2] ...", kNamesake}, {"4|p1|Ann|1111|"}},
        {"other kinds and incomplete ones are skipped", 7, "", {{"p1", "Bob"}},
         R"({"meta":0,"data":[{"type":"guest%n"},3,{"type":"access_user"},)"
         R"({"type":"access_user","id":"p1","name":"n","email":"e"},)" + Person("p3", "Cy", "", "") + "]}", 1,
         {"~trace: Unsupported AccessPerson Type: [guest%n]", Missing("type"),
         "~trace: Unsupported AccessPerson Type: []", Missing("id"), kWrong, Missing("pin"), kWrong,
         "~trace: Processing [Cy:p3] ...", kAdded}, {"29|p1|Bob|1111|", "-1|p3|Cy||"}},
        {"update goes by the id that was sent", 9, "p1", {{"p1", "Ann"}}, R"({"data":)" + Person("p9", "Z") +
         "}", 1, {"~trace: Processing [Z:p9] ...",
         "~trace: Updating AccessPerson: [Ann][p9][1111][ann@x.example]",
         "~trace: User's ID changed from [p1] to [p9]",
         "~trace: User's Email changed from [] to [ann@x.example]"}, {"4|p9|Ann|1111|ann@x.example"}},
        // not even tied anew
        {"no data", 9, "p1", {{"p1", "Bob"}}, R"({"meta":0})", 0,
         {"report vestarai 1347: 'data' node not found - aborting ProcessResponse"}, {"4|p1|Bob|1111|"}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(std::string(Row.Name) + (bTracing ? ", traced" : ""));
            CVestaraInterface& Account = AddReadyAccount();
            for (std::size_t i = 0; i < Row.Before.size(); ++i)
                AddPerson(Account, i == 0 ? 4 : -1, Row.Before[i][0], Row.Before[i][1]);
            Account.TraceEnabled(bTracing);
            const Lines Expected =
                Lines{"~trace: ProcessingResponse [" + std::to_string(Row.Command) + "]"} + Row.Effects;
            EXPECT_EQ(Process(Account, static_cast<CommandID>(Row.Command), Row.Json, "", "", Row.UserID),
                      Row.Result);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(bTracing, Expected));
            EXPECT_EQ(Persons(Account), Row.After);
            EXPECT_EQ(Account.NCommands(), 0);
        }
    }
}

TEST_F(PersonReplies, CreatedPersonIsGrantedTheLocksOfItsUser)
{
    CVestaraInterface& Account = AddReadyAccount();
    const int iUser = m_pSystem->Security().GetUserAtDoorLockSlot(4)->ID();
    AddLock(Account, "dev-1", "A").EnableUser(iUser, 1);
    AddLock(Account, "dev-2", "B").EnableUser(iUser + 1, 1);
    AddLock(Account, "dev-3", "C").EnableUser(iUser, 1);
    struct {
        const char *Name, *UserID;
        std::string ID; // that the cloud gives
        Lines Effects, Queued;
        // clang-format off
    } const Rows[] = {
        {"without an id each grant fails", "4", "", {"report vestarai 1431: GrantAccess failed",
         "report vestarai 1431: GrantAccess failed"}, {}},
        {"granted lock by lock", "4", "p1", {}, {"3 13 loc-1|dev-1|p1|", "3 13 loc-1|dev-3|p1|"}},
        {"no user at the slot", "7", "p7", {"report vestarai 1421: User is NULL"}, {}},
        {"no slot", "x", "p8", {kNamesake}, {}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        Account.RemoveAllAccessPersons();
        AddPerson(Account, 4, "", "Ann");
        AddPerson(Account, 7, "", "Nobody");
        EXPECT_EQ(Process(Account, CMD_ACCESS_PERSON_CREATE, R"({"data":)" + Person(Row.ID, "Ann") + "}", "",
                          "", Row.UserID, METHOD_WRITE),
                  1);
        EXPECT_EQ(TakeEffects(), Row.Effects);
        EXPECT_EQ(Queued(Account), Row.Queued);
        DropQueued(Account);
    }
}

TEST_F(PersonReplies, AccessListLeadsToARevocationForEachMatch)
{
    const std::string Hit =
        R"({"type":"access_person_access","id":"a%n","accessible_id":"dev-1","access_person_id":"p1"})";
    const std::string Processing = "~trace: Processing [a%n:dev-1] ...";
    const std::string Revoke = "4 14 loc-9|dev-1|p1|a%n";
    const std::string Wrong = "report vestarai 1478: Something went wrong parsing user accesses";
    struct {
        int Command;
        std::string Json;
        int Result;
        Lines Effects, Queued;
        // clang-format off
    } const Rows[] = {
        {12, R"({"meta":0,"data":[)" + Hit + "," + Hit + "]}", 1, {Processing, Processing}, {Revoke, Revoke}},
        {12, R"({"data":)" + Hit + "}", 1, {Processing}, {Revoke}},
        {11, R"({"data":)" + Hit + "}", 1, {Processing}, {}},
        {12,
         R"({"data":{"type":"access_person_access","id":"b","accessible_id":"dev-1","access_person_id":"p2"}})",
         1, {"~trace: Processing [b:dev-1] ..."}, {}},
        {12, R"({"meta":0,"data":[{"type":"%s"},{"type":"access_person_access","accessible_id":"dev-1"},)"
         R"({"type":"access_person_access","id":"b","access_person_id":"p1"},)" + Hit + "]}", 1,
         {"~trace: Unsupported AccessPersonAccess Type: [%s]", Missing("id"), Wrong, Missing("accessible_id"),
         Wrong, Processing}, {Revoke}},
        {13, "[]", 0, {"report vestarai 1452: 'data' node not found - aborting ProcessResponse"}, {}},
    };
    // clang-format on
    CVestaraInterface& Account = AddReadyAccount();
    for (const auto& Row : Rows) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(Row.Json + (bTracing ? ", traced" : ""));
            Account.TraceEnabled(bTracing);
            const Lines Expected =
                Lines{"~trace: ProcessingResponse [" + std::to_string(Row.Command) + "]"} + Row.Effects;
            EXPECT_EQ(Process(Account, static_cast<CommandID>(Row.Command), Row.Json, "loc-9", "dev-1", "p1"),
                      Row.Result);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(bTracing, Expected));
            EXPECT_EQ(Queued(Account), Row.Queued);
            DropQueued(Account);
        }
    }
}

} // namespace support
