// The send cycle by the outcome of the exchange: what is traced, counted, queued and dropped, in which order.

#include "support/AccountTest.h"

namespace support
{

const std::string kNoPage = "Page returned NULL - failed to process request";
const Lines kNoPageEffects = {"~trace: " + kNoPage, "report vestarai 888: " + kNoPage};
const std::string kSuccess = "~trace: Command successful";
const std::string kCleanup = "trace: Cleaning up Token/Identifiers and removing thermostats";
const std::string kSpent = "report vestarai 884: Refresh Token cleared due to being invalid";
const std::string kDropped = "~trace: ClientBroadcast message: [0] to [0] clients";

struct Outcome {
    std::string Name;
    int Method, Command;
    std::function<void(ScriptedCloud&)> Script;
    Lines Effects;               // behind the traces of the request; "~": only with tracing
    int Result = 0, Replies = 0; // queued afterwards
    bool Drops = false;          // whether the account's objects are dropped
};

using Script = std::function<void(ScriptedCloud&)>;

static Script Answer(int Status, const std::string& Body, const std::string& Reason = "Reason")
{
    return [=](ScriptedCloud& Cloud) { Cloud.Reply(Status, Body, Reason); };
}

class SendCycle : public AccountTest
{
protected:
    SendCycle()
    {
        m_Cloud.OnRequest = [this](const std::string&) { m_Journal.Add("request"); };
    }

    // An authorised account with something in every list, and one command behind the one under test.
    CVestaraInterface& AddFullAccount()
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).Authorized() = 1;
        Probe(Account).AuthCode() = "code-1";
        Account.GenObfuscationList();
        Offer(Account, {"loc-2"});
        AddPerson(Account, 4, "", "Ann");
        Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
        m_Journal.Take();
        return Account;
    }

    // Without the texts of requests and pages, which have tests of their own.
    Lines TakeShortEffects()
    {
        Lines Effects = TakeEffects();
        for (std::string& Effect : Effects)
            for (const std::string Start : {"trace: HTTPS message [", "trace: HTTPS data [", "trace: Got ["})
                if (Effect.starts_with(Start))
                    Effect.resize(Start.size() - 2);
        return Effects;
    }
};

TEST_F(SendCycle, EachOutcomeHasItsEffectsInOrder)
{
    const Lines Message = {"~trace: HTTPS message", "request"};
    const Lines Form = {"~trace: HTTPS message", "~trace: HTTPS data", "request"};
    const Lines Page = Message + Lines{"~trace: Got"};
    const Lines Refused = {"~trace: HTTPS message", "trace: Unable to create SSL connection", "Sleep 10000"};
    const Lines RefusedForm = {"~trace: HTTPS message", "~trace: HTTPS data",
                               "trace: Unable to create SSL connection", "Sleep 10000"};
    const Lines Lost = {
        "~trace: " + kNoPage, kSpent, kCleanup, kDropped, "NotifyWrite", "report vestarai 888: " + kNoPage};
    const std::string Handled = "~trace: Deletion Handled";
    const std::string Revoked = "~trace: Token has been revoked - re-authentication needed";
    const auto Failed = [&](const std::string& Error, const std::string& Status) {
        return Page + Lines{"~trace: " + Error, "report vestarai 967: Command unsuccessful [" + Status + "]"};
    };
    const auto Refuse = [](ScriptedCloud& Cloud) { Cloud.RefuseConnection(); };
    const auto NoPage = [](ScriptedCloud& Cloud) { Cloud.NoPage(); };
    const auto Garbage = [](ScriptedCloud& Cloud) { Cloud.ReplyRaw({"garbage\r\n\r\n", ""}); };

    // clang-format off
    const Outcome Outcomes[] = {
        {"refused", 2, 4, Refuse, Refused + kNoPageEffects},
        {"no page", 2, 4, NoPage, Message + kNoPageEffects},
        {"refresh refused", 1, 1, Refuse, RefusedForm + Lost, 0, 0, true},
        {"refresh without page", 1, 1, NoPage, Form + Lost, 0, 0, true},
        {"refresh by its id, not its method", 2, 1, NoPage, Message + Lost, 0, 0, true},
        {"refresh by its method only", 1, 0, NoPage, Form + kNoPageEffects},
        {"200 with JSON", 2, 4, Answer(200, R"({"data":[]})"), Page + Lines{R"(~trace: {"data":[]})",
         "SetMainLoopTrigger", kSuccess}, 1, 1},
        {"200 to a token request", 1, 1, Answer(200, R"({"access_token":"x"})"), Form +
         Lines{"SetMainLoopTrigger", kSuccess}, 1, 1},
        {"200 without JSON", 3, 16, Answer(200, "<html>"), Page + Lines{kSuccess}, 1},
        {"204", 3, 16, Answer(204, ""), Page + Lines{Handled, kSuccess}, 1},
        {"204 to a person's deletion", 4, 10, Answer(204, ""), Page + Lines{"~trace: User [per-%n1] Deleted",
         Handled, kSuccess}, 1},
        {"204 to a revocation", 4, 14, Answer(204, ""), Page +
         Lines{"~trace: User [per-%n1] Access Revoked from [acc-1]", Handled, kSuccess}, 1},
        {"401", 3, 16, Answer(401, R"({"message":"gone"})"), Page + Lines{kDropped, "~trace: gone", Revoked},
         0, 0, true},
        {"401 to a token request", 0, 0, Answer(401, "", "Unauthorized"), Form + Lines{kDropped,
         "~trace: Unauthorized", Revoked}, 0, 0, true},
        {"201", 2, 4, Answer(201, R"({"data":[]})", "Created"), Page +
         Lines{"~trace: Failed to parse error from JSON", "~trace: Created",
         "report vestarai 967: Command unsuccessful [Created]"}},
        {"403 to a refresh", 1, 1, Answer(403, R"({"errorcode":7})", "No"), Form + Lines{"~trace: 7",
         "report vestarai 967: Command unsuccessful [No]"}},
        {"500", 2, 4, Answer(500, R"({"message":"50% %s%n"})", "100% %s%n"), Failed("50% %s%n", "100% %s%n")},
        {"message in a list", 2, 4, Answer(400, R"({"errors":[{"message":"deep"}],"errorcode":"E"})"),
         Failed("deep", "Reason")},
        {"message that is no text", 2, 4, Answer(400, R"({"message":{"text":"M"},"errorcode":42})"),
         Failed("42", "Reason")},
        {"empty message", 2, 4, Answer(400, R"({"message":""})"), Failed("Reason", "Reason")},
        {"no status", 2, 4, Garbage, Failed("Unknown Error", "")},
    };
    // clang-format on
    for (const Outcome& Row : Outcomes) {
        for (const bool bTracing : {false, true}) {
            SCOPED_TRACE(Row.Name + (bTracing ? ", traced" : ""));
            CVestaraInterface& Account = AddFullAccount();
            Account.TraceEnabled(bTracing);
            Row.Script(m_Cloud);
            EXPECT_EQ(Account.SendCommand(std::make_unique<CVestaraCommand>(
                          static_cast<VestaraMethod>(Row.Method), static_cast<CommandID>(Row.Command),
                          "loc-1", "dev-1", "per-%n1", "acc-1")),
                      Row.Result);
            EXPECT_EQ(TakeShortEffects(), WithTracing(bTracing, Row.Effects));
            EXPECT_EQ(Account.NResponses(), Row.Replies);
            EXPECT_EQ(Account.NCommands(), Row.Drops ? 0 : 1);
            EXPECT_EQ(Persons(Account).size(), Row.Drops ? 0u : 1u);
            EXPECT_EQ(Candidates(Account).size(), Row.Drops ? 0u : 1u);
            EXPECT_EQ(Probe(Account).ObfuscationList().GetCount(), Row.Drops ? 0 : 4);
            EXPECT_EQ(std::string(Probe(Account).AccessToken()), Row.Drops ? "" : "access-1");
            EXPECT_EQ(Probe(Account).Authorized(), Row.Drops ? 0 : 1);
            EXPECT_EQ(Probe(Account).TokenTimer().QXTickCount() == 6'600'000, Row.Name.starts_with("401"));
        }
    }
}

TEST_F(SendCycle, LostAndRefusedTokensDifferInWhatStays)
{
    for (const bool bRefused : {true, false}) {
        SCOPED_TRACE(bRefused ? "401" : "refresh without page");
        CVestaraInterface& Account = AddFullAccount();
        CPortivo& Lock = AddLock(Account, bRefused ? "dev-1" : "dev-2", "Door");
        Account.AddResponse(Account.NextCommand());
        m_Clock.Advance(10'000);
        if (bRefused)
            m_Cloud.Reply(401, "");
        Account.AddCommand(bRefused ? METHOD_READ : METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH, "", "", "", "");
        SendNext(Account);
        m_Journal.Take();

        CVestaraInterfaceProbe Fields = Probe(Account);
        EXPECT_EQ(Account.NResponses(), 0);
        EXPECT_EQ(Lock.NeedAuth(), 1);
        EXPECT_EQ(std::string(Fields.RefreshToken()), bRefused ? "refresh-1" : "");
        EXPECT_EQ(std::string(Fields.LocationID()), bRefused ? "loc-1" : "");
        EXPECT_EQ(Fields.RemoveDevices(), !bRefused);
        EXPECT_EQ(Fields.NotifyConfig(), !bRefused);
        EXPECT_EQ(Fields.TokenTimer().QXTickCount(), 6'600'000u);
        EXPECT_EQ(Fields.StatusPollTimer().QXTickCount(), bRefused ? 0u : 23'000u);
        EXPECT_EQ(Fields.AccessPollTimer().QXTickCount(), bRefused ? 0u : 68'000u);
    }
}

TEST_F(SendCycle, LostRefreshOfAnAccountWithoutAccessTokenIsReportedOnly)
{
    CVestaraInterface& Account = AddFullAccount();
    Probe(Account).AccessToken() = "";
    DropQueued(Account);
    Account.AddCommand(METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH, "", "", "", "");
    Account.AddCommand(METHOD_READ, CMD_LOCATIONS_LIST, "", "", "", "");
    m_Journal.Take();
    m_Cloud.NoPage();
    SendNext(Account);
    EXPECT_EQ(TakeEffects(), WithTracing(false, Lines{"request", kSpent} + kNoPageEffects));
    EXPECT_EQ(Str(Probe(Account).RefreshToken()), "refresh-1");
    EXPECT_EQ(Account.NCommands(), 1);
}

TEST_F(SendCycle, CountsWhatWasExchanged)
{
    CVestaraInterface& Account = AddReadyAccount();
    const CNetworkBridge& Bridge = *Account.NetworkBridge();
    m_Cloud.RefuseConnection();
    m_Cloud.NoPage();
    m_Cloud.ReplyRaw({"HTTP/1.1 500 X\r\n\r\n", "12345"});
    std::uint64_t cbSent = 0;
    for (const unsigned i : {0u, 1u, 2u}) {
        Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "", "", "", "");
        SendNext(Account);
        for (const auto& Request : m_Cloud.TakeRequests())
            cbSent += Request.Bytes.size();
        EXPECT_EQ(Bridge.NSends(), i);
        EXPECT_EQ(Bridge.NBytesSent(), cbSent);
        EXPECT_EQ(Bridge.NReceives() * 100 + Bridge.NBytesReceived(), i < 2 ? 0u : 123u);
    }
    m_Journal.Take();
}

TEST_F(SendCycle, HostMayProcessTheReplyBeforeTheCycleEnds)
{
    CVestaraInterface& Account = AddReadyAccount();
    Account.TraceEnabled(1);
    devhost::TheFramework().WakeMainLoop = [&] {
        Account.ProcessResponse(Account.NextResponse());
        return 1;
    };
    m_Cloud.Reply(200, R"({"data":[]})");
    Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "", "", "", "");
    EXPECT_EQ(SendNext(Account), 1);
    const Lines Effects = TakeEffects();
    ASSERT_GE(Effects.size(), 2u);
    EXPECT_EQ(Effects[Effects.size() - 2], "trace: ProcessingResponse [4]");
    EXPECT_EQ(Effects.back(), "trace: Command successful");
}

} // namespace support
