// Measures the driver's code on the development host's framework. Limits and verdicts are the table's.

#include "bench/Allocations.h"
#include "bench/BenchHost.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/values/JsonParser.h"
#include "host/JSON.h"
#include "support/Clock.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace bench
{

namespace
{

constexpr std::time_t kHeartbeatAgeS = 60;
constexpr int kManyLocks = 1000;

// An idle call while nothing has been answered and no poll is due. The housekeeping of every three seconds
// comes up in it, and has nothing to tell.
void IdleCall(benchmark::State& State)
{
    BenchHost Host;
    CVestaraInterface& Account = Host.Account();
    const std::uint64_t nBefore = Allocations();
    for (auto _ : State)
        Account.OnInterfaceIdle();
    State.counters["allocations"] = static_cast<double>(Allocations() - nBefore);
}

// Passes of the worker's loop, every 31st of them with a turn that finds a young token and no command. The
// clock is moved by the loop's pauses.
void WorkerPass(benchmark::State& State)
{
    constexpr int kPasses = 10000;
    support::ManualClock Clock;
    BenchHost Host;
    std::uint64_t nAllocations = 0;
    for (auto _ : State) {
        std::uint64_t nFirst = 0;
        std::uint64_t nLast = 0;
        // Counted from pause to pause, because the start and the end of the loop are not what is asked for.
        Host.RunWorker(kPasses, [&] {
            Clock.Advance(100);
            nLast = Allocations();
            nFirst = nFirst == 0 ? nLast : nFirst;
        });
        nAllocations += nLast - nFirst;
    }
    State.counters["allocations"] = static_cast<double>(nAllocations);
    State.SetItemsProcessed(State.iterations() * kPasses);
}

// A reply's body of so many entries.
using BodyOf = std::string (*)(int Entries);

std::string LocksBody(int Locks)
{
    return StatusBody(Locks, std::time(nullptr) - kHeartbeatAgeS);
}

// The framework's own JSON alone: the tree of a reply is built and given back.
void BareParse(benchmark::State& State, BodyOf Body)
{
    const std::string Text = Body(static_cast<int>(State.range(0)));
    for (auto _ : State)
        benchmark::DoNotOptimize(devhost::ParseJson(Text));
}

// The same reply parsed, routed and applied.
void StatusReply(benchmark::State& State)
{
    const int nLocks = static_cast<int>(State.range(0));
    const std::string Body = LocksBody(nLocks);
    BenchHost Host;
    Host.InstallLocks(nLocks);
    Host.TakeReply(CMD_DEVICES_STATUS, Body);
    for (auto _ : State)
        Host.TakeReply(CMD_DEVICES_STATUS, Body);
}

// A list of persons that are known, as every poll brings it: parsed and merged.
void PersonsReply(benchmark::State& State)
{
    const std::string Body = PersonsBody(static_cast<int>(State.range(0)));
    BenchHost Host;
    Host.TakeReply(CMD_ACCESS_PERSONS_LIST, Body);
    for (auto _ : State)
        Host.TakeReply(CMD_ACCESS_PERSONS_LIST, Body);
}

// A list of a person's accesses, none of which is the one to be taken away.
void AccessesReply(benchmark::State& State)
{
    const std::string Body = AccessesBody(static_cast<int>(State.range(0)));
    BenchHost Host;
    for (auto _ : State)
        Host.TakeReply(CMD_ACCESSES_LIST, Body, "lock-00000000-0000-0000-000000000001", kAccessPerson);
}

// The request of a status poll, and of an unlock, which has a body.
void RequestAssembly(benchmark::State& State)
{
    BenchHost Host;
    CVestaraInterface& Account = Host.Account();
    CVestaraCommand Poll(METHOD_READ, CMD_DEVICES_STATUS, Account.LocationID(), "", "", "");
    CVestaraCommand Unlock(METHOD_WRITE, CMD_DEVICE_UNLOCK, Account.LocationID(), "lock-0", "", "");
    CVestaraCommand* const pCommand = State.range(0) == 0 ? &Poll : &Unlock;
    for (auto _ : State) {
        CQXString sBody;
        CQXString sRequest;
        if (!Account.AssembleData(&sBody, pCommand) || !Account.AssembleHeader(&sRequest, pCommand)) {
            State.SkipWithError("the request was refused");
            break;
        }
        Account.PackData(&sRequest, &sBody, pCommand);
        benchmark::DoNotOptimize(sRequest);
    }
}

// What a lock holds, its part of the host included, once its first status has been applied.
void LockMemory(benchmark::State& State)
{
    const std::string Body = StatusBody(kManyLocks, std::time(nullptr) - kHeartbeatAgeS);
    for (auto _ : State) {
        BenchHost Host;
        const std::int64_t cbBefore = BytesHeld();
        Host.InstallLocks(kManyLocks);
        Host.TakeReply(CMD_DEVICES_STATUS, Body);
        State.counters["bytes"] = static_cast<double>(BytesHeld() - cbBefore) / kManyLocks;
    }
}

// What a person holds, once the list has been taken in.
void PersonMemory(benchmark::State& State)
{
    constexpr int kPersons = 1000;
    const std::string Body = PersonsBody(kPersons);
    for (auto _ : State) {
        BenchHost Host;
        const std::int64_t cbBefore = BytesHeld();
        Host.TakeReply(CMD_ACCESS_PERSONS_LIST, Body);
        State.counters["bytes"] = static_cast<double>(BytesHeld() - cbBefore) / kPersons;
    }
}

// A reply with as many entries as the framework takes.
struct WorstReply {
    const char* pName;
    CommandID Command;
    BodyOf Body;
    int nInstalled = 0;  // locks that are there already
    bool bKnown = false; // the same reply has come before
    int nCommands = 0;   // that must be queued afterwards
};

constexpr int kMost = static_cast<int>(devhost::kMaxJsonChildren);

// clang-format off
const WorstReply kWorst[] = {
    {"PersonsNew", CMD_ACCESS_PERSONS_LIST, PersonsBody},
    {"PersonsKnown", CMD_ACCESS_PERSONS_LIST, PersonsBody, 0, true},
    {"PersonsSenseless", CMD_ACCESS_PERSONS_LIST, [](int n) { return ListBody(n, R"({"type":"access_user"})"); }},
    {"LocationsNew", CMD_LOCATIONS_LIST, LocationsBody},
    {"LocationsKnown", CMD_LOCATIONS_LIST, LocationsBody, 0, true},
    {"LocksNew", CMD_DEVICES_DISCOVER, LocksBody},
    {"LocksKnown", CMD_DEVICES_STATUS, LocksBody, kMost},
    {"LocksBare", CMD_DEVICES_STATUS, BareLocksBody, kMost},
    {"LocksUnknown", CMD_DEVICES_STATUS, LocksBody},
    {"LocksOfNobody", CMD_DEVICES_STATUS,
     [](int n) { return ListBody(n, R"({"type":"lock","id":"x","name":"x","location_id":"x"})"); }},
    {"LocksSenseless", CMD_DEVICES_STATUS, [](int n) { return ListBody(n, "{}"); }},
    {"AccessesRevoked", CMD_ACCESSES_LIST, AccessesBody, 0, false, kMost},
};
// clang-format on

// One of these, whole: parsed, processed with its reports in a log file, and all that it leads to on this
// side done by the main loop.
void TakeWorst(benchmark::State& State, const WorstReply& Reply)
{
    const std::string Body = Reply.Body(kMost);
    const std::string LogFile =
        std::filesystem::temp_directory_path() / ("vestara-bench-" + std::to_string(getpid()) + ".log");
    {
        BenchHost Host;
        Host.InstallLocks(Reply.nInstalled);
        if (Reply.bKnown)
            Host.TakeReply(Reply.Command, Body);
        Host.DropCommands();
        devhost::DiagnosticLog Log({LogFile});
        devhost::TheFramework().pDiagnostics = &Log;
        for (auto _ : State)
            Host.TakeReplyInLoop(Reply.Command, Body, kAccessDevice, kAccessPerson);
        devhost::TheFramework().pDiagnostics = nullptr;
        if (Host.DropCommands() < Reply.nCommands)
            State.SkipWithError("commands are missing");
    }
    std::filesystem::remove(LogFile);
}

// A house that is polled for half a year: what is held afterwards and was not after the first polls. Every
// poll finds a new heartbeat.
void PollGrowth(benchmark::State& State)
{
    constexpr int kPolls = 1'000'000;
    constexpr int kFirstPolls = 100;
    constexpr std::uint64_t kPollMs = 15001;
    for (auto _ : State) {
        support::ManualClock Clock;
        BenchHost Host;
        Host.InstallLocks(1);
        std::int64_t cbBefore = 0;
        int nAsked = 0;
        for (int i = 0; i < kFirstPolls + kPolls; ++i) {
            if (i == kFirstPolls)
                cbBefore = BytesHeld();
            Clock.Advance(kPollMs);
            Host.Account().OnInterfaceIdle();
            while (const auto pCommand = Host.Account().NextCommand())
                nAsked += pCommand->GetCommandID() == CMD_DEVICES_STATUS ? 1 : 0;
            Host.TakeReply(CMD_DEVICES_STATUS, StatusBody(1, Clock.CalendarS() - kHeartbeatAgeS));
        }
        if (nAsked < kPolls)
            State.SkipWithError("a poll was not asked for");
        State.counters["bytes"] = static_cast<double>(BytesHeld() - cbBefore);
    }
}

BENCHMARK(IdleCall);
BENCHMARK(WorkerPass)->Iterations(100); // as long as the token lasts
BENCHMARK_CAPTURE(BareParse, Locks, LocksBody)->RangeMultiplier(10)->Range(1, kManyLocks);
BENCHMARK(StatusReply)->RangeMultiplier(10)->Range(1, kManyLocks);
BENCHMARK_CAPTURE(BareParse, Persons, PersonsBody)->RangeMultiplier(10)->Range(10, 1000);
BENCHMARK(PersonsReply)->RangeMultiplier(10)->Range(10, 1000);
BENCHMARK_CAPTURE(BareParse, Accesses, AccessesBody)->RangeMultiplier(10)->Range(10, 1000);
BENCHMARK(AccessesReply)->RangeMultiplier(10)->Range(10, 1000);
BENCHMARK(RequestAssembly)->Arg(0)->Arg(1);
BENCHMARK(LockMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(PersonMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(PollGrowth)->Iterations(1)->Repetitions(1)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace bench

int main(int nArguments, char** pArguments)
{
    // As the development host does: without the variable the C library asks the file system for the time zone
    // with every conversion of a local time.
    setenv("TZ", ":/etc/localtime", 0);
    benchmark::Initialize(&nArguments, pArguments);
    if (benchmark::ReportUnrecognizedArguments(nArguments, pArguments))
        return 1;
    for (const bench::WorstReply& Reply : bench::kWorst)
        benchmark::RegisterBenchmark(("TakeWorst/" + std::string(Reply.pName)).c_str(), bench::TakeWorst,
                                     Reply)
            ->Iterations(1)
            ->Repetitions(1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
