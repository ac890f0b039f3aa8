// Measures the driver's code on the development host's framework. Limits and verdicts are the table's.

#include "bench/Allocations.h"
#include "bench/BenchHost.h"
#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/values/JsonParser.h"
#include "host/JSON.h"
#include "tests/support/Clock.h"

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
void IdleCall(benchmark::State& state)
{
    BenchHost host;
    CVestaraInterface& account = host.Account();
    const std::uint64_t countBefore = Allocations();
    for (auto _ : state)
        account.OnInterfaceIdle();
    state.counters["allocations"] = static_cast<double>(Allocations() - countBefore);
}

// Passes of the worker's loop, every 31st of them with a turn that finds a young token and no command. The
// clock is moved by the loop's pauses.
void WorkerPass(benchmark::State& state)
{
    constexpr int kPasses = 10000;
    support::ManualClock clock;
    BenchHost host;
    std::uint64_t allocationCount = 0;
    for (auto _ : state) {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        // Counted from pause to pause, because the start and the end of the loop are not what is asked for.
        host.RunWorker(kPasses, [&] {
            clock.Advance(100);
            last = Allocations();
            first = first == 0 ? last : first;
        });
        allocationCount += last - first;
    }
    state.counters["allocations"] = static_cast<double>(allocationCount);
    state.SetItemsProcessed(state.iterations() * kPasses);
}

// A reply's body of so many entries.
using BodyOf = std::string (*)(int entries);

std::string LocksBody(int locks)
{
    return StatusBody(locks, std::time(nullptr) - kHeartbeatAgeS);
}

// The framework's own JSON alone: the tree of a reply is built and given back.
void BareParse(benchmark::State& state, BodyOf body)
{
    const std::string text = body(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(devhost::ParseJson(text));
}

// The same reply parsed, routed and applied.
void StatusReply(benchmark::State& state)
{
    const int lockCount = static_cast<int>(state.range(0));
    const std::string body = LocksBody(lockCount);
    BenchHost host;
    host.InstallLocks(lockCount);
    host.TakeReply(CMD_DEVICES_STATUS, body);
    for (auto _ : state)
        host.TakeReply(CMD_DEVICES_STATUS, body);
}

// A list of persons that are known, as every poll brings it: parsed and merged.
void PersonsReply(benchmark::State& state)
{
    const std::string body = PersonsBody(static_cast<int>(state.range(0)));
    BenchHost host;
    host.TakeReply(CMD_ACCESS_PERSONS_LIST, body);
    for (auto _ : state)
        host.TakeReply(CMD_ACCESS_PERSONS_LIST, body);
}

// A list of a person's accesses, none of which is the one to be taken away.
void AccessesReply(benchmark::State& state)
{
    const std::string body = AccessesBody(static_cast<int>(state.range(0)));
    BenchHost host;
    for (auto _ : state)
        host.TakeReply(CMD_ACCESSES_LIST, body, "lock-00000000-0000-0000-000000000001", kAccessPerson);
}

// The request of a status poll, and of an unlock, which has a body.
void RequestAssembly(benchmark::State& state)
{
    BenchHost host;
    CVestaraInterface& account = host.Account();
    CVestaraCommand poll(METHOD_READ, CMD_DEVICES_STATUS, account.LocationID(), "", "", "");
    CVestaraCommand unlock(METHOD_WRITE, CMD_DEVICE_UNLOCK, account.LocationID(), "lock-0", "", "");
    CVestaraCommand* const command = state.range(0) == 0 ? &poll : &unlock;
    for (auto _ : state) {
        CQXString body;
        CQXString request;
        if (!account.AssembleData(&body, command) || !account.AssembleHeader(&request, command)) {
            state.SkipWithError("the request was refused");
            break;
        }
        account.PackData(&request, &body, command);
        benchmark::DoNotOptimize(request);
    }
}

// What a lock holds, its part of the host included, once its first status has been applied.
void LockMemory(benchmark::State& state)
{
    const std::string body = StatusBody(kManyLocks, std::time(nullptr) - kHeartbeatAgeS);
    for (auto _ : state) {
        BenchHost host;
        const std::int64_t sizeBefore = BytesHeld();
        host.InstallLocks(kManyLocks);
        host.TakeReply(CMD_DEVICES_STATUS, body);
        state.counters["bytes"] = static_cast<double>(BytesHeld() - sizeBefore) / kManyLocks;
    }
}

// What a person holds, once the list has been taken in.
void PersonMemory(benchmark::State& state)
{
    constexpr int kPersons = 1000;
    const std::string body = PersonsBody(kPersons);
    for (auto _ : state) {
        BenchHost host;
        const std::int64_t sizeBefore = BytesHeld();
        host.TakeReply(CMD_ACCESS_PERSONS_LIST, body);
        state.counters["bytes"] = static_cast<double>(BytesHeld() - sizeBefore) / kPersons;
    }
}

// A reply with as many entries as the framework takes.
struct WorstReply {
    const char* name;
    CommandID command;
    BodyOf body;
    int installedCount = 0; // locks that are there already
    bool known = false;     // the same reply has come before
    int commandCount = 0;   // that must be queued afterwards
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
void TakeWorst(benchmark::State& state, const WorstReply& reply)
{
    const std::string body = reply.body(kMost);
    const std::string logFile =
        std::filesystem::temp_directory_path() / ("vestara-bench-" + std::to_string(getpid()) + ".log");
    {
        BenchHost host;
        host.InstallLocks(reply.installedCount);
        if (reply.known)
            host.TakeReply(reply.command, body);
        host.DropCommands();
        devhost::DiagnosticLog log({logFile});
        devhost::TheFramework().diagnostics = &log;
        for (auto _ : state)
            host.TakeReplyInLoop(reply.command, body, kAccessDevice, kAccessPerson);
        devhost::TheFramework().diagnostics = nullptr;
        if (host.DropCommands() < reply.commandCount)
            state.SkipWithError("commands are missing");
    }
    std::filesystem::remove(logFile);
}

// A house that is polled for half a year: what is held afterwards and was not after the first polls. Every
// poll finds a new heartbeat.
void PollGrowth(benchmark::State& state)
{
    constexpr int kPolls = 1'000'000;
    constexpr int kFirstPolls = 100;
    constexpr std::uint64_t kPollMs = 15001;
    for (auto _ : state) {
        support::ManualClock clock;
        BenchHost host;
        host.InstallLocks(1);
        std::int64_t sizeBefore = 0;
        int askedCount = 0;
        for (int i = 0; i < kFirstPolls + kPolls; ++i) {
            if (i == kFirstPolls)
                sizeBefore = BytesHeld();
            clock.Advance(kPollMs);
            host.Account().OnInterfaceIdle();
            while (const auto command = host.Account().NextCommand())
                askedCount += command->GetCommandID() == CMD_DEVICES_STATUS ? 1 : 0;
            host.TakeReply(CMD_DEVICES_STATUS, StatusBody(1, clock.CalendarS() - kHeartbeatAgeS));
        }
        if (askedCount < kPolls)
            state.SkipWithError("a poll was not asked for");
        state.counters["bytes"] = static_cast<double>(BytesHeld() - sizeBefore);
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

int main(int argumentCount, char** arguments)
{
    // As the development host does: without the variable the C library asks the file system for the time zone
    // with every conversion of a local time.
    setenv("TZ", ":/etc/localtime", 0);
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments))
        return 1;
    for (const bench::WorstReply& reply : bench::kWorst)
        benchmark::RegisterBenchmark(("TakeWorst/" + std::string(reply.name)).c_str(), bench::TakeWorst,
                                     reply)
            ->Iterations(1)
            ->Repetitions(1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
