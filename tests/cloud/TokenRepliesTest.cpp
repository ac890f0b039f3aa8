// What a token reply changes, in which order it says so, and what it leaves alone.

#include "support/TestHost.h"

namespace support
{

class TokenReplies : public DriverTest
{
};

TEST_F(TokenReplies, EachShapeHasItsEffectsInOrder)
{
    const std::string Broadcast = "~trace: ClientBroadcast message: [1] to [0] clients";
    const std::string Check =
        "trace: TokenCheck could not find another interface or was unsuccessful"; // it was called
    const Lines NewRefresh = {"~trace: Got RefreshToken [4:%s]", "~trace: Received new RefreshToken: [***]",
                              "~trace: Old RefreshToken: [***]", "NotifyWrite"};
    const std::string SameRefresh = "~trace: Got RefreshToken [9:%s]";
    const std::string Expires = "~trace: Token expires in [60]";
    const auto Missing = [](int Line, const std::string& Key) {
        return "report vestarai " + std::to_string(Line) + ": \"" + Key + "\" not identified";
    };
    const auto Fresh = [&](int Length) {
        return Lines{"~trace: Got new AccessToken [" + std::to_string(Length) + ":%s]", "NotifyWrite",
                     Broadcast};
    };
    struct {
        const char* Name;
        int Command;
        const char* Json;
        std::vector<Lines> Effects; // one after the other
        const char* Access;
        const char* Refresh;
        int Lifetime;
        bool Authorised; // the access token was taken as a new one
        int NotifyConfig;
        // clang-format off
    } const Rows[] = {
        {"authorised", 0, R"({"access_token":"a-%s","refresh_token":"r%n ","expires_in":60})", {Fresh(4),
         {"~trace: Got RefreshToken [3:%s]"}, {NewRefresh.begin() + 1, NewRefresh.end()}, {Expires,
         "NotifyWrite"}}, "a-%s", "r%n", 60, true, 1},
        {"refreshed", 1, R"({"x":{"expires_in":"60s"},"refresh_token":"new1","access_token":"ACCESS-1"})",
         {Fresh(8), NewRefresh, {Expires, Check}}, "ACCESS-1", "new1", 60, true, 0},
        {"only the refresh token is new", 1,
         R"({"access_token":"access-1","refresh_token":"new1","expires_in":60})", {NewRefresh, {Expires,
         Check}}, "access-1", "new1", 60, false, 0},
        {"nothing is new", 0, R"({"access_token":"access-1","refresh_token":"refresh-1","expires_in":60})",
         {{SameRefresh, Expires, "NotifyWrite"}}, "access-1", "refresh-1", 60, false, 1},
        {"empty refresh token", 1, R"({"access_token":"access-1","refresh_token":"","expires_in":60})",
         {{"~trace: Got RefreshToken [0:%s]",
         "report vestarai 1103: Could not parse RefreshToken - there is likely a communications failure",
         Expires, Check}}, "access-1", "refresh-1", 60, false, 0},
        {"no number as lifetime", 1,
         R"({"access_token":"access-1","refresh_token":"refresh-1","expires_in":"soon"})", {{SameRefresh,
         "~trace: Token expires in [0]", Check}}, "access-1", "refresh-1", 0, false, 0},
        {"no access token", 1, R"({"refresh_token":"new1","expires_in":60})", {{Missing(3023,
         "access_token")}, NewRefresh, {Expires}}, "", "new1", 60, false, 0},
        {"empty access token", 0, R"({"access_token":"","refresh_token":"refresh-1","expires_in":60})",
         {Fresh(0), {SameRefresh, Expires}}, "", "refresh-1", 60, true, 0},
        {"nothing at all", 1, "[]", {{Missing(3023, "access_token"), Missing(3023, "refresh_token"),
         Missing(3047, "expires_in")}}, "", "refresh-1", 7200, false, 0},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(std::string(Row.Name) + (bTracing ? ", traced" : ""));
            // The system's only account: siblings would take part in the sharing of tokens.
            while (m_pSystem->NBridges() > 0)
                m_pSystem->RemoveInterface(m_pSystem->Bridge(0)->ID());
            CVestaraInterface& Account = AddReadyAccount();
            CVestaraInterfaceProbe Fields = Probe(Account);
            Fields.AuthCode() = "code-1";
            Fields.StatusPollTimer().Restart();
            Fields.AccessPollTimer().Restart();
            Fields.TokenTimer().SetElapsed(5000);
            Account.TraceEnabled(bTracing);
            Lines Expected = {"~trace: ProcessingResponse [" + std::to_string(Row.Command) + "]"};
            for (const Lines& Part : Row.Effects)
                Expected = Expected + Part;

            EXPECT_EQ(Process(Account, static_cast<CommandID>(Row.Command), Row.Json), 1);
            EXPECT_EQ(TakeEffects(), WithTracing(bTracing, Expected));
            EXPECT_EQ(std::string(Fields.AccessToken()), Row.Access);
            EXPECT_EQ(std::string(Fields.RefreshToken()), Row.Refresh);
            EXPECT_EQ(Fields.TokenLifetime(), Row.Lifetime);
            EXPECT_EQ(Fields.TokenTimer().QXTickCount(), Row.Lifetime == 7200 ? 5000u : 0u);
            EXPECT_EQ(Fields.NotifyConfig(), Row.NotifyConfig);
            EXPECT_EQ(Fields.Authorized(), Row.Authorised);
            EXPECT_EQ(std::string(Fields.AuthCode()), Row.Authorised ? "" : "code-1");
            EXPECT_EQ(Fields.StatusPollTimer().QXTickCount(), Row.Authorised ? 13'000u : 0u);
            EXPECT_EQ(Fields.AccessPollTimer().QXTickCount(), Row.Authorised ? 58'000u : 0u);
        }
    }
}

} // namespace support
