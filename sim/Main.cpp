// The command line of vestara-sim.

#include "sim/Load.h"
#include "sim/Simulation.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace
{

constexpr int kBroken = 1;
constexpr double kDayMs = 86'400'000;

struct CommandLine {
    sim::Settings settings;
    std::string faults = "normal";
    std::string operations;
    int runs = 1;
    bool trace = false;
    bool keepLong = false;
    bool load = false;
    bool bearing = false;
};

void Describe(CLI::App& app, CommandLine& line)
{
    app.set_version_flag("--version", "vestara-sim " VESTARA_VERSION);
    app.add_option("--seed", line.settings.seed, "Where all chance comes from")->capture_default_str();
    app.add_option("--days", line.settings.days, "Simulated days")
        ->check(CLI::Range(1, 3650))
        ->capture_default_str();
    app.add_option("--hours", line.settings.hours, "Ends the run after so many simulated hours");
    app.add_option("--accounts", line.settings.accounts, "Accounts of the controller, each with a house")
        ->check(CLI::Range(1, 20))
        ->capture_default_str();
    app.add_option("--locks", line.settings.locks, "Locks of a house")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--users", line.settings.users, "User slots in use")
        ->check(CLI::Range(0, 30))
        ->capture_default_str();
    app.add_option("--faults", line.faults, "What goes wrong: none, normal or hostile")
        ->check(CLI::IsMember({"none", "normal", "hostile"}))
        ->capture_default_str();
    app.add_option("--operations", line.operations,
                   "Carries out the operations of these numbers only (1,4,9 or none)");
    app.add_option("--runs", line.runs, "Runs with seeds from --seed on")
        ->check(CLI::Range(1, 1'000'000))
        ->capture_default_str();
    app.add_flag("--trace", line.trace, "Prints every event");
    app.add_flag(
        "--load", line.load,
        "Measures instead what the cloud gets of a controller in each state, and of --runs controllers "
        "after outages");
    app.add_flag("--bearing", line.bearing, "Measures instead what the controller's host has to do");
    app.add_flag("--keep-long", line.keepLong, "Does not shorten a run that failed");
}

std::vector<int> Numbers(const std::string& list)
{
    std::vector<int> numbers;
    if (list == "none")
        return numbers;
    std::istringstream stream(list);
    for (std::string number; std::getline(stream, number, ',');)
        numbers.push_back(std::stoi(number));
    std::ranges::sort(numbers);
    return numbers;
}

void PrintFigures(const sim::Result& result, double seconds)
{
    const double days = static_cast<double>(result.lengthMs) / kDayMs;
    std::cout << "  " << days << " days in " << seconds << " s: " << days / seconds
              << " simulated days a second, " << static_cast<std::uint64_t>(days * 86'400 / seconds)
              << " times real time; digest " << std::hex << result.digest << std::dec << "\n";
    for (const auto& [what, times] : result.counts)
        std::cout << "  " << what << ": " << times << "\n";
}

void PrintBreach(const sim::Settings& settings, const sim::Result& result)
{
    std::cout << "RULE BROKEN: " << result.breach->rule << " at " << sim::RunTime(result.breach->atMs)
              << " of seed " << settings.seed << "\n  " << result.breach->what << "\nthe last "
              << result.events.size() << " events:\n";
    for (const std::string& event : result.events)
        std::cout << "  " << event << "\n";
    std::cout << "to repeat it: " << settings.Command() << " --trace\n";
}

int RunOne(const CommandLine& line)
{
    const auto start = std::chrono::steady_clock::now();
    const bool terminal = isatty(STDERR_FILENO) != 0;
    sim::Listener listener;
    if (line.trace)
        listener.event = [](const std::string& event) { std::cout << event << "\n"; };
    if (terminal)
        listener.progress = [](std::uint64_t ms) { std::cerr << "\r\x1b[K" << sim::RunTime(ms); };
    const sim::Result result = sim::Run(line.settings, listener);
    if (terminal)
        std::cerr << "\r\x1b[K";
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::cout << line.settings.Command() << "\n";
    PrintFigures(result, time.count());
    if (!result.breach)
        return 0;
    if (line.keepLong) {
        PrintBreach(line.settings, result);
        return kBroken;
    }
    std::cout << "rule " << result.breach->rule << " is broken; looking for a shorter run\n" << std::flush;
    const sim::Settings shorter = sim::Shorten(
        line.settings, result, [](const sim::Settings& settings) { return sim::Run(settings).breach; });
    PrintBreach(shorter, sim::Run(shorter));
    return kBroken;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Months of operation of driver, host and cloud on a virtual clock, from a seed");
    CommandLine line;
    Describe(app, line);
    CLI11_PARSE(app, argc, argv);
    try {
        line.settings.faults = *sim::ParseFaults(line.faults);
        line.settings.someOperations = !line.operations.empty();
        line.settings.operations = Numbers(line.operations);
        if (line.load)
            sim::PrintLoad(line.settings, line.runs, std::cout);
        if (line.bearing)
            sim::PrintBearing(line.settings, std::cout);
        if (line.load || line.bearing)
            return 0;
        for (int run = 0; run < line.runs; ++run, ++line.settings.seed) {
            if (const int status = RunOne(line))
                return status;
        }
    } catch (const std::exception& error) {
        std::cerr << "vestara-sim: " << error.what() << "\n";
        return 2;
    }
    return 0;
}
