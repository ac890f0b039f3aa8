#include "devhost/framework/DiagnosticLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <stdlib.h>

namespace
{

using devhost::DiagnosticLog;
using testing::HasSubstr;

class DiagnosticLogTest : public testing::Test
{
protected:
    DiagnosticLogTest()
    {
        std::string Pattern = testing::TempDir() + "devhost-log-XXXXXX";
        m_Folder = mkdtemp(Pattern.data());
    }
    ~DiagnosticLogTest() override { std::filesystem::remove_all(m_Folder); }

    std::filesystem::path m_Folder;
};

TEST_F(DiagnosticLogTest, WritesOneFilteredLineForEachEntry)
{
    const std::filesystem::path Path = m_Folder / "log";
    DiagnosticLog Log({Path.string(), false, 10});
    EXPECT_EQ(std::filesystem::status(Path).permissions(), std::filesystem::perms(0600));
    Log.Secrets().SetKnownSecrets({"4711"});
    Log.OnTrace("House\n4711", "a\r\nb\t\x1b[2J {} %s 4711 pin=1234 \xFF");
    Log.OnReport("vestarai", 888, "Page returned NULL");
    Log.OnTrace("p",
                std::string(DiagnosticLog::kMaxKeptBytes - 1, 'x') + "\xC3\xA4" + std::string(100000, 'y'));

    std::ifstream File(Path);
    std::vector<std::string> Lines(3);
    for (std::string& Line : Lines)
        ASSERT_TRUE(std::getline(File, Line));
    EXPECT_EQ(File.peek(), EOF);
    const auto Entries = Log.EntriesSince(0, 10);
    ASSERT_EQ(Entries.size(), 3u);
    EXPECT_EQ(Entries[0].Producer, "House\\n***");
    EXPECT_EQ(Entries[0].Text, "a\\r\\nb\\t\\x1b[2J {} %s *** pin=*** \xEF\xBF\xBD");
    EXPECT_THAT(Lines[0], HasSubstr("[" + Entries[0].Thread + "] House\\n***: " + Entries[0].Text));
    EXPECT_FALSE(Entries[0].bReport);
    EXPECT_TRUE(Entries[1].bReport);
    EXPECT_EQ(Entries[1].iLine, 888);
    EXPECT_THAT(Lines[1], HasSubstr("] report vestarai:888: Page returned NULL"));
    EXPECT_LT(Entries[2].Text.size(), DiagnosticLog::kMaxKeptBytes + 100) << "cut in memory only";
    EXPECT_TRUE(Entries[2].Text.ends_with("x\xEF\xBF\xBD ... (108193 bytes)"));
    EXPECT_GT(Lines[2].size(), 108193u);
}

TEST_F(DiagnosticLogTest, KeepsTheNewestEntriesUnderRunningNumbers)
{
    DiagnosticLog Log({"", false, 3});
    for (int i = 1; i <= 5; ++i)
        Log.OnTrace("p", std::to_string(i));
    const struct {
        std::uint64_t uSince;
        std::size_t nMax;
        std::string Texts;
    } kRows[] = {{0, 10, "345"}, {3, 10, "45"}, {0, 2, "34"}, {5, 10, ""}, {99, 10, ""}};
    for (const auto& Row : kRows) {
        std::string Texts;
        for (const auto& Entry : Log.EntriesSince(Row.uSince, Row.nMax)) {
            EXPECT_EQ(Entry.Text, std::to_string(Entry.uSequence));
            Texts += Entry.Text;
        }
        EXPECT_EQ(Texts, Row.Texts) << Row.uSince;
    }
}

TEST_F(DiagnosticLogTest, TellsOfNewEntriesFromAnyThread)
{
    DiagnosticLog Log({"", false, 1000});
    std::atomic<int> nCalls{0};
    Log.OnNewEntry([&] {
        ++nCalls;
        EXPECT_FALSE(Log.EntriesSince(0, 1).empty()); // the log may be read inside the call
    });
    const auto Write = [&] {
        for (int i = 0; i < 100; ++i)
            Log.OnTrace("p", "x");
    };
    std::thread First(Write), Second(Write);
    First.join();
    Second.join();
    Log.OnNewEntry(nullptr);
    Log.OnTrace("p", "x");
    EXPECT_EQ(nCalls, 200);
    EXPECT_EQ(Log.EntriesSince(200, 10).size(), 1u);
}

TEST_F(DiagnosticLogTest, RefusesAFileThatCannotBeOpened)
{
    const std::string Path = (m_Folder / "missing" / "log").string();
    try {
        const DiagnosticLog Log({Path, false, 10});
        FAIL();
    } catch (const std::runtime_error& Error) {
        EXPECT_THAT(Error.what(), testing::AllOf(HasSubstr(Path), HasSubstr("No such file")));
    }
}

} // namespace
