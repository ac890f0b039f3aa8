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
using testing::Not;

class DiagnosticLogTest : public testing::Test
{
protected:
    DiagnosticLogTest()
    {
        std::string Pattern = testing::TempDir() + "devhost-log-XXXXXX";
        m_Folder = mkdtemp(Pattern.data());
    }
    ~DiagnosticLogTest() override { std::filesystem::remove_all(m_Folder); }

    std::vector<std::string> FileLines() const
    {
        std::ifstream File(m_Folder / "log");
        std::vector<std::string> Lines;
        for (std::string Line; std::getline(File, Line);)
            Lines.push_back(Line);
        return Lines;
    }

    std::filesystem::path m_Folder;
};

TEST_F(DiagnosticLogTest, WritesOneFilteredLineForEachEntry)
{
    DiagnosticLog Log({(m_Folder / "log").string(), false, 10});
    EXPECT_EQ(std::filesystem::status(m_Folder / "log").permissions(), std::filesystem::perms(0600));
    Log.Secrets().SetKnownSecrets({"4711"});
    Log.OnTrace("House\n4711", "a\r\nb\t\x1b[2J {} %s 4711 pin=1234 \xFF");
    Log.OnReport("vestarai", 888, "Page returned NULL");

    const auto Lines = FileLines();
    ASSERT_EQ(Lines.size(), 2u);
    EXPECT_THAT(Lines[0], HasSubstr("] House\\n***: a\\r\\nb\\t\\x1b[2J {} %s *** pin=*** \xEF\xBF\xBD"));
    EXPECT_THAT(Lines[1], HasSubstr("] report vestarai:888: Page returned NULL"));

    const auto Entries = Log.EntriesSince(0, 10);
    ASSERT_EQ(Entries.size(), 2u);
    EXPECT_EQ(Entries[0].Producer, "House\\n***");
    EXPECT_EQ(Entries[0].Text, "a\\r\\nb\\t\\x1b[2J {} %s *** pin=*** \xEF\xBF\xBD");
    EXPECT_FALSE(Entries[0].bReport);
    EXPECT_TRUE(Entries[1].bReport);
    EXPECT_EQ(Entries[1].iLine, 888);
    EXPECT_THAT(Lines[0], HasSubstr("[" + Entries[0].Thread + "]"));
}

TEST_F(DiagnosticLogTest, KeepsTheNewestEntriesUnderRunningNumbers)
{
    DiagnosticLog Log({"", false, 3});
    for (int i = 1; i <= 5; ++i)
        Log.OnTrace("p", std::to_string(i));
    const struct {
        std::uint64_t uSince;
        std::size_t nMax;
        std::vector<std::string> Texts;
    } kRows[] = {
        {0, 10, {"3", "4", "5"}}, {3, 10, {"4", "5"}}, {0, 2, {"3", "4"}}, {5, 10, {}}, {99, 10, {}}};
    for (const auto& Row : kRows) {
        std::vector<std::string> Texts;
        for (const auto& Entry : Log.EntriesSince(Row.uSince, Row.nMax)) {
            EXPECT_EQ(Entry.Text, std::to_string(Entry.uSequence));
            Texts.push_back(Entry.Text);
        }
        EXPECT_EQ(Texts, Row.Texts) << Row.uSince;
    }
}

TEST_F(DiagnosticLogTest, CutsLongLinesInMemoryOnly)
{
    DiagnosticLog Log({(m_Folder / "log").string(), false, 3});
    Log.OnTrace("p",
                std::string(DiagnosticLog::kMaxKeptBytes - 1, 'x') + "\xC3\xA4" + std::string(100000, 'y'));
    const std::string Text = Log.EntriesSince(0, 1).at(0).Text;
    EXPECT_LT(Text.size(), DiagnosticLog::kMaxKeptBytes + 100);
    EXPECT_TRUE(Text.ends_with("x\xEF\xBF\xBD ... (108193 bytes)"));
    EXPECT_GT(FileLines().at(0).size(), 108193u);
}

TEST_F(DiagnosticLogTest, TellsOfNewEntriesFromAnyThread)
{
    DiagnosticLog Log({"", false, 1000});
    std::atomic<int> nCalls{0};
    Log.OnNewEntry([&] {
        ++nCalls;
        EXPECT_FALSE(Log.EntriesSince(0, 1).empty()); // the log may be read inside the call
    });
    std::vector<std::thread> Threads;
    for (int i = 0; i < 2; ++i)
        Threads.emplace_back([&] {
            for (int j = 0; j < 100; ++j)
                Log.OnTrace("p", "x");
        });
    for (auto& Thread : Threads)
        Thread.join();
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
        EXPECT_THAT(Error.what(), HasSubstr(Path));
        EXPECT_THAT(Error.what(), HasSubstr("No such file"));
    }
}

} // namespace
