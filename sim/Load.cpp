// Measurements for docs/scale.md. Nobody acts in them but the installer who sets the accounts up.

#include "sim/Load.h"

#include "sim/Stage.h"
#include "tests/support/Probes.h"

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <map>
#include <numeric>
#include <stdexcept>

namespace sim
{

namespace
{

using Fault = SimulatedCloud::Fault;

constexpr std::uint64_t kRefreshMs = 110 * kMinuteMs; // from one refresh of the tokens to the next

// A controller whose accounts an installer has set up, and that is left alone from then on.
class Ready : public Stage
{
public:
    explicit Ready(const Settings& settings) : Stage(settings)
    {
        cloud.onConnect = [this] { connections.push_back(journal.NowMs()); };
        cloud.onDelivery = [this, next = cloud.onDelivery](const Delivery& delivery) {
            ++requests[Kind(delivery.line)];
            next(delivery);
        };
        cloud.Calm(true);
        const auto locks =
            static_cast<std::size_t>(settings.accounts) * static_cast<std::size_t>(settings.locks);
        while (controller.Locks().size() < locks || people.Busy()) {
            people.SetUp();
            Live(kMinuteMs);
            if (journal.NowMs() > 24 * kHourMs)
                throw std::runtime_error("seed " + std::to_string(settings.seed) + " gets no lock");
        }
        people.Rest(true);
        Live(5 * kMinuteMs);
    }
    void Live(std::uint64_t ms)
    {
        for (const std::uint64_t end = journal.NowMs() + ms; journal.NowMs() < end;)
            Round();
        if (journal.Broken())
            throw std::runtime_error("rule " + journal.Broken()->rule +
                                     " is broken: " + journal.Broken()->what);
    }
    void Forget()
    {
        connections.clear();
        requests.clear();
    }
    bool HasTokens()
    {
        return std::ranges::all_of(controller.Accounts(), [](CVestaraInterface* account) {
            return Controller::HasUsableToken(*account);
        });
    }
    std::size_t Waiting()
    {
        std::size_t count = 0;
        for (CVestaraInterface* account : controller.Accounts())
            count += static_cast<std::size_t>(account->NCommands());
        return count;
    }

    std::vector<std::uint64_t> connections; // when they were asked for
    std::map<std::string, int> requests;    // that were sent, by kind

private:
    // Without ids.
    static std::string Kind(const std::string& line)
    {
        const std::size_t path = line.find('/');
        return line.substr(0, line.find('/', path + 1));
    }
};

// Nobody but the installer.
Settings Alone(Settings settings)
{
    settings.faults = Faults::None;
    settings.someOperations = true;
    settings.operations.clear();
    return settings;
}

void PrintState(const Settings& settings, const char* name, std::uint64_t ms,
                const std::function<void(Ready&)>& enter, std::ostream& out)
{
    Ready ready(settings);
    enter(ready);
    ready.Live(kMinuteMs);
    ready.Forget();
    ready.Live(ms);
    const double hours = static_cast<double>(ms) / static_cast<double>(kHourMs);
    out << std::left << std::setw(26) << name << std::right << std::setw(8) << std::fixed
        << std::setprecision(1) << static_cast<double>(ready.connections.size()) / hours << " connections;";
    for (const auto& [kind, count] : ready.requests)
        out << "  " << kind << " " << count / hours;
    out << "\n";
}

struct Outage {
    const char* name;
    Fault fault;
    int status;
};
constexpr Outage kOutages[] = {
    {"refused", Fault::Refused, 0}, {"no answer", Fault::NoAnswer, 0}, {"status 503", Fault::Status, 503}};

void PrintComingBack(const Settings& first, const Outage& outage, std::uint64_t lengthMs, int controllers,
                     std::ostream& out)
{
    constexpr std::uint64_t kAfterMs = 10 * kMinuteMs;
    std::vector<int> perSecond(kAfterMs / kSecondMs);
    int lost = 0;
    std::size_t waiting = 0;
    std::uint64_t during = 0;
    for (int i = 0; i < controllers; ++i) {
        Settings settings = first;
        settings.seed += static_cast<std::uint64_t>(i);
        Ready ready(settings);
        // Any age of the tokens, and any place within the polls.
        Random chance = Random::For(settings.seed, "age");
        ready.Live(chance.Below(kRefreshMs));
        ready.Forget();
        ready.cloud.Force(outage.fault, outage.status);
        ready.Live(lengthMs);
        during += ready.connections.size();
        waiting = std::max(waiting, ready.Waiting());
        ready.cloud.Force(Fault::None);
        ready.Forget();
        const std::uint64_t end = ready.journal.NowMs();
        ready.Live(kAfterMs);
        for (const std::uint64_t at : ready.connections)
            ++perSecond[std::min(perSecond.size() - 1, static_cast<std::size_t>((at - end) / kSecondMs))];
        lost += ready.HasTokens() ? 0 : 1;
    }
    const auto rate = [&](std::size_t from, std::size_t to) {
        const auto begin = perSecond.begin();
        const int sum = std::accumulate(begin + static_cast<std::ptrdiff_t>(from),
                                        begin + static_cast<std::ptrdiff_t>(to), 0);
        return 3600.0 * sum / static_cast<double>(to - from) / controllers;
    };
    out << std::left << std::setw(11) << outage.name << std::right << std::setw(4) << lengthMs / kMinuteMs
        << " min: " << std::setprecision(0)
        << static_cast<double>(during * kHourMs) / static_cast<double>(lengthMs) / controllers
        << " an hour meanwhile, at most " << waiting << " wait; then an hour's rate in the first 5 s "
        << rate(0, 5) << ", 5-15 s " << rate(5, 15) << ", 15-30 s " << rate(15, 30) << ", to 1 min "
        << rate(30, 60) << ", to 5 min " << rate(60, 300) << ", later " << rate(300, 600)
        << "; to be authorised again: " << std::setprecision(0) << 100.0 * lost / controllers << " %\n";
}

} // namespace

void PrintLoad(Settings settings, int controllers, std::ostream& out)
{
    settings = Alone(settings);
    const auto force = [](Fault fault, int status) {
        return [=](Ready& ready) { ready.cloud.Force(fault, status); };
    };
    const auto forEach = [](const std::function<void(CVestaraInterfaceProbe)>& change) {
        return [=](Ready& ready) {
            for (CVestaraInterface* account : ready.controller.Accounts())
                change(CVestaraInterfaceProbe(*account));
        };
    };
    out << "An hour of one controller, on average:\n";
    PrintState(
        settings, "ready", 6 * kRefreshMs, [](Ready&) {}, out);
    PrintState(settings, "no house chosen", 6 * kRefreshMs,
               forEach([](CVestaraInterfaceProbe fields) { fields.LocationID() = ""; }), out);
    PrintState(settings, "never authorised", kHourMs, forEach([](CVestaraInterfaceProbe fields) {
                   fields.AccessToken() = "";
                   fields.RefreshToken() = "";
               }),
               out);
    PrintState(
        settings, "access revoked", kHourMs,
        [](Ready& ready) { ready.cloud.Admin("POST", "tokens/revoke", R"({"refresh":false})"); }, out);
    PrintState(
        settings, "grant revoked", kHourMs,
        [](Ready& ready) { ready.cloud.Admin("POST", "tokens/revoke", R"({"refresh":true})"); }, out);
    PrintState(settings, "connections refused", kHourMs, force(Fault::Refused, 0), out);
    PrintState(settings, "no answer", kHourMs, force(Fault::NoAnswer, 0), out);
    PrintState(settings, "status 401 to all", kHourMs, force(Fault::Status, 401), out);
    PrintState(settings, "status 429 to all", kHourMs, force(Fault::Status, 429), out);
    PrintState(settings, "status 503 to all", kHourMs, force(Fault::Status, 503), out);
    PrintState(
        settings, "503, refresh due", kHourMs,
        [](Ready& ready) {
            for (CVestaraInterface* account : ready.controller.Accounts())
                CVestaraInterfaceProbe(*account).TokenTimer().SetElapsed(kRefreshMs);
            ready.cloud.Force(Fault::Status, 503);
        },
        out);
    out << "After an outage, " << controllers << " controllers:\n";
    for (const Outage& outage : kOutages) {
        for (const std::uint64_t minutes : {10u, 60u, 180u})
            PrintComingBack(settings, outage, minutes * kMinuteMs, controllers, out);
    }
}

void PrintBearing(const Settings& settings, std::ostream& out)
{
    using Clock = std::chrono::steady_clock;
    const Settings alone = Alone(settings);
    Ready ready(alone);
    std::chrono::duration<double, std::milli> longest{};
    std::uint64_t takenInMs = 0;
    std::uint64_t busySinceMs = 0;
    const auto begin = Clock::now();
    const std::uint64_t end = ready.journal.NowMs() + kHourMs;
    while (ready.journal.NowMs() < end) {
        const auto before = Clock::now();
        ready.Round();
        longest = std::max<std::chrono::duration<double, std::milli>>(longest, Clock::now() - before);
        const bool busy = std::ranges::any_of(ready.controller.Accounts(), [](CVestaraInterface* account) {
            return account->NResponses() > 0;
        });
        if (!busy)
            busySinceMs = ready.journal.NowMs();
        takenInMs = std::max(takenInMs, ready.journal.NowMs() - busySinceMs);
    }
    const std::chrono::duration<double> spent = Clock::now() - begin;
    out << alone.accounts << " accounts of " << alone.locks << " locks: longest round "
        << std::setprecision(1) << std::fixed << longest.count() << " ms, replies taken in within "
        << takenInMs << " ms, " << spent.count() / 36 << " % of a core with the cloud's side\n";
}

} // namespace sim
