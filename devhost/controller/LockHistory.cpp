// Keeps the heartbeats in their table and thins them for a reader.

#include "devhost/controller/LockHistory.h"

#include "host/Trace.h"

#include <algorithm>
#include <utility>

namespace devhost
{

namespace
{

constexpr int kReportLost = 1;
constexpr std::chrono::hours kMaxClockFault{24};

// The lower or the higher of two values of which either may be nothing.
template <class Pick>
std::optional<std::int64_t> Worst(std::optional<std::int64_t> a, std::optional<std::int64_t> b, Pick pick)
{
    return a && b ? pick(*a, *b) : a ? a : b;
}

} // namespace

const char* const LockHistory::kTable = "CREATE TABLE IF NOT EXISTS heartbeat(id INTEGER PRIMARY KEY, device "
                                        "TEXT NOT NULL, time INTEGER NOT NULL, "
                                        "battery INTEGER, wifi INTEGER, gap INTEGER, UNIQUE(device, time));"
                                        "CREATE INDEX IF NOT EXISTS heartbeat_time ON heartbeat(time);"
                                        "SELECT id, device, time, battery, wifi, gap FROM heartbeat LIMIT 0";

LockHistory::LockHistory(Database& database)
    : m_database(database),
      m_insert(database.Prepare(
          "INSERT OR IGNORE INTO heartbeat(device, time, battery, wifi, gap) VALUES(?, ?, ?, ?, ?)")),
      m_forget(database.Prepare(
          "DELETE FROM heartbeat WHERE time < ? OR id <= (SELECT MAX(id) FROM heartbeat) - ?"))
{
}

void LockHistory::Add(const std::vector<Heartbeat>& heartbeats, Database::Time now)
{
    if (heartbeats.empty())
        return;
    // All in one go: a cloud with many locks tells of them together.
    bool kept = m_database.Run("BEGIN");
    for (const Heartbeat& heartbeat : heartbeats) {
        if (heartbeat.time > now + kMaxClockFault || heartbeat.time < now - kMaxAge)
            continue;
        Database::Bind(m_insert, 1, heartbeat.device);
        Database::Bind(m_insert, 2, heartbeat.time);
        Database::Bind(m_insert, 3, heartbeat.battery);
        Database::Bind(m_insert, 4, heartbeat.wifi);
        Database::Bind(m_insert, 5, heartbeat.gapSeconds);
        kept = Database::Run(m_insert) && kept;
    }
    Database::Bind(m_forget, 1, now - kMaxAge);
    Database::Bind(m_forget, 2, kMaxRows);
    Database::Run(m_forget);
    kept = m_database.Run("COMMIT") && kept;
    if (!kept && !std::exchange(m_failureTold, true))
        AssertWrap("history", kReportLost, m_database.LastError());
}

std::vector<Heartbeat> LockHistory::Read(const std::string& device, Database::Time since) const
{
    std::vector<Heartbeat> points;
    const auto count = m_database.Prepare("SELECT COUNT(*) FROM heartbeat WHERE device = ? AND time >= ?");
    const auto select = m_database.Prepare("SELECT time, battery, wifi, gap FROM heartbeat "
                                           "WHERE device = ? AND time >= ? ORDER BY time");
    if (!count || !select)
        return points;
    for (const auto* statement : {&count, &select}) {
        Database::Bind(*statement, 1, device);
        Database::Bind(*statement, 2, since);
    }
    if (!Database::Next(count))
        return points;
    const auto rows = static_cast<std::size_t>(Database::NumberAt(count, 0).value_or(0));
    const std::size_t neighbours = std::max<std::size_t>(1, (rows + kMaxPoints - 1) / kMaxPoints);
    for (std::size_t i = 0; Database::Next(select); ++i) {
        const Heartbeat next{.device = device,
                             .time = Database::TimeAt(select, 0),
                             .battery = Database::NumberAt(select, 1),
                             .wifi = Database::NumberAt(select, 2),
                             .gapSeconds = Database::NumberAt(select, 3)};
        if (i % neighbours == 0) {
            points.push_back(next);
            continue;
        }
        constexpr auto kLower = [](std::int64_t a, std::int64_t b) { return std::min(a, b); };
        constexpr auto kHigher = [](std::int64_t a, std::int64_t b) { return std::max(a, b); };
        Heartbeat& point = points.back();
        point.time = next.time;
        point.battery = Worst(point.battery, next.battery, kLower);
        point.wifi = Worst(point.wifi, next.wifi, kLower);
        point.gapSeconds = Worst(point.gapSeconds, next.gapSeconds, kHigher);
    }
    return points;
}

} // namespace devhost
