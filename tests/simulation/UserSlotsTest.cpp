// Users of the controller on their way to the cloud: what the changes of a slot send one after the other, and
// what both sides know afterwards.

#include "tests/simulation/Simulation.h"

namespace support
{

const std::string kNotPushed = "report portivo 617: PushUser failed or wasn't required";
const std::string kDan = "knows -1|p-dan|Dan|4444|dan@x.example";
const std::string kDanInCloud = "cloud Dan 4444 dan@x.example";

class UserSlotsTest : public SimulationTest
{
protected:
    UserSlotsTest() { Live(70s); }

    /// Stores a user, or empties the slot without a name, and tells the locks as a controller does.
    void Save(int slot, const char* name, const char* pin = "", const char* email = "")
    {
        if (*name)
            SetUser(slot, name, pin, email);
        else
            m_system->Security().DeleteUser(slot);
        m_system->AnnounceUserSlot(slot);
    }
    /// After some minutes: the requests but for the periodic ones, the reports, the account's persons, and
    /// the cloud's with the locks that they have access to.
    Lines Outcome()
    {
        Live(200s);
        Lines found;
        for (const std::string& exchange : Exchanges()) {
            if (exchange != "GET /devices 200" && exchange != "GET /access_persons 200")
                found.push_back(exchange);
        }
        for (const std::string& report : Reports())
            found.push_back("report " + report);
        for (const std::string& person : Persons(Account()))
            found.push_back("knows " + person);
        const cloudsim::World& world = m_model.CurrentWorld();
        for (const cloudsim::AccessPerson& person : world.persons) {
            found.push_back("cloud " + person.name + " " + person.pin + " " + person.email.value_or("-"));
            for (const cloudsim::Access& access : world.accesses) {
                if (access.personId == person.id)
                    found.back() += " " + access.lockId;
            }
        }
        return found;
    }
};

TEST_F(UserSlotsTest, OneUserFromCreationToDeletion)
{
    const char* const name = "O\"Brien \\ /x %s%n 100% Zo\xc3\xab \xf0\x9f\x94\x91 {\"a\":[]}";
    Lock("front").EnableUser(1, 1);
    Lock("back").EnableUser(1, 1);
    Save(0, name, "0011", "a\"%s@x.example");
    EXPECT_EQ(Outcome(),
              (Lines{"POST /access_persons 200", "POST /access_persons/id-1/accesses 200",
                     "POST /access_persons/id-1/accesses 200", kNotPushed,
                     "knows 0|id-1|" + std::string(name) + "|0011|a\"%s@x.example", kDan, kDanInCloud,
                     "cloud " + std::string(name) + " 0011 a\"%s@x.example front back"}));

    // Only the first lock's call grants or revokes, and the grant that comes with it is a duplicate.
    Save(0, "Ann", "0011", "a\"%s@x.example");
    EXPECT_EQ(Outcome(), (Lines{"PUT /access_persons/id-1 200", "POST /access_persons/id-1/accesses 409",
                                kNotPushed, "report vestarai 967: Command unsuccessful [Conflict]",
                                "knows 0|id-1|Ann|0011|a\"%s@x.example", kDan, kDanInCloud,
                                "cloud Ann 0011 a\"%s@x.example front back"}));

    Lock("front").EnableUser(1, 0);
    Save(0, "Ann", "2222", "new@x.example");
    EXPECT_EQ(Outcome(), (Lines{"PUT /access_persons/id-1 200", "GET /access_persons/id-1/accesses 200",
                                "DELETE /access_persons/id-1/accesses/id-2 204", kNotPushed,
                                "knows 0|id-1|Ann|2222|new@x.example", kDan, kDanInCloud,
                                "cloud Ann 2222 a\"%s@x.example back"}))
        << "an update carries no address";

    SetUser(0, "Ann", "3333");
    Live(130s);
    Save(0, "Ann", "3333");
    EXPECT_EQ(Outcome(), (Lines{kNotPushed, "knows 0|id-1|Ann|3333|", kDan, kDanInCloud,
                                "cloud Ann 2222 a\"%s@x.example back"}))
        << "a change that a list reply has swallowed is not sent";

    Save(0, "");
    EXPECT_EQ(Outcome(), (Lines{"DELETE /access_persons/id-1 204", kDan, kDanInCloud}));
}

TEST_F(UserSlotsTest, ACreationThatGetsLostIsRepeatedAfterDiscoveryOnlyAndAnEarlyDeletionLeavesThePerson)
{
    Admin("faults", R"([{"kind":"close","match":{"method":"POST","path":"/access_persons"}}])");
    Save(0, "Ann", "0011");
    EXPECT_EQ(Outcome(),
              (Lines{"POST /access_persons",
                     "report vestarai 3406: AccessPerson missing ID - can't identify for revokin access",
                     "report portivo 641: RevokeAccess failed", kNotPushed,
                     "report vestarai 888: Page returned NULL - failed to process request",
                     "knows 0||Ann|0011|", kDan, kDanInCloud}));
    Save(0, "Ann", "2222");
    EXPECT_EQ(Outcome(), (Lines{"report vestarai 3343: AccessPerson missing ID - can't identify for update",
                                kNotPushed, "knows 0||Ann|2222|", kDan, kDanInCloud}));
    Account().Discover();
    Live(130s);
    Lock("front").EnableUser(1, 1);
    Save(0, "Ann", "2222");
    Save(0, "");
    EXPECT_EQ(Outcome(), (Lines{"POST /access_persons 200", kNotPushed,
                                "report vestarai 3371: AccessPerson missing ID - can't identify for deletion",
                                "report portivo 651: PullUser failed", "report vestarai 1421: User is NULL",
                                "knows -1|id-1|Ann|2222|", kDan, kDanInCloud, "cloud Ann 2222 -"}));
}

} // namespace support
