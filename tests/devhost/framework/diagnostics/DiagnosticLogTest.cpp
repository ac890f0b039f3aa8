// The log's lines and entries, what a flood of reports becomes, and the files that are put aside.

#include "devhost/framework/diagnostics/DiagnosticLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include <unistd.h>

namespace
{

using devhost::DiagnosticLog;
using testing::HasSubstr;

std::vector<std::string> LinesOf(const std::filesystem::path& Path)
{
    std::ifstream File(Path);
    std::vector<std::string> Lines;
    for (std::string Line; std::getline(File, Line);)
        Lines.push_back(Line);
    return Lines;
}

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

    const std::vector<std::string> Lines = LinesOf(Path);
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

TEST(DiagnosticLog, CountsWhatComesInAFlood)
{
    using namespace std::chrono_literals;
    devhost::ReportFlood::TimePoint Now{};
    const std::string Path = testing::TempDir() + "devhost-flood-" + std::to_string(getpid());
    std::uint64_t uLast = 0;
    std::optional<DiagnosticLog> Log;
    Log.emplace(devhost::LogOptions{Path, false, 10000, 10'000'000, 5, [&] { return Now; }});
    const auto Reports = [&](int n, int iLine) {
        for (int i = 1; i <= n; ++i)
            Log->OnReport("a", iLine, "Text " + std::to_string(i));
    };
    const auto NewTexts = [&] {
        std::vector<std::string> Texts;
        for (const auto& Entry : Log->EntriesSince(uLast, 10000)) {
            uLast = Entry.uSequence;
            Texts.push_back(Entry.Producer + ":" + std::to_string(Entry.iLine) + " " + Entry.Text);
        }
        return Texts;
    };
    Reports(399000, 7);
    Reports(10, 8);
    EXPECT_EQ(NewTexts().size(), 20u);
    Now += 59s;
    Log->TellCounts();
    EXPECT_THAT(NewTexts(), testing::IsEmpty());
    Now += 1s;
    Log->TellCounts();
    EXPECT_THAT(NewTexts(), testing::ElementsAre("a:7 398990 more in 60 s, like: Text 10"));

    // It goes on: one line in ten minutes, and others are not held down.
    for (int i = 0; i < 10; ++i) {
        Reports(11, 7);
        Now += 60s;
        Log->OnTrace("t", "x");
    }
    const auto Texts = NewTexts();
    EXPECT_EQ(Texts.size(), 11u);
    EXPECT_EQ(Texts[9], "a:7 110 more in 600 s, like: Text 10");
    Reports(2, 8);
    EXPECT_EQ(NewTexts().size(), 2u);
    // It ends with a calm minute.
    Reports(10, 7);
    Now += 60s;
    Reports(1, 7);
    EXPECT_THAT(NewTexts(), testing::ElementsAre("a:7 10 more in 60 s, like: Text 10", "a:7 Text 1"));

    // What was counted is told at the latest at the end.
    Reports(11, 9);
    Log.reset();
    EXPECT_THAT(LinesOf(Path).back(), testing::EndsWith("report a:9: 1 more in 0 s, like: Text 10"));
    std::filesystem::remove(Path);
}

TEST(DiagnosticLog, PutsFullFilesAsideAndOutlivesAFileThatCannotBeOpened)
{
    const std::filesystem::path Folder = testing::TempDir() + "devhost-files-" + std::to_string(getpid());
    std::filesystem::create_directory(Folder);
    DiagnosticLog Log({Folder / "host.log", false, 10, 1000, 3});
    const auto Write = [&](const char* pText) { Log.OnTrace("p", std::string(400, 'x') + pText); };
    for (int i = 0; i < 20; ++i)
        Write("");
    std::vector<std::string> Names;
    for (const auto& File : std::filesystem::directory_iterator(Folder)) {
        Names.push_back(File.path().filename());
        EXPECT_EQ(File.status().permissions(), std::filesystem::perms(0600));
        EXPECT_LE(File.file_size(), 1000u);
    }
    EXPECT_THAT(Names, testing::UnorderedElementsAre("host.log", "host.1.log", "host.2.log"));

    std::filesystem::remove_all(Folder);
    for (int i = 0; i < 4; ++i)
        Write("");
    std::filesystem::create_directory(Folder);
    Write("again");
    EXPECT_THAT(LinesOf(Folder / "host.log").back(), testing::EndsWith("xagain"));
    std::filesystem::remove_all(Folder);
}

} // namespace
