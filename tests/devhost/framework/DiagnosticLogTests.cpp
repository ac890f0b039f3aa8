#include "devhost/framework/DiagnosticLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <unistd.h>

namespace
{

using devhost::DiagnosticLog;
using testing::HasSubstr;

TEST(DiagnosticLog, WritesOneFilteredLineForEachEntry)
{
    EXPECT_THROW(DiagnosticLog({"/nowhere/log", false, 10}), std::runtime_error);
    const std::string Path = testing::TempDir() + "devhost-log-" + std::to_string(getpid());
    DiagnosticLog Log({Path, false, 10});
    EXPECT_EQ(std::filesystem::status(Path).permissions(), std::filesystem::perms(0600));
    Log.Secrets().SetKnownSecrets({"4711"});
    Log.OnTrace("House\n4711",
                "a\r\nb\t\x1b[2J {} %s 4711 \xFF \u0085\u061c\u200f\u2028\u202e\u2066\u00a0 pin=1234");
    Log.OnReport("vestarai", 888, "Page returned NULL");
    Log.OnTrace("p",
                std::string(DiagnosticLog::kMaxKeptBytes - 1, 'x') + "\xC3\xA4" + std::string(100000, 'y'));

    std::ifstream File(Path);
    std::vector<std::string> Lines;
    for (std::string Line; std::getline(File, Line);)
        Lines.push_back(Line);
    std::filesystem::remove(Path);
    const auto Entries = Log.EntriesSince(0, 10);
    ASSERT_EQ(Lines.size(), 3u);
    ASSERT_EQ(Entries.size(), 3u);
    EXPECT_EQ(Entries[0].Text, "a\\r\\nb\\t\\x1b[2J {} %s *** \uFFFD "
                               "\\u0085\\u061c\\u200f\\u2028\\u202e\\u2066\u00a0 pin=***");
    EXPECT_THAT(Lines[0], HasSubstr("[" + Entries[0].Thread + "] House\\n***: " + Entries[0].Text));
    EXPECT_FALSE(Entries[0].bReport);
    EXPECT_TRUE(Entries[1].bReport);
    EXPECT_THAT(Lines[1], HasSubstr("] report vestarai:888: Page returned NULL"));
    EXPECT_TRUE(Entries[2].Text.ends_with("x\xEF\xBF\xBD ... (108193 bytes)")) << "cut in memory only";
    EXPECT_GT(Lines[2].size(), 108193u);
}

TEST(DiagnosticLog, KeepsTheNewestEntriesAndTellsOfThemFromAnyThread)
{
    DiagnosticLog Log({"", false, 50});
    std::atomic<int> nCalls{0};
    Log.OnNewEntry([&] {
        ++nCalls;
        EXPECT_FALSE(Log.EntriesSince(0, 1).empty()); // the log may be read inside the call
    });
    const auto Write = [&] {
        for (int i = 0; i < 100; ++i)
            Log.OnTrace("p", "x");
    };
    std::thread Second(Write);
    Write();
    Second.join();
    EXPECT_EQ(nCalls, 200);
    const auto Kept = [&](std::uint64_t uSince, std::size_t nMax) {
        const auto Entries = Log.EntriesSince(uSince, nMax);
        return std::pair(Entries.size(), Entries.empty() ? 0 : Entries.front().uSequence);
    };
    EXPECT_EQ(Kept(0, 100), std::pair(50ul, 151ul));
    EXPECT_EQ(Kept(190, 5), std::pair(5ul, 191ul));
    EXPECT_EQ(Kept(999, 100), std::pair(0ul, 0ul));
}

} // namespace
