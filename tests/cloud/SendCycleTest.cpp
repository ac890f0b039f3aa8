// The send cycle by the outcome of the exchange: what is traced, counted, queued and dropped, in which order.

#include "cloud/CloudTest.h"

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

static Script Answer(int Status, const std::string& Body, const std::string& Reason = "Reason")
{
    return [=](ScriptedCloud& Cloud) { Cloud.Reply(Status, Body, Reason); };
}

class SendCycle : public CloudTest
{
protected:
    // An authorised account with something in its lists.
    CVestaraInterface& AddFullAccount()
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).Authorized() = 1;
        Probe(Account).NotifyConfig() = 0;
        AddPerson(Account, 4, "", "Ann");
        AddWaitingReply(Account);
        Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        m_Journal.Take();
        return Account;
    }
    std::string Holdings(CVestaraInterface& Account)
    {
        CVestaraInterfaceProbe Fields = Probe(Account);
        std::ostringstream Text;
        for (const CQXString Word : {Fields.AccessToken(), Fields.RefreshToken(), Fields.LocationID()})
            Text << Str(Word) << ' ';
        Text << Str(Fields.LocationName()) << ", " << Account.NCommands() << ' ' << Account.NResponses()
             << ' ' << Persons(Account).size() << ", " << Fields.Authorized() << ' ' << Fields.RemoveDevices()
             << ' ' << Fields.NotifyConfig() << ' ' << (Fields.TokenTimer().QXTickCount() == 6'600'000) << ' '
             << (Fields.StatusPollTimer().QXTickCount() + Fields.AccessPollTimer().QXTickCount() == 0);
        return Text.str();
    }
    // Without requests and pages as they are, whose traces have a test of their own.
    Lines TakeOutcome()
    {
        Lines Effects = TakeEffects();
        std::erase_if(Effects, [](const std::string& Effect) {
            return Effect.starts_with("trace: HTTPS") || Effect.starts_with("trace: Got [");
        });
        return Effects;
    }
};

TEST_F(SendCycle, EachOutcomeHasItsEffectsInOrder)
{
    const std::string Dropped = "~trace: ClientBroadcast message: [0] to [0] clients";
    const std::string Handled = "~trace: Deletion Handled";
    const auto Failed = [&](const std::string& Error, const std::string& Status) {
        return Lines{"~trace: " + Error, "report vestarai 967: Command unsuccessful [" + Status + "]"};
    };
    const auto Refuse = [](ScriptedCloud& Cloud) { Cloud.RefuseConnection(); };
    const auto NoPage = [](ScriptedCloud& Cloud) { Cloud.NoPage(); };
    const auto Garbage = [](ScriptedCloud& Cloud) { Cloud.ReplyRaw({"garbage\r\n\r\n", ""}); };

    struct {
        std::string Name;
        int Method, Command;
        Script Answers;
        Lines Effects; // behind the traces of the request; "~": only with tracing
        int Result = 0;
        std::string After = kKept;
        // clang-format off
    } const Outcomes[] = {
        {"connection refused", 2, 4, Refuse, Lines{"trace: Unable to create SSL connection", "Sleep 10000"} +
         kNoPageEffects},
        {"refresh without page", 1, 1, NoPage, {"~trace: " + kNoPage,
         "report vestarai 884: Refresh Token cleared due to being invalid",
         "trace: Cleaning up Token/Identifiers and removing thermostats", Dropped, "NotifyWrite",
         "report vestarai 888: " + kNoPage}, 0, kLost},
        {"refresh by its method only", 1, 0, NoPage, kNoPageEffects},
        {"200 with JSON", 2, 4, Answer(200, R"({"data":[]})"), {R"(~trace: {"data":[]})",
         "SetMainLoopTrigger", kSuccess}, 1, kQueued},
        {"200 to a token request", 1, 1, Answer(200, R"({"access_token":"x"})"), {"SetMainLoopTrigger",
         kSuccess}, 1, kQueued},
        {"200 without JSON", 3, 16, Answer(200, "<html>"), {kSuccess}, 1},
        {"204", 3, 16, Answer(204, ""), {Handled, kSuccess}, 1},
        {"204 to a deletion", 4, 10, Answer(204, ""), {"~trace: User [per-%n1] Deleted", Handled, kSuccess},
         1},
        {"204 to a revocation", 4, 14, Answer(204, ""),
         {"~trace: User [per-%n1] Access Revoked from [acc-%n1]", Handled, kSuccess}, 1},
        {"401", 3, 16, Answer(401, R"({"message":"gone"})"), {Dropped, "~trace: gone",
         "~trace: Token has been revoked - re-authentication needed"}, 0, kRefused},
        {"201", 2, 4, Answer(201, R"({"data":[]})", "Created"),
         Lines{"~trace: Failed to parse error from JSON"} + Failed("Created", "Created")},
        {"403 to a refresh", 1, 1, Answer(403, R"({"errorcode":7})", "No"), Failed("7", "No")},
        {"500", 2, 4, Answer(500, R"({"message":"50% %s%n"})", "100% %s%n"), Failed("50% %s%n", "100% %s%n")},
        {"empty message", 2, 4, Answer(400, R"({"message":"","errorcode":"E"})"), Failed("Reason", "Reason")},
        {"no status", 2, 4, Garbage, Failed("Unknown Error", "")},
    };
    // clang-format on
    for (const auto& Row : Outcomes) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(Row.Name + (bTracing ? ", traced" : ""));
            CVestaraInterface& Account = AddFullAccount();
            Account.TraceEnabled(bTracing);
            Row.Answers(m_Cloud);
            EXPECT_EQ(Send(Account, Row.Method, Row.Command), Row.Result);
            EXPECT_EQ(TakeOutcome(), WithTracing(bTracing, Row.Effects));
            EXPECT_EQ(Holdings(Account), Row.After);
        }
    }
}

TEST_F(SendCycle, CountsWhatWasExchanged)
{
    CVestaraInterface& Account = AddReadyAccount();
    const CNetworkBridge& Bridge = *Account.NetworkBridge();
    m_Cloud.RefuseConnection();
    m_Cloud.ReplyRaw({"HTTP/1.1 500 X\r\n\r\n", "12345"});
    Send(Account, METHOD_READ, CMD_DEVICES_STATUS);
    EXPECT_EQ(Bridge.NSends() + Bridge.NBytesSent(), 0u);
    Send(Account, METHOD_READ, CMD_DEVICES_STATUS);
    EXPECT_EQ(Bridge.NSends() + Bridge.NReceives(), 2u);
    EXPECT_EQ(Bridge.NBytesSent(), m_Cloud.TakeRequests().at(0).Bytes.size());
    EXPECT_EQ(Bridge.NBytesReceived(), 23u);
    m_Journal.Take();
}

} // namespace support
