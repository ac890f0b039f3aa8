// Users of the controller on their way to the cloud: what each change of a slot queues and sends, and what
// both sides know afterwards.

#include "simulation/Simulation.h"

#include <gmock/gmock.h>

namespace
{

using support::Lines;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace std::chrono_literals;

const std::string kNotPushed = "portivo 617: PushUser failed or wasn't required";
const std::string kDuplicate = "vestarai 967: Command unsuccessful [Conflict]";
const std::string kRefused = "vestarai 967: Command unsuccessful [Unprocessable Entity]";
const std::string kNoPage = "vestarai 888: Page returned NULL - failed to process request";
const std::string kDan = "-1|p-dan|Dan|4444|dan@x.example";
const std::string kDanInCloud = "Dan 4444 dan@x.example";

class UserSlots : public support::SimulationTest
{
protected:
    UserSlots() : SimulationTest(support::kLakeHouse), m_Account(AddReadyAccount())
    {
        AddLock(m_Account, "front", "Front");
        AddLock(m_Account, "back", "Back");
        Live(70s);
    }

    /// Does what a step says, and tells the locks as a controller does:
    /// "3=NAME|PIN|EMAIL" stores a user, "3=" empties the slot, "3+LOCK" and "3-LOCK" enable and disable the
    /// slot's user on a lock, "3~NAME|PIN|EMAIL" stores a user and tells nobody yet, "3!" tells them; "live"
    /// lets two minutes pass, "discover" looks for locks again, "lose" lets the cloud's next answer to a
    /// creation get lost.
    void Do(const std::string& Step)
    {
        if (Step == "live")
            return Live(130s);
        if (Step == "lose")
            return m_Simulated.Fault(R"("kind":"close","match":{"method":"POST","path":"/access_persons"})");
        if (Step == "discover")
            return m_Account.Discover();
        const int Slot = Step[0] - '0';
        const std::string Rest = Step.substr(2);
        switch (Step[1]) {
        case '+':
        case '-':
            Lock(Rest.c_str()).EnableUser(Slot + 1, Step[1] == '+');
            break;
        case '=':
        case '~':
            if (Rest.empty()) {
                EXPECT_TRUE(m_pSystem->Security().DeleteUser(Slot));
                break;
            }
            Store(Slot, Rest);
            break;
        }
        if (Step[1] != '~')
            m_pSystem->AnnounceUserSlot(Slot);
        if (Step[1] == '=' && Rest.empty()) {
            for (const char* pLock : {"front", "back"})
                Lock(pLock).EnableUser(Slot + 1, 0);
        }
    }
    void Store(int Slot, const std::string& User)
    {
        const std::size_t First = User.find('|'), Second = User.find('|', First + 1);
        EXPECT_EQ(m_pSystem->Security().SetUser(Slot, {User.substr(0, First), User.substr(Second + 1),
                                                       User.substr(First + 1, Second - First - 1)}),
                  std::nullopt);
    }

    CVestaraInterface& m_Account;
};

std::string Create(const std::string& Name, const std::string& Email, const std::string& Pin,
                   int Status = 200)
{
    return R"(POST /access_persons {"type":"access_user","attributes":{"name":")" + Name + '"' +
           (Email.empty() ? "" : R"(,"email":")" + Email + '"') + R"(,"pin":")" + Pin + R"("}} )" +
           std::to_string(Status);
}
std::string Unanswered(std::string Change)
{
    return Change.erase(Change.size() - 3);
}
std::string Update(const std::string& ID, const std::string& Name, const std::string& Pin, int Status = 200)
{
    return "PUT /access_persons/" + ID + R"( {"attributes":{"name":")" + Name + R"(","pin":")" + Pin +
           R"("}} )" + std::to_string(Status);
}
std::string Grant(const std::string& ID, const std::string& Lock, int Status = 200)
{
    return "POST /access_persons/" + ID + R"(/accesses {"attributes":{"accessible_id":")" + Lock +
           R"(","accessible_type":"lock"}} )" + std::to_string(Status);
}

const std::string Ann = "0=Ann|0011|ann@x.example";

struct Scenario {
    const char* Name;
    Lines Before;
    Lines Change;
    Lines Queued;  // by the change itself
    Lines Sent;    // with what follows from the replies
    Lines Reports; // each once
    Lines Registry;
    Lines Cloud;
};

void PrintTo(const Scenario& Row, std::ostream* pOut)
{
    *pOut << Row.Name;
}

// clang-format off
const Scenario kScenarios[] = {
    {"new user, enabled",
     {"0+front", "0+back"}, {Ann}, {"3 8 loc-1|front|0|"},
     {Create("Ann", "ann@x.example", "0011"), Grant("id-1", "front"), Grant("id-1", "back")}, {kNotPushed},
     {"0|id-1|Ann|0011|ann@x.example", kDan}, {kDanInCloud, "Ann 0011 ann@x.example front back"}},
    {"new user, disabled",
     {}, {Ann}, {"3 8 loc-1|front|0|"}, {Create("Ann", "ann@x.example", "0011")},
     {"vestarai 3406: AccessPerson missing ID - can't identify for revokin access",
      "portivo 641: RevokeAccess failed", kNotPushed},
     {"0|id-1|Ann|0011|ann@x.example", kDan}, {kDanInCloud, "Ann 0011 ann@x.example"}},
    {"enabled after the person exists: nothing",
     {Ann}, {"0+front"}, {}, {}, {kNotPushed}, {"0|id-1|Ann|0011|ann@x.example", kDan},
     {kDanInCloud, "Ann 0011 ann@x.example"}},
    {"rename: the grant that comes with every change is refused as a duplicate",
     {"0+front", Ann}, {"0=Anna|0011|ann@x.example"}, {"3 9 loc-1|front|id-1|", "3 13 loc-1|front|id-1|"},
     {Update("id-1", "Anna", "0011"), Grant("id-1", "front", 409)}, {kNotPushed, kDuplicate},
     {"0|id-1|Anna|0011|ann@x.example", kDan}, {kDanInCloud, "Anna 0011 ann@x.example front"}},
    {"PIN change: only the first lock's call grants or revokes, here for a user of the other lock",
     {"0+back", "0=Ann|0011|"}, {"0=Ann|2222|"}, {"3 9 loc-1|front|id-1|", "2 12 loc-1|front|id-1|"},
     {Update("id-1", "Ann", "2222"), "GET /access_persons/id-1/accesses 200"}, {kNotPushed},
     {"0|id-1|Ann|2222|", kDan}, {kDanInCloud, "Ann 2222 - back"}},
    {"disabled, then a PIN change that takes the access away",
     {"0+front", "0+back", "0=Ann|0011|"}, {"0-front", "0=Ann|2222|"}, {"3 9 loc-1|front|id-1|",
      "2 12 loc-1|front|id-1|"},
     {Update("id-1", "Ann", "2222"), "GET /access_persons/id-1/accesses 200",
      "DELETE /access_persons/id-1/accesses/id-2 204"},
     {kNotPushed}, {"0|id-1|Ann|2222|", kDan}, {kDanInCloud, "Ann 2222 - back"}},
    {"e-mail change: an update carries no address",
     {Ann}, {"0=Ann|0011|new@x.example"}, {"3 9 loc-1|front|id-1|", "2 12 loc-1|front|id-1|"},
     {Update("id-1", "Ann", "0011"), "GET /access_persons/id-1/accesses 200"}, {kNotPushed},
     {"0|id-1|Ann|0011|new@x.example", kDan}, {kDanInCloud, "Ann 0011 ann@x.example"}},
    {"two slots swapped: the cloud refuses both, since each PIN is still the other's",
     {"0+front", "1+back", "0=Ann|0011|", "live", "1=Bob|2222|"}, {"0=Bob|2222|",
      "1=Ann|0011|"}, {"3 9 loc-1|front|id-1|", "3 13 loc-1|front|id-1|", "3 9 loc-1|front|id-3|",
      "2 12 loc-1|front|id-3|"},
     {Update("id-1", "Bob", "2222", 422), Grant("id-1", "front", 409), Update("id-3", "Ann", "0011", 422),
      "GET /access_persons/id-3/accesses 200"},
     {kNotPushed, kRefused, kDuplicate}, {"0|id-1|Bob|2222|", "1|id-3|Ann|0011|", kDan},
     {kDanInCloud, "Ann 0011 - front", "Bob 2222 - back"}},
    {"moved, the new slot first: the name takes the person along, the access depends on the new number",
     {"0+front", "0=Ann|0011|"}, {"1=Ann|0011|", "0="}, {"2 12 loc-1|front|id-1|"},
     {"GET /access_persons/id-1/accesses 200", "DELETE /access_persons/id-1/accesses/id-2 204"}, {kNotPushed},
     {"1|id-1|Ann|0011|", kDan}, {kDanInCloud, "Ann 0011 -"}},
    {"moved, the old slot first: a new person",
     {"0+front", "1+front", "1+back", "0=Ann|0011|"}, {"0=", "1=Ann|0011|"}, {"4 10 loc-1|front|id-1|",
      "3 8 loc-1|front|1|"},
     {"DELETE /access_persons/id-1 204", Create("Ann", "", "0011"), Grant("id-3", "front"), Grant("id-3", "back")},
     {kNotPushed}, {"1|id-3|Ann|0011|", kDan}, {kDanInCloud, "Ann 0011 - front back"}},
    {"delete",
     {"0+front", "0=Ann|0011|"}, {"0="}, {"4 10 loc-1|front|id-1|"}, {"DELETE /access_persons/id-1 204"}, {}, {kDan},
     {kDanInCloud}},
    {"delete before the id is known: the person stays in the cloud",
     {"0+front"}, {"0=Ann|0011|", "0="}, {"3 8 loc-1|front|0|"}, {Create("Ann", "", "0011")},
     {kNotPushed, "vestarai 3371: AccessPerson missing ID - can't identify for deletion",
      "portivo 651: PullUser failed", "vestarai 1421: User is NULL"},
     {"-1|id-1|Ann|0011|", kDan}, {kDanInCloud, "Ann 0011 -"}},
    {"the same name twice: the person follows the later slot and loses the first one's access",
     {"0+front", "0=Ann|0011|"}, {"1=Ann|2222|"}, {"2 12 loc-1|front|id-1|"},
     {"GET /access_persons/id-1/accesses 200", "DELETE /access_persons/id-1/accesses/id-2 204"}, {kNotPushed},
     {"1|id-1|Ann|2222|", kDan}, {kDanInCloud, "Ann 0011 -"}},
    {"a person that the cloud had before keeps PIN and address there",
     {"0+front"}, {"0=Dan|9999|"}, {"3 13 loc-1|front|p-dan|"}, {Grant("p-dan", "front")}, {kNotPushed},
     {"0|p-dan|Dan|9999|"}, {kDanInCloud + " front"}},
    {"a creation that got lost is not repeated, also not by a change",
     {"0+front"}, {"lose", "0=Ann|0011|", "live", "0=Ann|2222|"}, {}, {Unanswered(Create("Ann", "", "0011"))},
     {kNotPushed, kNoPage, "vestarai 3343: AccessPerson missing ID - can't identify for update"},
     {"0||Ann|2222|", kDan}, {kDanInCloud}},
    {"after discovery it counts as new",
     {"0+front", "lose", "0=Ann|0011|", "live", "discover"}, {"0=Ann|0011|"}, {"3 8 loc-1|front|0|"},
     {Create("Ann", "", "0011"), Grant("id-1", "front")}, {kNotPushed},
     {"0|id-1|Ann|0011|", kDan}, {kDanInCloud, "Ann 0011 - front"}},
    {"a person that an early deletion has left is taken over by its name and deleted",
     {"0=Ann|0011|", "0="}, {"0=Ann|0011|", "0="}, {"2 12 loc-1|front|id-1|", "4 10 loc-1|front|id-1|"},
     {"GET /access_persons/id-1/accesses 200", "DELETE /access_persons/id-1 204"}, {kNotPushed},
     {kDan}, {kDanInCloud}},
    {"a PIN that another person has is refused",
     {}, {"0=Ann|4444|"}, {"3 8 loc-1|front|0|"}, {Create("Ann", "", "4444", 422)},
     {"vestarai 3406: AccessPerson missing ID - can't identify for revokin access",
      "portivo 641: RevokeAccess failed", kNotPushed, kRefused},
     {"0||Ann|4444|", kDan}, {kDanInCloud}},
    {"a change that a list reply has swallowed is not sent",
     {"0+front", "0=Ann|0011|"}, {"0~Ann|2222|", "live", "0!"}, {}, {}, {kNotPushed}, {"0|id-1|Ann|2222|", kDan},
     {kDanInCloud, "Ann 0011 - front"}},
};
// clang-format on

class UserSlotScenarios : public UserSlots, public testing::WithParamInterface<Scenario>
{
};

TEST_P(UserSlotScenarios, QueueSendAndLeave)
{
    const Scenario& Row = GetParam();
    for (const std::string& Step : Row.Before)
        Do(Step);
    Live(130s);
    Reports();
    m_Simulated.Take();

    for (const std::string& Step : Row.Change)
        Do(Step);
    EXPECT_THAT(Queued(m_Account), ElementsAreArray(Row.Queued));
    Live(200s);
    EXPECT_THAT(Changes(), ElementsAreArray(Row.Sent));
    EXPECT_THAT(Reports(), ElementsAreArray(Row.Reports));
    EXPECT_THAT(Persons(m_Account), ElementsAreArray(Row.Registry));
    EXPECT_THAT(m_Simulated.Persons(), ElementsAreArray(Row.Cloud));
}

INSTANTIATE_TEST_SUITE_P(Simulation, UserSlotScenarios, testing::ValuesIn(kScenarios));

TEST_F(UserSlots, TextsReachTheCloudByteForByte)
{
    struct Row {
        const char* Name;
        const char* Email;
        const char* Pin;
    };
    const Row Rows[] = {
        {"O\"Brien \\ /x %s%n%d 100%", "o\"b\\r%s@x.example", "0007"},
        {"Zo\xc3\xab \xf0\x9f\x94\x91 {\"a\":[]}", "\xc3\xa9@x.example", "0000000000000001"},
        {"null", "null@x.example", "000000"},
        {"  blanks kept  inside", "", "1234"},
    };
    int Slot = 0;
    for (const Row& R : Rows) {
        SCOPED_TRACE(R.Name);
        SetUser(Slot, R.Name, R.Pin, R.Email);
        m_pSystem->AnnounceUserSlot(Slot++);
        Live(130s);
        const cloudsim::AccessPerson& Person = m_Simulated.World().persons.back();
        EXPECT_EQ(Person.name, R.Name);
        EXPECT_EQ(Person.pin, R.Pin);
        EXPECT_EQ(Person.email.value_or(""), R.Email);
        EXPECT_EQ(m_Simulated.World().persons.size(), static_cast<std::size_t>(Slot) + 1);
        const std::string Known =
            std::to_string(Slot - 1) + "|" + Person.id + "|" + R.Name + "|" + R.Pin + "|" + R.Email;
        EXPECT_THAT(Persons(m_Account), testing::Contains(Known)) << "and back";
        EXPECT_EQ(Persons(m_Account).size(), static_cast<std::size_t>(Slot) + 1);
    }
    Reports();

    // What cannot be stored changes nothing anywhere.
    for (const std::string& Name : {std::string(10000, 'x'), std::string("a\r\nb"), std::string()}) {
        EXPECT_NE(m_pSystem->Security().SetUser(9, {Name, "", "1234"}), std::nullopt);
        m_pSystem->AnnounceUserSlot(9);
        EXPECT_THAT(Queued(m_Account), IsEmpty());
    }
}

TEST_F(UserSlots, AnEmptyRegistryCostsNineTimesTheRequestsOfAnIdleAccount)
{
    struct Row {
        const char* Name;
        bool CloudHasPersons, SlotHasUser;
        int Devices, Persons; // requests in an hour
    };
    // A registry that stays empty brings both polls forward with each look-up, and every list reply looks
    // each user of a slot up: on purpose, and dear.
    const Row Rows[] = {{"a person and a user", true, true, 239, 60},
                        {"neither", false, false, 239, 60},
                        {"a user in a slot, nobody in the cloud", false, true, 1384, 1384}};
    for (const Row& R : Rows) {
        SCOPED_TRACE(R.Name);
        m_pSystem->Security().DeleteUser(0);
        if (R.SlotHasUser)
            SetUser(0, "Dan", "4444", "dan@x.example");
        if (!R.CloudHasPersons)
            m_Simulated.Fault(R"("kind":"body","body":"{\"data\":[],\"meta\":{}}","count":0,)"
                              R"("match":{"path":"/access_persons"})");
        Restart();
        Live(60s);
        m_Simulated.Take();
        Live(3600s);
        int Devices = 0, Persons = 0;
        for (const auto& Exchange : m_Simulated.Take())
            ++(Exchange.Line == "GET /devices" ? Devices : Persons);
        EXPECT_NEAR(Devices, R.Devices, 2);
        EXPECT_NEAR(Persons, R.Persons, 2);
        m_Simulated.Admin("DELETE", "/admin/faults");
    }
    Reports();
}

} // namespace
