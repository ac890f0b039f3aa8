// Replies about access persons and their accesses: the registry afterwards, and the requests that follow.

#include "tests/cloud/CloudTest.h"

namespace support
{

const std::string kNoData = "'data' node not found - aborting ProcessResponse";

static std::string Person(const std::string& id, const std::string& name, const std::string& pin = "1111",
                          const std::string& email = "null")
{
    return R"({"type":"access_user","id":")" + id + R"(","name":")" + name + R"(","pin":")" + pin +
           R"(","email":")" + email + R"("})";
}

static std::string Access(const std::string& id, const std::string& deviceId, const std::string& userId)
{
    return R"({"type":"access_person_access","id":")" + id + R"(","accessible_id":")" + deviceId +
           R"(","access_person_id":")" + userId + R"("})";
}

using PersonRepliesTest = CloudTest;

TEST_F(PersonRepliesTest, KeepTheRegistryInStep)
{
    SetUser(4, "Ann", "1111", "ann@x.example");
    SetUser(29, "Bob", "2222");
    const std::string wrong = "report vestarai 1379: Something went wrong parsing user";
    struct {
        int command;
        std::vector<std::array<const char*, 2>> before; // id and name, the first one at slot 4
        std::string json;
        int result;
        Lines effects;
        Lines after; // by then Ann is tied to slot 4 and Bob to slot 29, by name
        // clang-format off
    } const rows[] = {
        {7, {}, R"({"meta":{},"data":[)" + Person("p1", "Ann", "0001", "a@b") + "," +
         Person("p2", "Cy", "3", "NuLL") + "]}", 1, {}, {"4|p1|Ann|0001|a@b", "-1|p2|Cy|3|"}},
        {7, {{"x", "X"}, {"p2", "Old"}}, R"({"x":{"meta":0,"data":[{"type":"x"},)" + Person("p2", "New %s",
         "9", "n@x") + "]}}", 1, {}, {"-1|x|X|1111|", "-1|p2|New %s|9|n@x"}},
        // A namesake stays as it is.
        {7, {{"p1", "Ann"}}, R"({"meta":0,"data":[{"type":"x"},)" + Person("p2", "Ann", "9", "n") + "]}", 1,
         {"trace: Found existing AccessPerson with matching name"}, {"4|p1|Ann|1111|"}},
        {7, {{"p1", "Bob"}}, R"({"meta":0,"data":[{"type":"guest%n"},{"type":"access_user"},)"
         R"({"type":"access_user","id":"p1","name":"n","email":"e"},)" + Person("p3", "Cy", "", "") + "]}", 1,
         {"~trace: Unsupported AccessPerson Type: [guest%n]", Missing("id"), wrong, Missing("pin"), wrong,
          "~trace: Processing [Cy:p3] ...", "~trace: AccessPerson added from remote - non-indexed"},
         {"29|p1|Bob|1111|", "-1|p3|Cy||"}},
        // An update goes by the id that was sent.
        {9, {{"sent", "Ann"}}, R"({"data":)" + Person("p9", "Z") + "}", 1, {},
         {"4|p9|Ann|1111|ann@x.example"}},
        // Without data nobody is even tied anew.
        {9, {{"p1", "Bob"}}, "[]", 0, {"report vestarai 1347: " + kNoData}, {"4|p1|Bob|1111|"}},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        CVestaraInterface& account = AddReadyAccount();
        for (std::size_t i = 0; i < row.before.size(); ++i)
            AddPerson(account, i == 0 ? 4 : -1, row.before[i][0], row.before[i][1]);
        Expect(account, row.command, row.json, row.result, row.effects, "", "sent");
        EXPECT_EQ(Persons(account), row.after);
        EXPECT_EQ(account.NCommands(), 0);
    }
}

TEST_F(PersonRepliesTest, CreatedPersonIsGrantedTheLocksOfItsUser)
{
    SetUser(4, "Ann");
    CVestaraInterface& account = AddReadyAccount();
    const int user = m_system->Security().GetUserAtDoorLockSlot(4)->ID();
    AddLock(account, "dev-1", "A").EnableUser(user, 1);
    AddLock(account, "dev-2", "B").EnableUser(user + 1, 1);
    AddLock(account, "dev-3", "C").EnableUser(user, 1);
    AddLock(account, "dev-4", "D").EnableUser(user, 1);
    AddPerson(account, 4, "", "Ann");
    AddPerson(account, 7, "", "Nobody");
    const auto create = [&](const char* slot, const std::string& createdList, const Lines& effects) {
        Expect(account, CMD_ACCESS_PERSON_CREATE, R"({"data":)" + createdList + "}", 1, effects, "", slot);
    };
    create("7", Person("p7", "Nobody"), {"report vestarai 1421: User is NULL"});
    create("4", Person("", "Ann"), Lines(3, "report vestarai 1431: GrantAccess failed"));
    EXPECT_EQ(Queued(account), Lines{});
    create("4", Person("p1", "Ann"), {});
    EXPECT_EQ(Queued(account),
              (Lines{"3 13 loc-1|dev-1|p1|", "3 13 loc-1|dev-3|p1|", "3 13 loc-1|dev-4|p1|"}));
}

TEST_F(PersonRepliesTest, AccessListLeadsToARevocationForEachMatch)
{
    const std::string hit = Access("a%n", "dev-1", "p1");
    const std::string processing = "~trace: Processing [a%n:dev-1] ...";
    const std::string wrong = "report vestarai 1478: Something went wrong parsing user accesses";
    const Lines revocations(2, "4 14 loc-9|dev-1|p1|a%n");
    CVestaraInterface& account = AddReadyAccount();
    Expect(account, CMD_ACCESSES_LIST,
           R"({"meta":0,"data":[{"type":"%s"},{"type":"access_person_access"},)"
           R"({"type":"access_person_access","id":"b","access_person_id":"p1"},)" +
               Access("b", "dev-1", "p2") + "," + Access("b", "dev-2", "p1") + "," + hit + "," + hit + "]}",
           1,
           {"~trace: Unsupported AccessPersonAccess Type: [%s]", Missing("id"), wrong,
            Missing("accessible_id"), wrong, "~trace: Processing [b:dev-1] ...",
            "~trace: Processing [b:dev-2] ...", processing, processing},
           "dev-1", "p1");
    EXPECT_EQ(Queued(account), revocations);
    Expect(account, CMD_ACCESSES_QUERY, R"({"meta":0,"data":[{"type":"x"},)" + hit + "]}", 1, {}, "dev-1",
           "p1");
    Expect(account, CMD_ACCESS_GRANT, "[]", 0, {"report vestarai 1452: " + kNoData});
    EXPECT_EQ(Queued(account), revocations) << "asked for only by a list";
}

} // namespace support
