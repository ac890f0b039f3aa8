// The send cycle by the outcome of the exchange: what is traced, counted, queued and dropped, in which order.

#include "tests/cloud/CloudTest.h"

namespace support
{

const std::string kNoPage = "Page returned NULL - failed to process request";
const Lines kNoPageEffects = {"~trace: " + kNoPage, "report vestarai 888: " + kNoPage};
const std::string kSuccess = "~trace: Command successful";

// What an account holds afterwards: credentials and location; waiting commands, replies and persons; whether
// it is authorised, has locks to remove and a configuration to tell, is due for a refresh, and starts its
// polls over.
const std::string kKept = "access-1 refresh-1 loc-1 Lake House, 1 1 1, 1 0 0 0 0";
const std::string kQueued = "access-1 refresh-1 loc-1 Lake House, 1 2 1, 1 0 0 0 0";
const std::string kRefused = " refresh-1 loc-1 Lake House, 0 0 0, 0 0 0 1 1";
const std::string kLost = "   , 0 0 0, 0 1 1 0 0";

using Script = std::function<void(ScriptedCloud&)>;

static Script Answer(int status, const std::string& body, const std::string& reason = "Reason")
{
    return [=](ScriptedCloud& cloud) { cloud.Reply(status, body, reason); };
}

class SendCycleTest : public CloudTest
{
protected:
    // An authorised account with something in its lists.
    CVestaraInterface& AddFullAccount()
    {
        CVestaraInterface& account = AddReadyAccount();
        Probe(account).Authorized() = 1;
        Probe(account).NotifyConfig() = 0;
        AddPerson(account, 4, "", "Ann");
        AddWaitingReply(account);
        account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        m_journal.Take();
        return account;
    }
    std::string Holdings(CVestaraInterface& account)
    {
        CVestaraInterfaceProbe fields = Probe(account);
        std::ostringstream text;
        for (const CQXString word : {fields.AccessToken(), fields.RefreshToken(), fields.LocationID()})
            text << Str(word) << ' ';
        text << Str(fields.LocationName()) << ", " << account.NCommands() << ' ' << account.NResponses()
             << ' ' << Persons(account).size() << ", " << fields.Authorized() << ' ' << fields.RemoveDevices()
             << ' ' << fields.NotifyConfig() << ' ' << (fields.TokenTimer().QXTickCount() == 6'600'000) << ' '
             << (fields.StatusPollTimer().QXTickCount() + fields.AccessPollTimer().QXTickCount() == 0);
        return text.str();
    }
    // Without requests and pages as they are, whose traces have a test of their own.
    Lines TakeOutcome()
    {
        Lines effects = TakeEffects();
        std::erase_if(effects, [](const std::string& effect) {
            return effect.starts_with("trace: HTTPS") || effect.starts_with("trace: Got [");
        });
        return effects;
    }
};

TEST_F(SendCycleTest, EachOutcomeHasItsEffectsInOrder)
{
    const std::string dropped = "~trace: ClientBroadcast message: [0] to [0] clients";
    const std::string handled = "~trace: Deletion Handled";
    const auto failed = [&](const std::string& error, const std::string& status) {
        return Lines{"~trace: " + error, "report vestarai 967: Command unsuccessful [" + status + "]"};
    };
    const auto refuse = [](ScriptedCloud& cloud) { cloud.RefuseConnection(); };
    const auto noPage = [](ScriptedCloud& cloud) { cloud.NoPage(); };
    const auto garbage = [](ScriptedCloud& cloud) { cloud.ReplyRaw({"garbage\r\n\r\n", ""}); };

    struct {
        std::string name;
        int method, command;
        Script answers;
        Lines effects; // behind the traces of the request; "~": only with tracing
        int result = 0;
        std::string after = kKept;
        // clang-format off
    } const outcomes[] = {
        {"connection refused", 2, 4, refuse, Lines{"trace: Unable to create SSL connection", "Sleep 10000"} +
         kNoPageEffects},
        {"refresh without page", 1, 1, noPage, {"~trace: " + kNoPage,
         "report vestarai 884: Refresh Token cleared due to being invalid",
         "trace: Cleaning up Token/Identifiers and removing thermostats", dropped, "NotifyWrite",
         "report vestarai 888: " + kNoPage}, 0, kLost},
        {"refresh by its method only", 1, 0, noPage, kNoPageEffects},
        {"200 with JSON", 2, 4, Answer(200, R"({"data":[]})"), {R"(~trace: {"data":[]})",
         "SetMainLoopTrigger", kSuccess}, 1, kQueued},
        {"200 to a token request", 1, 1, Answer(200, R"({"access_token":"x"})"), {"SetMainLoopTrigger",
         kSuccess}, 1, kQueued},
        {"200 without JSON", 3, 16, Answer(200, "<html>"), {kSuccess}, 1},
        {"204", 3, 16, Answer(204, ""), {handled, kSuccess}, 1},
        {"204 to a deletion", 4, 10, Answer(204, ""), {"~trace: User [per-%n1] Deleted", handled, kSuccess},
         1},
        {"204 to a revocation", 4, 14, Answer(204, ""),
         {"~trace: User [per-%n1] Access Revoked from [acc-%n1]", handled, kSuccess}, 1},
        {"401", 3, 16, Answer(401, R"({"message":"gone"})"), {dropped, "~trace: gone",
         "~trace: Token has been revoked - re-authentication needed"}, 0, kRefused},
        {"201", 2, 4, Answer(201, R"({"data":[]})", "Created"),
         Lines{"~trace: Failed to parse error from JSON"} + failed("Created", "Created")},
        {"403 to a refresh", 1, 1, Answer(403, R"({"errorcode":7})", "No"), failed("7", "No")},
        {"500", 2, 4, Answer(500, R"({"message":"50% %s%n"})", "100% %s%n"), failed("50% %s%n", "100% %s%n")},
        {"empty message", 2, 4, Answer(400, R"({"message":"","errorcode":"E"})"), failed("Reason", "Reason")},
        {"no status", 2, 4, garbage, failed("Unknown Error", "")},
    };
    // clang-format on
    for (const auto& row : outcomes) {
        for (const bool tracing : {false, true}) {
            SCOPED_TRACE(row.name + (tracing ? ", traced" : ""));
            CVestaraInterface& account = AddFullAccount();
            account.TraceEnabled(tracing);
            row.answers(m_cloud);
            EXPECT_EQ(Send(account, row.method, row.command), row.result);
            EXPECT_EQ(TakeOutcome(), WithTracing(tracing, row.effects));
            EXPECT_EQ(Holdings(account), row.after);
        }
    }
}

TEST_F(SendCycleTest, CountsWhatWasExchanged)
{
    CVestaraInterface& account = AddReadyAccount();
    const CNetworkBridge& bridge = *account.NetworkBridge();
    m_cloud.RefuseConnection();
    m_cloud.ReplyRaw({"HTTP/1.1 500 X\r\n\r\n", "12345"});
    Send(account, METHOD_READ, CMD_DEVICES_STATUS);
    EXPECT_EQ(bridge.NSends() + bridge.NBytesSent(), 0u);
    Send(account, METHOD_READ, CMD_DEVICES_STATUS);
    EXPECT_EQ(bridge.NSends() + bridge.NReceives(), 2u);
    EXPECT_EQ(bridge.NBytesSent(), m_cloud.TakeRequests().at(0).bytes.size());
    EXPECT_EQ(bridge.NBytesReceived(), 23u);
    m_journal.Take();
}

} // namespace support
