// Replies about access persons and their accesses: the registry afterwards, and the requests that follow.

#include "cloud/CloudTest.h"

namespace support
{

const std::string kNoData = "'data' node not found - aborting ProcessResponse";

static std::string Person(const std::string& ID, const std::string& Name, const std::string& Pin = "1111",
                          const std::string& Email = "null")
{
    return R"({"type":"access_user","id":")" + ID + R"(","name":")" + Name + R"(","pin":")" + Pin +
           R"(","email":")" + Email + R"("})";
}

static std::string Access(const std::string& ID, const std::string& DeviceID, const std::string& UserID)
{
    return R"({"type":"access_person_access","id":")" + ID + R"(","accessible_id":")" + DeviceID +
           R"(","access_person_id":")" + UserID + R"("})";
}

using PersonReplies = CloudTest;

TEST_F(PersonReplies, KeepTheRegistryInStep)
{
    SetUser(4, "Ann", "1111", "ann@x.example");
    SetUser(29, "Bob", "2222");
    const std::string Wrong = "report vestarai 1379: Something went wrong parsing user";
    struct {
        int Command;
        std::vector<std::array<const char*, 2>> Before; // id and name, the first one at slot 4
        std::string Json;
        int Result;
        Lines Effects;
        Lines After; // by then Ann is tied to slot 4 and Bob to slot 29, by name
        // clang-format off
    } const Rows[] = {
        {7, {}, R"({"meta":{},"data":[)" + Person("p1", "Ann", "0001", "a@b") + "," +
         Person("p2", "Cy", "3", "NuLL") + "]}", 1, {}, {"4|p1|Ann|0001|a@b", "-1|p2|Cy|3|"}},
        {7, {{"x", "X"}, {"p2", "Old"}}, R"({"x":{"meta":0},"data":[)" + Person("p2", "New %s", "9", "n@x") +
         "]}", 1, {}, {"-1|x|X|1111|", "-1|p2|New %s|9|n@x"}},
        // A namesake stays as it is.
        {7, {{"p1", "Ann"}}, R"({"meta":0,"data":[{"type":"x"},)" + Person("p2", "Ann", "9", "n") + "]}", 1,
         {"trace: Found existing AccessPerson with matching name"}, {"4|p1|Ann|1111|"}},
        {7, {{"p1", "Bob"}}, R"({"meta":0,"data":[{"type":"guest%n"},{"type":"access_user"},)"
         R"({"type":"access_user","id":"p1","name":"n","email":"e"},)" + Person("p3", "Cy", "", "") + "]}", 1,
         {"~trace: Unsupported AccessPerson Type: [guest%n]", Missing("id"), Wrong, Missing("pin"), Wrong,
          "~trace: Processing [Cy:p3] ...", "~trace: AccessPerson added from remote - non-indexed"},
         {"29|p1|Bob|1111|", "-1|p3|Cy||"}},
        // An update goes by the id that was sent.
        {9, {{"sent", "Ann"}}, R"({"data":)" + Person("p9", "Z") + "}", 1, {},
         {"4|p9|Ann|1111|ann@x.example"}},
        // Without data nobody is even tied anew.
        {9, {{"p1", "Bob"}}, "[]", 0, {"report vestarai 1347: " + kNoData}, {"4|p1|Bob|1111|"}},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        CVestaraInterface& Account = AddReadyAccount();
        for (std::size_t i = 0; i < Row.Before.size(); ++i)
            AddPerson(Account, i == 0 ? 4 : -1, Row.Before[i][0], Row.Before[i][1]);
        Expect(Account, Row.Command, Row.Json, Row.Result, Row.Effects, "", "sent");
        EXPECT_EQ(Persons(Account), Row.After);
        EXPECT_EQ(Account.NCommands(), 0);
    }
}

TEST_F(PersonReplies, CreatedPersonIsGrantedTheLocksOfItsUser)
{
    SetUser(4, "Ann");
    CVestaraInterface& Account = AddReadyAccount();
    const int iUser = m_pSystem->Security().GetUserAtDoorLockSlot(4)->ID();
    AddLock(Account, "dev-1", "A").EnableUser(iUser, 1);
    AddLock(Account, "dev-2", "B").EnableUser(iUser + 1, 1);
    AddLock(Account, "dev-3", "C").EnableUser(iUser, 1);
    AddPerson(Account, 4, "", "Ann");
    AddPerson(Account, 7, "", "Nobody");
    const auto Create = [&](const char* Slot, const std::string& Created, const Lines& Effects) {
        Expect(Account, CMD_ACCESS_PERSON_CREATE, R"({"data":)" + Created + "}", 1, Effects, "", Slot);
    };
    Create("7", Person("p7", "Nobody"), {"report vestarai 1421: User is NULL"});
    Create("4", Person("", "Ann"), Lines(2, "report vestarai 1431: GrantAccess failed"));
    EXPECT_EQ(Queued(Account), Lines{});
    Create("4", Person("p1", "Ann"), {});
    EXPECT_EQ(Queued(Account), (Lines{"3 13 loc-1|dev-1|p1|", "3 13 loc-1|dev-3|p1|"}));
}

TEST_F(PersonReplies, AccessListLeadsToARevocationForEachMatch)
{
    const std::string Hit = Access("a%n", "dev-1", "p1");
    const std::string Processing = "~trace: Processing [a%n:dev-1] ...";
    const std::string Wrong = "report vestarai 1478: Something went wrong parsing user accesses";
    const Lines Revocations(2, "4 14 loc-9|dev-1|p1|a%n");
    CVestaraInterface& Account = AddReadyAccount();
    Expect(Account, CMD_ACCESSES_LIST,
           R"({"meta":0,"data":[{"type":"%s"},{"type":"access_person_access"},)"
           R"({"type":"access_person_access","id":"b","access_person_id":"p1"},)" +
               Access("b", "dev-1", "p2") + "," + Access("b", "dev-2", "p1") + "," + Hit + "," + Hit + "]}",
           1,
           {"~trace: Unsupported AccessPersonAccess Type: [%s]", Missing("id"), Wrong,
            Missing("accessible_id"), Wrong, "~trace: Processing [b:dev-1] ...",
            "~trace: Processing [b:dev-2] ...", Processing, Processing},
           "dev-1", "p1");
    EXPECT_EQ(Queued(Account), Revocations);
    Expect(Account, CMD_ACCESSES_QUERY, R"({"meta":0,"data":[{"type":"x"},)" + Hit + "]}", 1, {}, "dev-1",
           "p1");
    Expect(Account, CMD_ACCESS_GRANT, "[]", 0, {"report vestarai 1452: " + kNoData});
    EXPECT_EQ(Queued(Account), Revocations) << "asked for only by a list";
}

} // namespace support
