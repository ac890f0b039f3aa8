// The send cycle by the outcome of the exchange: what is traced, counted, queued and dropped, in which order.

#include "interface/LocationPair.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>

namespace
{

using support::Lines;
using support::WithTracing;
using testing::ElementsAreArray;
using testing::IsEmpty;
using support::operator+;

const std::string kNoPage = "Page returned NULL - failed to process request";
const Lines kNoPageEffects = {"~trace: " + kNoPage, "report vestarai 888: " + kNoPage};
const std::string kSuccess = "~trace: Command successful";
const std::string kCleanup = "trace: Cleaning up Token/Identifiers and removing thermostats";
const std::string kSpent = "report vestarai 884: Refresh Token cleared due to being invalid";
const std::string kDropped = "~trace: ClientBroadcast message: [0] to [0] clients";

struct Outcome {
    std::string Name;
    int Method;
    int Command;
    std::function<void(support::ScriptedCloud&)> Script;
    Lines Effects; // behind the traces of the request; "~": only with tracing
    int Result = 0;
    int Replies = 0;    // queued afterwards
    bool Drops = false; // whether the account's objects are dropped
};

std::function<void(support::ScriptedCloud&)> Answer(int Status, const std::string& Body,
                                                    const std::string& Reason = "Reason")
{
    return [=](support::ScriptedCloud& Cloud) { Cloud.Reply(Status, Body, Reason); };
}

void Refuse(support::ScriptedCloud& Cloud)
{
    Cloud.RefuseConnection();
}

class SendCycle : public support::DriverTest
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
        Probe(Account).Locations().AddTail(new CLocationPair("loc-2", "Barn"));
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
    const auto NoPage = [](support::ScriptedCloud& Cloud) { Cloud.NoPage(); };
    const auto Garbage = [](support::ScriptedCloud& Cloud) { Cloud.ReplyRaw({"garbage\r\n\r\n", ""}); };

    // clang-format off
    const Outcome Outcomes[] = {
        {"refused", 2, 4, Refuse, Refused + kNoPageEffects},
        {"no page", 2, 4, NoPage, Message + kNoPageEffects},
        {"code request refused", 0, 0, Refuse, RefusedForm + kNoPageEffects},
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
        {"204 with JSON", 2, 4, Answer(204, R"({"data":[]})"), Page + Lines{Handled, kSuccess}, 1},
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
        {"202", 2, 4, Answer(202, "", "Accepted"), Failed("Accepted", "Accepted")},
        {"403 to a refresh", 1, 1, Answer(403, R"({"errorcode":7})", "No"), Form + Lines{"~trace: 7",
         "report vestarai 967: Command unsuccessful [No]"}},
        {"500", 2, 4, Answer(500, R"({"message":"50% %s%n"})", "100% %s%n"), Failed("50% %s%n", "100% %s%n")},
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
            EXPECT_THAT(TakeShortEffects(), ElementsAreArray(WithTracing(bTracing, Row.Effects)));
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
    m_Cloud.NoPage();
    Account.SendCommand(
        std::make_unique<CVestaraCommand>(METHOD_TOKEN_REFRESH, CMD_TOKEN_REFRESH, "", "", "", ""));
    EXPECT_THAT(TakeEffects(),
                ElementsAreArray(WithTracing(false, Lines{"request", kSpent} + kNoPageEffects)));
    EXPECT_EQ(std::string(Probe(Account).RefreshToken()), "refresh-1");
    EXPECT_EQ(Account.NCommands(), 1);
}

TEST_F(SendCycle, CountsWhatWasExchanged)
{
    CVestaraInterface& Account = AddReadyAccount();
    const CNetworkBridge& Bridge = *Account.NetworkBridge();
    const auto Send = [&] {
        Account.SendCommand(
            std::make_unique<CVestaraCommand>(METHOD_READ, CMD_DEVICES_STATUS, "", "", "", ""));
        m_Journal.Take();
        return m_Cloud.TakeRequests();
    };
    m_Cloud.RefuseConnection();
    Send();
    EXPECT_EQ(Bridge.NSends() + Bridge.NBytesSent(), 0u);

    m_Cloud.NoPage();
    const std::uint64_t cb = Send().at(0).Bytes.size();
    EXPECT_EQ(Bridge.NSends(), 1u);
    EXPECT_EQ(Bridge.NBytesSent(), cb);
    EXPECT_EQ(Bridge.NReceives() + Bridge.NBytesReceived(), 0u);

    m_Cloud.ReplyRaw({"HTTP/1.1 500 X\r\n\r\n", "12345"});
    Send();
    EXPECT_EQ(Bridge.NSends(), 2u);
    EXPECT_EQ(Bridge.NReceives(), 1u);
    EXPECT_EQ(Bridge.NBytesReceived(), 23u);
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
    EXPECT_EQ(Account.SendCommand(
                  std::make_unique<CVestaraCommand>(METHOD_READ, CMD_DEVICES_STATUS, "", "", "", "")),
              1);
    const Lines Effects = TakeEffects();
    ASSERT_GE(Effects.size(), 2u);
    EXPECT_EQ(Effects[Effects.size() - 2], "trace: ProcessingResponse [4]");
    EXPECT_EQ(Effects.back(), "trace: Command successful");
}

TEST_F(SendCycle, ErrorTextIsTheMostSpecificOne)
{
    const std::string Unparsed = "trace: Failed to parse error from JSON";
    struct {
        const char* Json; // null: no reply tree
        const char* Status;
        Lines Traces;
        // clang-format off
    } const Rows[] = {
        {nullptr, "", {"trace: Unknown Error"}},
        {nullptr, "S%s", {"trace: S%s"}},
        {R"({"errorcode":"E","message":"M%n"})", "S", {"trace: M%n"}},
        {R"({"errors":[{"message":"deep"}]})", "S", {"trace: deep"}},
        {R"({"message":{"text":"M"},"errorcode":42})", "S", {"trace: 42"}},
        {R"({"message":"","errorcode":"E"})", "S", {"trace: S"}},
        {R"({"message":""})", "", {"trace: Unknown Error"}},
        {R"({"messages":"M"})", "S", {Unparsed, "trace: S"}},
        {R"([])", "", {Unparsed, "trace: Unknown Error"}},
    };
    // clang-format on
    CVestaraInterface& Account = AddAccount();
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Json ? Row.Json : "no reply");
        for (const bool bTracing : {false, true}) {
            Account.TraceEnabled(bTracing);
            auto pCommand = std::make_unique<CVestaraCommand>(METHOD_READ, CMD_DEVICE_GET, "", "", "", "");
            EXPECT_EQ(Account.HandleError(bTracing ? std::move(pCommand) : nullptr,
                                          Row.Json ? support::ParseJson(Row.Json) : nullptr, Row.Status),
                      1);
            EXPECT_THAT(TakeEffects(), ElementsAreArray(bTracing ? Row.Traces : Lines{}));
        }
    }
}

} // namespace
