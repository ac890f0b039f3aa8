// Whole runs: that they repeat, and that one that fails is shortened.

#include "sim/Simulation.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace sim
{

TEST(RunTest, OneSeedIsOneRun)
{
    Settings settings;
    settings.accounts = 2;
    settings.hours = 9;
    settings.faults = Faults::Hostile;
    const Result first = sim::Run(settings);
    EXPECT_EQ(first.breach.has_value(), false) << first.breach->what;
    EXPECT_GT(first.counts.at("requests"), 1000u);
    EXPECT_GT(first.operations.size(), 20u);

    settings.seed = 2;
    const Result other = sim::Run(settings);
    settings.seed = 1;
    const Result again = sim::Run(settings);
    EXPECT_EQ(first.digest, again.digest);
    EXPECT_EQ(first.events, again.events);
    EXPECT_EQ(first.counts, again.counts);
    EXPECT_NE(first.digest, other.digest);
}

TEST(RunTest, AnOperationThatIsLeftOutMovesNoOther)
{
    Settings settings;
    settings.hours = 5;
    settings.faults = Faults::None;
    settings.someOperations = true;
    settings.operations = {0, 1, 7, 30};
    const Result some = sim::Run(settings);
    EXPECT_EQ(some.operations, settings.operations);
    settings.operations = {7};
    EXPECT_EQ(sim::Run(settings).operations, settings.operations);
}

TEST(RunTest, AFailingRunIsShortenedToWhatItTakes)
{
    Settings settings;
    settings.days = 30;
    settings.accounts = 5;
    settings.locks = 9;
    Result failed;
    failed.breach = Breach{"planted", "", 40'000'000};
    for (int i = 0; i < 300; ++i)
        failed.operations.push_back(i);
    int runs = 0;
    // Takes operations 17 and 203, two accounts and twelve hours; anything smaller breaks another rule.
    const Settings shorter = Shorten(settings, failed, [&](const Settings& tried) -> std::optional<Breach> {
        ++runs;
        const auto has = [&](int number) { return std::ranges::binary_search(tried.operations, number); };
        const bool all = has(17) && has(203) && tried.accounts >= 2 && tried.LengthMs() > 40'000'000;
        return Breach{all ? "planted" : "other", "", 40'000'000};
    });
    EXPECT_EQ(shorter.operations, (std::vector<int>{17, 203}));
    EXPECT_EQ(shorter.accounts, 2);
    EXPECT_EQ(shorter.locks, 1);
    EXPECT_EQ(shorter.Command(),
              "vestara-sim --seed 1 --days 30 --accounts 2 --locks 1 --users 1 --faults normal --hours 12 "
              "--operations 17,203");
    EXPECT_LT(runs, 120);
}

} // namespace sim
