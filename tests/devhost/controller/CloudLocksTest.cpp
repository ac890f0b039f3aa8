// What the traffic shows of locks, and how long it is kept.

#include "devhost/controller/CloudLocks.h"
#include "devhost/controller/LockHistory.h"
#include "devhost/framework/network/Exchange.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace
{

using devhost::CloudLock;
using devhost::CloudLocks;
using namespace std::chrono_literals;

std::string TextOf(const CloudLock& lock)
{
    std::ostringstream text;
    text << (!lock.online ? "?" : *lock.online ? "on" : "off");
    if (lock.interval)
        text << " every " << lock.interval->count();
    if (lock.gap)
        text << " gap " << lock.gap->count();
    if (lock.battery)
        text << " " << *lock.battery << "%";
    if (lock.lastCommand)
        text << (lock.lastCommand->unlocks ? " unlock" : " lock")
             << static_cast<int>(lock.lastCommand->outcome) << lock.lastCommand->text;
    return text.str();
}

TEST(CloudLocksTest, EachExchangeShowsWhatTheCloudSaysOfALock)
{
    const struct {
        const char* method;
        const char* path;
        int status;
        const char* reply;
        const char* shown; // of lock a
    } rows[] = {
        {"GET", "/devices", 200, R"({"data":[7,{"type":"hub","id":"a"},{"type":"lock"}]})", "?"},
        {"GET", "/devices", 503, R"({"data":[{"type":"lock","id":"a","attributes":{"alive":true}}]})", "?"},
        {"GET", "/devices", 200,
         R"({"data":[{"type":"lock","id":"a","attributes":{"alive":true,"power_level":101,
            "heartbeat_interval":60,"connected_at":"2026-01-10T12:00:00Z"}}]})",
         "on every 60"},
        {"GET", "/devices/a", 200, R"({"id":"a","power_level":"84","connected_at":"2026-01-10T12:00:40.5Z"})",
         "on every 60 gap 40 84%"},
        {"GET", "/devices/a", 200, R"({"id":"a","alive":false,"connected_at":"2026-99-10T12:00:40Z"})",
         "off every 60 gap 40 84%"},
        {"GET", "/devices/a", 200, R"({"id":"a","messages":"gone","alive":true})", "off every 60 gap 40 84%"},
        {"GET", "/devices/b", 200, R"({"id":"b","alive":true})", "off every 60 gap 40 84%"},
        {"PUT", "/devices/a/unlock", 200, R"({"id":"a"})", "off every 60 gap 40 84% unlock1"},
        {"GET", "/devices/a", 200, R"({"id":"a","state":"unlocked"})", "off every 60 gap 40 84% unlock1"},
        {"GET", "/devices/a", 200, R"({"id":"a","state":"locked","connected_at":"2026-01-10T12:01:00Z"})",
         "off every 60 gap 20 84% unlock1"},
        {"GET", "/devices/a", 200, R"({"id":"a","state":"unlocked"})", "off every 60 gap 20 84% unlock2"},
        {"GET", "/devices/a", 200, R"({"id":"a","state":"locked"})", "off every 60 gap 20 84% unlock2"},
        {"PUT", "/devices/a/lock", 422, R"({"message":"Battery"})",
         "off every 60 gap 20 84% lock3Battery (HTTP 422)"},
        {"PUT", "/devices/a/lock", 0, "", "off every 60 gap 20 84% lock4cut"},
        {"PUT", "/devices/a/status", 422, "", "off every 60 gap 20 84% lock4cut"},
    };
    CloudLocks locks;
    for (auto now = CloudLocks::Time(1000s); const auto& row : rows) {
        locks.Take({.account = 1,
                    .method = row.method,
                    .path = row.path,
                    .body = {},
                    .status = row.status,
                    .failure = row.status ? "" : "cut",
                    .reply = row.reply},
                   now += 1s);
        EXPECT_EQ(TextOf(locks.Find("a")), row.shown) << row.method << " " << row.path << " " << row.reply;
    }
    // A command that the cloud has answered already is not asked any more.
    locks.Asked("a", true, CloudLocks::Time(1000s));
    EXPECT_EQ(locks.Find("a").lastCommand->outcome, CloudLock::Outcome::Lost);
    locks.GaveUp("a"); // of one that is lost already nothing new is known
    EXPECT_EQ(locks.Find("a").lastCommand->outcome, CloudLock::Outcome::Lost);
    locks.Asked("a", true, CloudLocks::Time(2000s));
    EXPECT_EQ(locks.Find("a").lastCommand->outcome, CloudLock::Outcome::Sent);
    locks.GaveUp("a");
    EXPECT_EQ(locks.Find("a").lastCommand->outcome, CloudLock::Outcome::Unanswered);

    std::uint64_t seen = 0;
    EXPECT_EQ(locks.ChangedSince(seen).size(), 2u);
    EXPECT_EQ(locks.ChangedSince(seen).size(), 0u);
}

TEST(LockHistoryTest, KeepsTheNewestAndDrawsManyTogetherWithTheWorst)
{
    using devhost::LockHistory;
    devhost::Database database({}, {LockHistory::kTable});
    LockHistory history(database);
    const auto now = devhost::Database::Time(100'000h);
    std::vector<devhost::Heartbeat> beats;
    beats.reserve(2 * LockHistory::kMaxPoints + 4);
    for (int i = 0; i < 2 * static_cast<int>(LockHistory::kMaxPoints); ++i)
        beats.push_back({.device = "a",
                         .time = now - i * 1min,
                         .battery = i == 7 ? 3 : 84,
                         .gapSeconds = i == 8 ? 999 : 60});
    beats.push_back({.device = "b", .time = now, .wifi = 50});
    beats.push_back({.device = "b", .time = now, .wifi = 51});                 // is kept already
    beats.push_back({.device = "b", .time = now - LockHistory::kMaxAge - 1h}); // too old
    beats.push_back({.device = "b", .time = now + std::chrono::days(2)});      // a wrong clock
    history.Add(beats, now);
    const auto a = history.Read("a", now - LockHistory::kMaxAge);
    ASSERT_EQ(a.size(), LockHistory::kMaxPoints);
    EXPECT_EQ(a.back().time, now);
    EXPECT_EQ(std::ranges::count(a, 3, &devhost::Heartbeat::battery), 1);
    EXPECT_EQ(std::ranges::count(a, 999, &devhost::Heartbeat::gapSeconds), 1);
    const auto b = history.Read("b", now - LockHistory::kMaxAge);
    ASSERT_EQ(b.size(), 1u);
    EXPECT_EQ(b[0].wifi, 50);
    EXPECT_EQ(history.Read("a", now - 10min).size(), 11u);
    history.Add({{.device = "c", .time = now + LockHistory::kMaxAge}}, now + LockHistory::kMaxAge);
    EXPECT_EQ(history.Read("a", devhost::Database::Time()).size(), 1u);

    std::vector<devhost::Heartbeat> all;
    all.reserve(LockHistory::kMaxRows);
    for (int i = 0; i < LockHistory::kMaxRows; ++i)
        all.push_back({.device = "d", .time = now + std::chrono::days(25) + i * 1s});
    history.Add(all, now + LockHistory::kMaxAge);
    EXPECT_TRUE(history.Read("c", devhost::Database::Time()).empty());
    EXPECT_EQ(history.Read("d", now + std::chrono::days(25)).front().time, now + std::chrono::days(25) + 99s);
}

} // namespace
