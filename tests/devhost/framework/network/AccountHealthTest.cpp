// What exchanges say about an account.

#include "devhost/framework/network/AccountHealth.h"

#include <gtest/gtest.h>

namespace
{

using State = devhost::AccountHealth::State;

} // namespace

TEST(AccountHealthTest, FollowsFromTheExchanges)
{
    devhost::AccountHealth health;
    EXPECT_EQ(health.Now().state, State::New);
    EXPECT_FALSE(health.Now().authorised || health.Now().lastGood || health.Now().lastErrorTime);
    struct {
        const char *method, *path;
        int status; // 0: none came
        State state;
        std::optional<bool> authorised;
        int failures;
        const char* reason;
    } const rows[] = {
        {"POST", "/oauth/token", 0, State::Unreachable, {}, 1, "connecting failed: refused"},
        {"POST", "/oauth/token", 400, State::NeedsAuthorisation, false, 2,
         "the cloud refused to give tokens (HTTP 400)"},
        {"POST", "/oauth/token", 200, State::Discovering, true, 0,
         "signed in; the locks were not asked for yet"},
        {"GET", "/locations", 200, State::Discovering, true, 0,
         "signed in; the locks were not asked for yet"},
        {"GET", "/devices", 200, State::Well, true, 0, "the cloud answers"},
        {"GET", "/access_persons", 200, State::Well, true, 0, "the cloud answers"},
        {"POST", "/access_persons", 409, State::Well, true, 0, "the cloud answers"},
        {"GET", "/devices", 401, State::Refused, true, 1,
         "the cloud does not take the access token (HTTP 401)"},
        {"POST", "/oauth/token", 503, State::Unreachable, true, 2, "the cloud cannot serve now (HTTP 503)"},
        {"GET", "/devices", 429, State::Unreachable, true, 3, "the cloud cannot serve now (HTTP 429)"},
        {"PUT", "/devices/1/lock", 204, State::Discovering, true, 0,
         "signed in; the locks were not asked for yet"},
    };
    int changes = 0;
    for (const auto& row : rows) {
        if (row.status == 0)
            health.Failed("connecting failed: refused");
        else
            health.Replied(row.method, row.path, row.status);
        const auto now = health.Now();
        EXPECT_EQ(now.state, row.state) << row.path << row.status;
        EXPECT_EQ(now.authorised, row.authorised) << row.path << row.status;
        EXPECT_EQ(now.failures, row.failures) << row.path << row.status;
        EXPECT_EQ(now.reason, row.reason);
        changes = now.changes;
    }
    EXPECT_EQ(health.Now().lastError, "the cloud cannot serve now (HTTP 429)");
    health.Replied("GET", "/access_persons", 200);
    EXPECT_EQ(health.Now().changes, changes) << "one more good reply is no news";
}
