// Keeps the activity in its table.

#include "devhost/controller/Activity.h"

#include "devhost/controller/StateJson.h"
#include "host/Trace.h"

#include <utility>

namespace devhost
{

namespace
{

constexpr int kReportLost = 1;

std::string Cell(std::string text)
{
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos)
        text.insert(0, 1, '\'');
    std::string cell = "\"";
    for (const char c : text)
        cell.append(c == '"' ? 2 : 1, c);
    return cell + '"';
}

std::string NumberOrNothing(std::int64_t number)
{
    return number == 0 ? std::string() : std::to_string(number);
}

nlohmann::json NumberOrNull(std::int64_t number)
{
    return number == 0 ? nlohmann::json(nullptr) : nlohmann::json(number);
}

} // namespace

const char* const Activity::kTable =
    "CREATE TABLE IF NOT EXISTS activity(id INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, "
    "kind TEXT NOT NULL, lock INTEGER NOT NULL, user INTEGER NOT NULL, account INTEGER NOT NULL, "
    "text TEXT NOT NULL);"
    "SELECT id, time, kind, lock, user, account, text FROM activity LIMIT 0";

Activity::Activity(Database& database)
    : m_database(database), m_insert(database.Prepare("INSERT INTO activity(time, kind, lock, user, account, "
                                                      "text) VALUES(?, ?, ?, ?, ?, ?)")),
      m_forget(database.Prepare("DELETE FROM activity WHERE id <= ?"))
{
}

void Activity::Add(ActivityEntry entry)
{
    entry.time = std::chrono::system_clock::now();
    Database::Bind(m_insert, 1, entry.time);
    Database::Bind(m_insert, 2, entry.kind);
    Database::Bind(m_insert, 3, entry.lock);
    Database::Bind(m_insert, 4, entry.user);
    Database::Bind(m_insert, 5, entry.account);
    Database::Bind(m_insert, 6, entry.text);
    if (!Database::Run(m_insert)) {
        if (!std::exchange(m_failureTold, true))
            AssertWrap("activity", kReportLost, m_database.LastError());
        return;
    }
    entry.id = m_database.LastId();
    Database::Bind(m_forget, 1, entry.id - kMaxEntries);
    Database::Run(m_forget);
    if (m_onNew)
        m_onNew(entry);
}

std::vector<ActivityEntry> Activity::Read(const Filter& filter, int limit) const
{
    std::vector<ActivityEntry> entries;
    const auto select = m_database.Prepare("SELECT id, time, kind, lock, user, account, text FROM activity "
                                           "WHERE (?1 = 0 OR id < ?1) AND (?2 = '' OR kind = ?2) "
                                           "AND (?3 = 0 OR lock = ?3) AND (?4 = 0 OR user = ?4) "
                                           "ORDER BY id DESC LIMIT ?5");
    if (!select)
        return entries;
    Database::Bind(select, 1, filter.before);
    Database::Bind(select, 2, filter.kind);
    Database::Bind(select, 3, filter.lock);
    Database::Bind(select, 4, filter.user);
    Database::Bind(select, 5, limit);
    while (Database::Next(select)) {
        ActivityEntry& entry = entries.emplace_back();
        entry.id = Database::NumberAt(select, 0).value_or(0);
        entry.time = Database::TimeAt(select, 1);
        entry.kind = Database::TextAt(select, 2);
        entry.lock = static_cast<unsigned>(Database::NumberAt(select, 3).value_or(0));
        entry.user = static_cast<int>(Database::NumberAt(select, 4).value_or(0));
        entry.account = static_cast<unsigned>(Database::NumberAt(select, 5).value_or(0));
        entry.text = Database::TextAt(select, 6);
    }
    return entries;
}

nlohmann::json ActivityJson(const ActivityEntry& entry)
{
    return {{"id", entry.id},
            {"time", TimeText(entry.time)},
            {"kind", entry.kind},
            {"lock", NumberOrNull(entry.lock)},
            {"user", NumberOrNull(entry.user)},
            {"account", NumberOrNull(entry.account)},
            {"text", entry.text}};
}

std::string ActivityCsv(const std::vector<ActivityEntry>& entries)
{
    std::string csv = "time,kind,lock,user,account,text\r\n";
    for (const ActivityEntry& entry : entries)
        csv += TimeText(entry.time) + ',' + entry.kind + ',' + NumberOrNothing(entry.lock) + ',' +
               NumberOrNothing(entry.user) + ',' + NumberOrNothing(entry.account) + ',' + Cell(entry.text) +
               "\r\n";
    return csv;
}

} // namespace devhost
