// The life of the tokens and what an outage costs, against the simulated cloud on virtual time.

#include "simulation/Simulation.h"

namespace support
{

class TokensTest : public SimulationTest
{
protected:
    int SecondsUntilRefresh()
    {
        for (int s = 0; s <= 8000; ++s) {
            Live(1s);
            if (std::ranges::count(Exchanges(), "POST /oauth/token 200") > 0)
                return s;
        }
        return -1;
    }
};

TEST_F(TokensTest, AreRefreshedInTimeOrAfterARefusalAndOnlyAnOutageOfARefreshInTimeDropsThem)
{
    EXPECT_NEAR(SecondsUntilRefresh(), 6600, 10);
    // After a restart nobody knows the token's age any more, so it expires first; the refusal brings the
    // refresh.
    Live(1800s);
    Restart();
    EXPECT_NEAR(SecondsUntilRefresh(), 5410, 20);
    Live(20s);
    EXPECT_EQ(std::string(CQXString(Probe(Account()).AccessToken())),
              m_model.CurrentWorld().accessTokens.back().token);

    m_reachable = false;
    Live(300s);
    m_reachable = true;
    // A refused token is gone already, so a refresh that fails afterwards is simply sent again.
    Admin("tokens/revoke", "");
    Admin("faults", R"([{"kind":"close","match":{"path":"/oauth/token"}}])");
    Live(120s);
    EXPECT_EQ(Account().NClients(), 2);
    EXPECT_EQ(std::string(Account().LocationID()), "loc-1");
    Reports();

    Live(6400s);
    m_reachable = false;
    Live(400s);
    const Lines cleared{"vestarai 888: Page returned NULL - failed to process request",
                        "vestarai 884: Refresh Token cleared due to being invalid",
                        "vestarai 729: Refresh Token is Empty - cannot re-authenticate"};
    EXPECT_EQ(Reports(), cleared);
    Restart();
    EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 0) << "saved as well";
    EXPECT_TRUE(Account().LocationID().IsEmpty() && CQXString(Probe(Account()).RefreshToken()).IsEmpty());
}

} // namespace support
