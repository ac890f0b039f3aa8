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

std::vector<std::string> LinesOf(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

TEST(DiagnosticLogTest, WritesOneFilteredLineForEachEntry)
{
    EXPECT_THROW(DiagnosticLog({"/nowhere/log", false, 10}), std::runtime_error);
    const std::string path = testing::TempDir() + "devhost-log-" + std::to_string(getpid());
    DiagnosticLog log({path, false, 10});
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    log.Secrets().SetKnownSecrets({"4711"});
    log.OnTrace("House\n4711",
                "a\r\nb\t\x1b[2J {} %s 4711 \xFF \u0085\u061c\u200f\u2028\u202e\u2066\u00a0 pin=1234");
    log.OnReport("vestarai", 888, "Page returned NULL");
    log.OnTrace("p",
                std::string(DiagnosticLog::kMaxKeptBytes - 1, 'x') + "\xC3\xA4" + std::string(100000, 'y'));

    const std::vector<std::string> lines = LinesOf(path);
    std::filesystem::remove(path);
    const auto entries = log.EntriesSince(0, 10);
    ASSERT_EQ(lines.size(), 3u);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].text, "a\\r\\nb\\t\\x1b[2J {} %s *** \uFFFD "
                               "\\u0085\\u061c\\u200f\\u2028\\u202e\\u2066\u00a0 pin=***");
    EXPECT_THAT(lines[0], HasSubstr("[" + entries[0].thread + "] House\\n***: " + entries[0].text));
    EXPECT_FALSE(entries[0].report);
    EXPECT_TRUE(entries[1].report);
    EXPECT_THAT(lines[1], HasSubstr("] report vestarai:888: Page returned NULL"));
    EXPECT_TRUE(entries[2].text.ends_with("x\xEF\xBF\xBD ... (108193 bytes)")) << "cut in memory only";
    EXPECT_GT(lines[2].size(), 108193u);
}

TEST(DiagnosticLogTest, KeepsTheNewestEntriesAndTellsOfThemFromAnyThread)
{
    DiagnosticLog log({"", false, 50});
    std::atomic<int> callCount{0};
    log.OnNewEntry([&] {
        ++callCount;
        EXPECT_FALSE(log.EntriesSince(0, 1).empty()); // the log may be read inside the call
    });
    const auto write = [&] {
        for (int i = 0; i < 100; ++i)
            log.OnTrace("p", "x");
    };
    std::thread second(write);
    write();
    second.join();
    EXPECT_EQ(callCount, 200);
    const auto kept = [&](std::uint64_t since, std::size_t max) {
        const auto entries = log.EntriesSince(since, max);
        return std::pair(entries.size(), entries.empty() ? 0 : entries.front().sequence);
    };
    EXPECT_EQ(kept(0, 100), std::pair(50ul, 151ul));
    EXPECT_EQ(kept(190, 5), std::pair(5ul, 191ul));
    EXPECT_EQ(kept(999, 100), std::pair(0ul, 0ul));
}

TEST(DiagnosticLogTest, CountsWhatComesInAFlood)
{
    using namespace std::chrono_literals;
    devhost::ReportFlood::TimePoint now{};
    const std::string path = testing::TempDir() + "devhost-flood-" + std::to_string(getpid());
    std::uint64_t last = 0;
    std::optional<DiagnosticLog> log;
    log.emplace(devhost::LogOptions{path, false, 10000, 10'000'000, 5, [&] { return now; }});
    const auto reports = [&](int n, int line) {
        for (int i = 1; i <= n; ++i)
            log->OnReport("a", line, "Text " + std::to_string(i));
    };
    const auto newTexts = [&] {
        std::vector<std::string> texts;
        for (const auto& entry : log->EntriesSince(last, 10000)) {
            last = entry.sequence;
            texts.push_back(entry.producer + ":" + std::to_string(entry.line) + " " + entry.text);
        }
        return texts;
    };
    reports(399000, 7);
    reports(10, 8);
    EXPECT_EQ(newTexts().size(), 20u);
    now += 59s;
    log->TellCounts();
    EXPECT_THAT(newTexts(), testing::IsEmpty());
    now += 1s;
    log->TellCounts();
    EXPECT_THAT(newTexts(), testing::ElementsAre("a:7 398990 more in 60 s, like: Text 10"));

    // It goes on: one line in ten minutes, and others are not held down.
    for (int i = 0; i < 10; ++i) {
        reports(11, 7);
        now += 60s;
        log->OnTrace("t", "x");
    }
    const auto texts = newTexts();
    EXPECT_EQ(texts.size(), 11u);
    EXPECT_EQ(texts[9], "a:7 110 more in 600 s, like: Text 10");
    reports(2, 8);
    EXPECT_EQ(newTexts().size(), 2u);
    // It ends with a calm minute.
    reports(10, 7);
    now += 60s;
    reports(1, 7);
    EXPECT_THAT(newTexts(), testing::ElementsAre("a:7 10 more in 60 s, like: Text 10", "a:7 Text 1"));

    // What was counted is told at the latest at the end.
    reports(11, 9);
    log.reset();
    EXPECT_THAT(LinesOf(path).back(), testing::EndsWith("report a:9: 1 more in 0 s, like: Text 10"));
    std::filesystem::remove(path);
}

TEST(DiagnosticLogTest, PutsFullFilesAsideAndOutlivesAFileThatCannotBeOpened)
{
    const std::filesystem::path folder = testing::TempDir() + "devhost-files-" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    DiagnosticLog log({folder / "host.log", false, 10, 1000, 3});
    const auto write = [&](const char* text) { log.OnTrace("p", std::string(400, 'x') + text); };
    for (int i = 0; i < 20; ++i)
        write("");
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        names.push_back(file.path().filename());
        EXPECT_EQ(file.status().permissions(), std::filesystem::perms(0600));
        EXPECT_LE(file.file_size(), 1000u);
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("host.log", "host.1.log", "host.2.log"));

    std::filesystem::remove_all(folder);
    for (int i = 0; i < 4; ++i)
        write("");
    std::filesystem::create_directory(folder);
    write("again");
    EXPECT_THAT(LinesOf(folder / "host.log").back(), testing::EndsWith("xagain"));
    std::filesystem::remove_all(folder);
}

} // namespace
