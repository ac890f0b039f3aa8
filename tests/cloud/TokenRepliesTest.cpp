// What a token reply changes, in which order it says so, and what it leaves alone.

#include "tests/cloud/CloudTest.h"

namespace support
{

using TokenRepliesTest = CloudTest;

TEST_F(TokenRepliesTest, EachShapeHasItsEffectsInOrder)
{
    const std::string checked = "trace: TokenCheck could not find another interface or was unsuccessful";
    struct {
        int command;
        const char* json;
        Lines effects;
        const char* tokens; // afterwards, with the lifetime
        bool authorised;    // the access token was taken as a new one
        int notifyConfig;
        // clang-format off
    } const rows[] = {
        {0, R"({"access_token":"a-%s","refresh_token":"r%n~ ","expires_in":60})",
         {"~trace: Got new AccessToken [4:%s]", "NotifyWrite",
          "~trace: ClientBroadcast message: [1] to [0] clients", "~trace: Got RefreshToken [4:%s]",
          "~trace: Received new RefreshToken: [***]", "~trace: Old RefreshToken: [***]", "NotifyWrite",
          "~trace: Token expires in [60]", "NotifyWrite"}, "a-%s|r%n~|60", true, 1},
        {1, R"({"x":{"expires_in":"60s"},"refresh_token":"new1","access_token":"ACCESS-1"})",
         {"NotifyWrite", "NotifyWrite", checked}, "ACCESS-1|new1|60", true, 0},
        {0, R"({"access_token":"access-1","refresh_token":"refresh-1","expires_in":60})",
         {"NotifyWrite"}, "access-1|refresh-1|60", false, 1},
        {0, R"({"refresh_token":"","expires_in":60})", {Missing("access_token"),
         "report vestarai 1103: Could not parse RefreshToken - there is likely a communications failure"},
         "|refresh-1|60", false, 0},
        {1, "[]", {Missing("access_token"), Missing("refresh_token"),
         "report vestarai 3047: \"expires_in\" not identified"}, "|refresh-1|7200", false, 0},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        RemoveAccounts(); // siblings would take part in the sharing of tokens
        CVestaraInterface& account = AddReadyAccount();
        CVestaraInterfaceProbe fields = Probe(account);
        fields.AuthCode() = "code-1";
        fields.StatusPollTimer().Restart();
        fields.TokenTimer().SetElapsed(5000);
        Expect(account, row.command, row.json, 1, row.effects);
        EXPECT_EQ(Str(fields.AccessToken()) + "|" + Str(fields.RefreshToken()) + "|" +
                      std::to_string(fields.TokenLifetime()),
                  row.tokens);
        EXPECT_EQ(fields.TokenTimer().QXTickCount(), fields.TokenLifetime() == 7200 ? 5000u : 0u);
        EXPECT_EQ(fields.NotifyConfig(), row.notifyConfig);
        EXPECT_EQ(fields.Authorized(), row.authorised);
        EXPECT_EQ(Str(fields.AuthCode()), row.authorised ? "" : "code-1");
        EXPECT_EQ(fields.StatusPollTimer().QXTickCount(), row.authorised ? 13'000u : 0u);
    }
}

} // namespace support
