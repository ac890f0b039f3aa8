// What is kept of what happened.

#include "devhost/controller/Activity.h"

#include <gtest/gtest.h>

#include <fstream>

namespace
{

using devhost::Activity;
using devhost::ActivityEntry;

std::string Texts(const std::vector<ActivityEntry>& entries)
{
    std::string all;
    for (const ActivityEntry& entry : entries)
        all += entry.text + " ";
    return all;
}

} // namespace

TEST(ActivityTest, KeepsTheNewestOverRestartsAndFindsThem)
{
    const std::filesystem::path file = testing::TempDir() + "vestara-activity.db";
    std::filesystem::remove(file);
    {
        devhost::Database database(file, {Activity::kTable});
        Activity activity(database);
        std::string told;
        activity.OnNew([&](const ActivityEntry& entry) { told += std::to_string(entry.id); });
        activity.Add({.kind = "lock", .lock = 5, .user = 2, .text = "a"});
        activity.Add({.kind = "error", .lock = 5, .text = "b'\"--"});
        activity.Add({.kind = "host", .text = "c"});
        EXPECT_EQ(told, "123");
    }
    {
        devhost::Database database(file, {Activity::kTable});
        Activity activity(database);
        EXPECT_EQ(Texts(activity.Read({}, 10)), "c b'\"-- a ");
        EXPECT_EQ(Texts(activity.Read({}, 1)), "c ");
        EXPECT_EQ(Texts(activity.Read({.before = 3}, 1)), "b'\"-- ");
        EXPECT_EQ(Texts(activity.Read({.lock = 5}, 10)), "b'\"-- a ");
        EXPECT_EQ(Texts(activity.Read({.kind = "lock", .lock = 5, .user = 2}, 10)), "a ");
        EXPECT_EQ(Texts(activity.Read({.kind = "' OR 1=1"}, 10)), "");
        const auto mode = std::filesystem::status(file).permissions();
        EXPECT_EQ(mode, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        for (int i = 0; i < Activity::kMaxEntries; ++i)
            activity.Add({.kind = "host", .text = "d"});
        EXPECT_EQ(activity.Read({}, Activity::kMaxEntries + 10).size(),
                  static_cast<std::size_t>(Activity::kMaxEntries));
    }
    std::filesystem::remove(file);
}

TEST(ActivityTest, PutsADamagedFileAsideAndGoesOnWithoutAFolder)
{
    const std::filesystem::path file = testing::TempDir() + "vestara-damaged.db";
    std::ofstream(file) << std::string(4096, 'x');
    for (const auto& path : {file, std::filesystem::path("/nowhere/activity.db")}) {
        devhost::Database database(path, {Activity::kTable});
        Activity activity(database);
        activity.Add({.kind = "host", .text = "a"});
        EXPECT_EQ(Texts(activity.Read({}, 10)), "a ") << path;
    }
    EXPECT_TRUE(std::filesystem::exists(file.string() + ".damaged"));
    std::filesystem::remove(file);
    std::filesystem::remove(file.string() + ".damaged");
}

TEST(ActivityTest, ATableHoldsNoFormulaAndEveryText)
{
    const std::vector<ActivityEntry> entries = {{.kind = "lock", .lock = 5, .text = "=1+1\", \"x\"\nb"}};
    const std::string csv = devhost::ActivityCsv(entries);
    EXPECT_EQ(csv, "time,kind,lock,user,account,text\r\n"
                   "1970-01-01T00:00:00.000Z,lock,5,,,\"'=1+1\"\", \"\"x\"\"\nb\"\r\n");
}
