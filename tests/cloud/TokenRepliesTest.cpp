// What a token reply changes, in which order it says so, and what it leaves alone.

#include "cloud/CloudTest.h"

namespace support
{

using TokenReplies = CloudTest;

TEST_F(TokenReplies, EachShapeHasItsEffectsInOrder)
{
    const std::string Checked = "trace: TokenCheck could not find another interface or was unsuccessful";
    struct {
        int Command;
        const char* Json;
        Lines Effects;
        const char* Tokens; // afterwards, with the lifetime
        bool Authorised;    // the access token was taken as a new one
        int NotifyConfig;
        // clang-format off
    } const Rows[] = {
        {0, R"({"access_token":"a-%s","refresh_token":"r%n ","expires_in":60})",
         {"~trace: Got new AccessToken [4:%s]", "NotifyWrite",
          "~trace: ClientBroadcast message: [1] to [0] clients", "~trace: Got RefreshToken [3:%s]",
          "~trace: Received new RefreshToken: [***]", "~trace: Old RefreshToken: [***]", "NotifyWrite",
          "~trace: Token expires in [60]", "NotifyWrite"}, "a-%s|r%n|60", true, 1},
        {1, R"({"x":{"expires_in":"60s"},"refresh_token":"new1","access_token":"ACCESS-1"})",
         {"NotifyWrite", "NotifyWrite", Checked}, "ACCESS-1|new1|60", true, 0},
        {0, R"({"access_token":"access-1","refresh_token":"refresh-1","expires_in":60})",
         {"NotifyWrite"}, "access-1|refresh-1|60", false, 1},
        {0, R"({"refresh_token":"","expires_in":60})", {Missing("access_token"),
         "report vestarai 1103: Could not parse RefreshToken - there is likely a communications failure"},
         "|refresh-1|60", false, 0},
        {1, "[]", {Missing("access_token"), Missing("refresh_token"),
         "report vestarai 3047: \"expires_in\" not identified"}, "|refresh-1|7200", false, 0},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json);
        RemoveAccounts(); // siblings would take part in the sharing of tokens
        CVestaraInterface& Account = AddReadyAccount();
        CVestaraInterfaceProbe Fields = Probe(Account);
        Fields.AuthCode() = "code-1";
        Fields.StatusPollTimer().Restart();
        Fields.TokenTimer().SetElapsed(5000);
        Expect(Account, Row.Command, Row.Json, 1, Row.Effects);
        EXPECT_EQ(Str(Fields.AccessToken()) + "|" + Str(Fields.RefreshToken()) + "|" +
                      std::to_string(Fields.TokenLifetime()),
                  Row.Tokens);
        EXPECT_EQ(Fields.TokenTimer().QXTickCount(), Fields.TokenLifetime() == 7200 ? 5000u : 0u);
        EXPECT_EQ(Fields.NotifyConfig(), Row.NotifyConfig);
        EXPECT_EQ(Fields.Authorized(), Row.Authorised);
        EXPECT_EQ(Str(Fields.AuthCode()), Row.Authorised ? "" : "code-1");
        EXPECT_EQ(Fields.StatusPollTimer().QXTickCount(), Row.Authorised ? 13'000u : 0u);
    }
}

} // namespace support
