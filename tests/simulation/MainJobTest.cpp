// The account's whole life against the simulated cloud, on virtual time.

#include "simulation/Simulation.h"

#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

namespace
{

using support::Lines;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr int kLock = 1270;
constexpr int kUnlock = 1271;
constexpr int kHouseProperty = 2001;
const char* const kFront = "lock-lake-front";
const char* const kBoat = "lock-lake-boat";
const char* const kTown = "lock-town-door";

std::string HouseFixture()
{
    std::ifstream File(VESTARA_CLOUDSIM_FIXTURES "/house.json");
    return {std::istreambuf_iterator<char>(File), {}};
}

class MainJob : public support::SimulationTest
{
protected:
    MainJob() : SimulationTest(HouseFixture()) {}

    std::shared_ptr<devhost::PropertyPage> Page(CVestaraInterface& Of)
    {
        return m_pSystem->Pages().Open(Of.BridgeID(), Of);
    }
    Lines Houses(CVestaraInterface& Of)
    {
        Page(Of);
        Live(10s);
        Lines Names;
        for (const auto& Choice : Page(Of)->Set().Property(kHouseProperty)->Choices())
            Names.emplace_back(Choice.sName);
        return Names;
    }
    void Choose(CVestaraInterface& Of, int Index)
    {
        EXPECT_EQ(Page(Of)->Store(Of, {{kHouseProperty, Index}}), std::nullopt);
        Live(10s);
    }
    /// An account with the lake house and its two locks, whose states are known.
    CVestaraInterface& Settle()
    {
        CVestaraInterface& First = AddAccount();
        Authorise(First);
        Live(15s);
        Houses(First);
        Choose(First, 0);
        Live(20s);
        Reports();
        m_Simulated.Take();
        return First;
    }
    /// Lets time pass until something holds. @return after how many seconds, -1 for never.
    int SecondsUntil(const std::function<bool()>& Holds, int Limit)
    {
        for (int s = 0; s <= Limit; ++s) {
            if (Holds())
                return s;
            Live(1s);
        }
        return -1;
    }
    int SecondsUntilTokenRequest(int Limit)
    {
        return SecondsUntil(
            [this] {
                for (const auto& Exchange : m_Simulated.Take()) {
                    if (Exchange.Line == "POST /oauth/token")
                        return true;
                }
                return false;
            },
            Limit);
    }
};

TEST_F(MainJob, FromAuthorisationToARestart)
{
    CVestaraInterface& First = AddAccount();
    Live(20s);
    EXPECT_THAT(Reports(), ElementsAre("vestarai 729: Refresh Token is Empty - cannot re-authenticate"));
    EXPECT_THAT(m_Simulated.Take(), IsEmpty()) << "nothing is asked without a token";

    Authorise(First);
    Live(20s);
    Reports();
    EXPECT_THAT(Houses(First), ElementsAre("Lake House", "Town Flat"));
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 0);
    Choose(First, 0);
    Live(20s);
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 2);
    EXPECT_EQ(Shown(kFront), "1 84 71 1 Front Door");
    EXPECT_EQ(Shown(kBoat), "2 57 38 1 Boat House");
    EXPECT_THAT(Persons(First), ElementsAre("-1|person-alex|Alex Gardener|271828|alex@vestara.example"));
    // The town flat's lock belongs to no account here, which is said with every poll.
    EXPECT_THAT(Reports(),
                testing::Contains("vestarai 1271: Could not find interface with ID: [loc-town-flat]"));

    EXPECT_EQ(Lock(kFront).ExecuteCommand(kUnlock, 3), 1);
    EXPECT_NE(SecondsUntil([this] { return m_Simulated.Lock(kFront).pending.has_value(); }, 5), -1);
    EXPECT_EQ(Lock(kFront).State(), CDoorLock::STATE_IN_TRANSIT);
    EXPECT_EQ(m_Simulated.Lock(kFront).physical.state, cloudsim::LockState::Locked) << "the lock sleeps";
    EXPECT_NE(SecondsUntil([this] { return Lock(kFront).Progress() > 0; }, 5), -1);
    const int Wait = SecondsUntil([this] { return Lock(kFront).State() == CDoorLock::STATE_UNSECURED; }, 60);
    EXPECT_TRUE(Wait >= 0 && Wait <= 20 + 15 + 4) << Wait << ": a heartbeat and a poll";
    EXPECT_EQ(Lock(kFront).LastUser(), 103);
    EXPECT_EQ(Lock(kFront).Working(), 0);
    EXPECT_EQ(Lock(kFront).ExecuteCommand(kLock, 0), 1);
    EXPECT_NE(SecondsUntil([this] { return Lock(kFront).State() == CDoorLock::STATE_SECURED; }, 40), -1);
    EXPECT_EQ(m_Simulated.Lock(kFront).physical.state, cloudsim::LockState::Locked);

    Live(10s);
    const std::string AccessToken(Probe(First).AccessToken());
    m_Simulated.Take();
    Restart();
    CVestaraInterface& Again = Account(0);
    EXPECT_EQ(std::string(Probe(Again).AccessToken()), AccessToken);
    EXPECT_EQ(std::string(Again.LocationID()), "loc-lake-house");
    EXPECT_EQ(Again.NClients(), 2);
    EXPECT_EQ(Shown(kFront), "1 84 71 1 Front Door");
    m_Simulated.Admin("POST", "/admin/locks/lock-lake-front/turn", R"({"state":"unlocked"})");
    const int FirstPoll =
        SecondsUntil([this] { return Lock(kFront).State() == CDoorLock::STATE_UNSECURED; }, 60);
    EXPECT_TRUE(FirstPoll >= 2 && FirstPoll <= 6) << FirstPoll << ": polled two seconds after the start";
    EXPECT_THAT(Changes(), IsEmpty()) << "the stored token serves";
    Reports();
}

TEST_F(MainJob, TokensAreRefreshedTenMinutesBeforeTheyExpireAndWhenTheCloudRefusesThem)
{
    Settle();
    Live(100s);
    // After a restart nobody knows the token's age any more, so a token that is older than the margin by then
    // expires first; the refusal brings the refresh.
    struct Row {
        int AgeAtRestart; // seconds since the last refresh; -1: no restart
        bool Revoked;
        int Earliest, Latest; // seconds from then on
    };
    for (const Row& R : {Row{-1, false, 6597, 6604}, Row{300, false, 6597, 6604},
                         Row{1800, false, 5395, 5425}, Row{-1, true, 0, 25}}) {
        SCOPED_TRACE(testing::Message() << R.AgeAtRestart << " " << R.Revoked);
        m_Simulated.Admin("POST", "/admin/tokens/revoke");
        ASSERT_NE(SecondsUntilTokenRequest(60), -1);
        const std::string Fresh = m_Simulated.World().refreshTokens.at(0);
        if (R.AgeAtRestart >= 0) {
            Live(std::chrono::seconds(R.AgeAtRestart));
            Restart();
        }
        if (R.Revoked)
            Live(60s), m_Simulated.Admin("POST", "/admin/tokens/revoke");
        m_Simulated.Take();
        const int Waited = SecondsUntilTokenRequest(8000);
        EXPECT_TRUE(Waited >= R.Earliest && Waited <= R.Latest) << Waited;
        EXPECT_NE(m_Simulated.World().refreshTokens, std::vector{Fresh}) << "rotated";
        Live(20s);
        EXPECT_EQ(std::string(Probe(Account(0)).AccessToken()),
                  m_Simulated.World().accessTokens.back().token);
        EXPECT_EQ(Shown(kFront), "1 84 71 1 Front Door");
        EXPECT_EQ(m_Simulated.World().refreshTokens.size(), 1u);
        Reports();
    }
}

TEST_F(MainJob, AnOutageWhenARefreshIsDueCostsTheAuthorisationAndAtAnyOtherTimeNothing)
{
    Settle();
    m_Simulated.Reachable = false;
    Live(300s);
    m_Simulated.Reachable = true;
    // A refused token is gone already, so a refresh that fails afterwards is simply sent again.
    m_Simulated.Admin("POST", "/admin/tokens/revoke");
    m_Simulated.Fault(R"("kind":"close","match":{"path":"/oauth/token"})");
    Live(120s);
    EXPECT_EQ(Shown(kBoat), "2 57 38 1 Boat House");
    EXPECT_EQ(std::string(Account(0).LocationName()), "Lake House");
    Reports();

    Live(6400s);
    m_Simulated.Reachable = false;
    Live(400s);
    m_Simulated.Reachable = true;
    EXPECT_THAT(Reports(), testing::Contains("vestarai 884: Refresh Token cleared due to being invalid"));
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 0);
    EXPECT_TRUE(Account(0).LocationID().IsEmpty() && Probe(Account(0)).RefreshToken().IsEmpty());
    Restart();
    EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 0) << "saved as well";
}

TEST_F(MainJob, TwoAccountsShareACloudAccountAndKeepToTheirHouses)
{
    Settle();
    CVestaraInterface& Second = AddAccount();
    EXPECT_EQ(std::string(Probe(Second).AccessToken()), std::string(Probe(Account(0)).AccessToken()));
    EXPECT_THAT(Houses(Second), ElementsAre("Town Flat")) << "the lake house is taken";
    Choose(Second, 0);
    Live(30s);
    EXPECT_EQ(Account(0).NClients() * 10 + Account(1).NClients(), 21);
    EXPECT_EQ(Lock(kTown).Interface(), &Account(1));
    EXPECT_EQ(Shown(kTown), "1 96 88 1 Flat Door");
    Reports();
    Live(60s);
    EXPECT_THAT(Reports(), IsEmpty()) << "each house has an account";

    Live(7200s, 400ms);
    EXPECT_EQ(std::string(Probe(Second).AccessToken()), m_Simulated.World().accessTokens.back().token)
        << "the second has what the master refreshed";
    EXPECT_EQ(Lock(kTown).ExecuteCommand(kLock, 0), 0) << "locked already";
    EXPECT_EQ(Lock(kTown).ExecuteCommand(kUnlock, 1), 1);
    Live(60s);
    EXPECT_EQ(Shown(kTown) + " " + std::to_string(Lock(kTown).LastUser()), "2 96 88 1 Flat Door 101");
    EXPECT_EQ(Shown(kFront), "1 84 71 1 Front Door");
    Restart();
    Live(60s);
    EXPECT_EQ(Account(0).NClients() * 10 + Account(1).NClients(), 21);
    EXPECT_EQ(Lock(kTown).Interface(), &Account(1));
    Reports();
}

TEST_F(MainJob, ALockThatIsRemovedOrOfflineLeavesTheOthersAlone)
{
    Settle();
    m_Simulated.Admin("DELETE", "/admin/locks/lock-lake-boat");
    m_Simulated.Admin("POST", "/admin/locks/lock-lake-front/battery", R"({"level":50})");
    Live(60s);
    EXPECT_EQ(Shown(kBoat), "2 57 38 1 Boat House") << "kept as it was last known";
    EXPECT_EQ(Shown(kFront), "1 50 71 1 Front Door");
    Reports();
    EXPECT_EQ(Lock(kBoat).ExecuteCommand(kLock, 0), 1);
    Live(60s);
    EXPECT_EQ(Lock(kBoat).Working(), 1);
    EXPECT_THAT(Reports(), testing::Contains("vestarai 967: Command unsuccessful [Not Found]"));
    Live(220s);
    EXPECT_EQ(Lock(kBoat).Working() * 10 + Lock(kBoat).State(), CDoorLock::STATE_UNKNOWN)
        << "given up 240 s after the heartbeat that never came";

    m_Simulated.Admin("POST", "/admin/locks/lock-lake-front/online", R"({"online":false})");
    Live(120s);
    EXPECT_EQ(Shown(kFront), "1 50 71 0 Front Door");
    EXPECT_EQ(std::string(Lock(kFront).ErrorText()), "Offline");
    EXPECT_THAT(Reports(), testing::Contains("portivo 446: Portivo is Offline"));
    m_Simulated.Admin("POST", "/admin/locks/lock-lake-front/online", R"({"online":true})");
    Live(60s);
    EXPECT_EQ(Shown(kFront), "1 50 71 1 Front Door");
    Reports();
}

TEST_F(MainJob, HostileRepliesChangeNobodyElse)
{
    Settle();
    AddAccount();
    Houses(Account(1));
    Choose(Account(1), 0);
    Live(30s);
    const std::string Front = Shown(kFront), Boat = Shown(kBoat), Town = Shown(kTown);
    const Lines Known = Persons(Account(0));
    const auto Body = [](const std::string& Json) {
        std::string Text;
        for (const char c : Json)
            Text += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        return R"("kind":"body","body":")" + Text + '"';
    };
    const std::string Alien =
        R"({"type":"lock","id":"lock-x","name":"X","location_id":"loc-x","state":"unlocked"})";
    const std::string Faults[] = {
        R"("kind":"bad_json")",
        R"("kind":"truncate")",
        R"("kind":"cut")",
        R"("kind":"close")",
        R"("kind":"status","status":201)",
        R"("kind":"status","status":500)",
        Body(""),
        Body("[]"),
        Body("null"),
        Body(R"({"data":null,"meta":0})"),
        Body(R"({"data":[[],{},1,null,"x",{"type":7},{"type":"lock"}],"meta":{}})"),
        Body(R"({"data":[)" + Alien + R"(],"meta":{}})"),
        Body(R"({"messages":"%n%s%x","data":[)" + Alien + R"(],"meta":{}})"),
        Body(R"({"data":[{"type":"access_user","id":"person-alex","name":"Eve"}],"meta":{}})"),
        Body(
            R"({"data":[{"type":"thief","id":"person-alex","name":"Eve","pin":"0000","email":null}],"meta":{}})"),
        Body(R"({"data":)" + std::string(100000, '[') + "1" + std::string(100000, ']') + "}"),
        Body(R"({"data":[{"type":"location","id":"loc-x","name":"X"}],"meta":{}})"),
    };
    for (const std::string& Fault : Faults) {
        SCOPED_TRACE(Fault.substr(0, 200));
        m_Simulated.Fault(Fault + R"(,"count":0)");
        Account(0).Discover();
        Live(150s);
        EXPECT_EQ(Shown(kFront), Front);
        EXPECT_EQ(Shown(kBoat), Boat);
        EXPECT_EQ(Shown(kTown), Town);
        EXPECT_THAT(Persons(Account(1)), testing::ElementsAreArray(Known));
        EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 3);
        EXPECT_EQ(std::string(Account(0).LocationID()) + std::string(Account(1).LocationID()),
                  "loc-lake-houseloc-town-flat");
        m_Simulated.Admin("DELETE", "/admin/faults");
        Live(90s);
        Reports();
        EXPECT_THAT(Persons(Account(0)), testing::ElementsAreArray(Known)) << "all is read again";
    }
    m_Simulated.Admin("POST", "/admin/locks/lock-town-door/turn", R"({"state":"unlocked"})");
    Live(30s);
    EXPECT_EQ(Lock(kTown).State(), CDoorLock::STATE_UNSECURED);
    EXPECT_EQ(Shown(kFront), Front);
    Reports();
}

} // namespace
