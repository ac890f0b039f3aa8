// Keeps the activity in SQLite.

#include "devhost/controller/Activity.h"

#include "devhost/controller/StateJson.h"
#include "host/Trace.h"

#include <sqlite3.h>

#include <sys/stat.h>
#include <system_error>

namespace devhost
{

namespace
{

constexpr int kReportLost = 1;

std::int64_t ToMilliseconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

std::string Column(sqlite3_stmt* row, int i)
{
    const unsigned char* text = sqlite3_column_text(row, i);
    return text ? std::string(reinterpret_cast<const char*>(text),
                              static_cast<std::size_t>(sqlite3_column_bytes(row, i)))
                : std::string();
}

// The text stays until the statement has run.
void Bind(sqlite3_stmt* statement, int i, const std::string& text)
{
    sqlite3_bind_text(statement, i, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

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

void Activity::Close::operator()(sqlite3* database) const
{
    sqlite3_close(database);
}

void Activity::Finalize::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

Activity::Activity(const std::filesystem::path& file)
{
    if (!file.empty() && Open(file.string()))
        return;
    if (!file.empty()) {
        std::error_code ignored;
        std::filesystem::path aside = file;
        aside += ".damaged";
        std::filesystem::rename(file, aside, ignored);
        if (Open(file.string()))
            return;
    }
    Open(":memory:");
}

Activity::~Activity() = default;

bool Activity::Open(const std::string& file)
{
    m_insert.reset();
    m_forget.reset();
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(file.c_str(), &opened);
    m_database.reset(opened);
    if (result != SQLITE_OK)
        return false;
    chmod(file.c_str(), 0600);
    // An end in the middle leaves a sound file, and at most the newest entries are missing; the host's thread
    // does not wait for the disk.
    constexpr const char* kSetUp =
        "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
        "CREATE TABLE IF NOT EXISTS activity(id INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, "
        "kind TEXT NOT NULL, lock INTEGER NOT NULL, user INTEGER NOT NULL, account INTEGER NOT NULL, "
        "text TEXT NOT NULL)";
    if (sqlite3_exec(opened, kSetUp, nullptr, nullptr, nullptr) != SQLITE_OK)
        return false;
    m_insert =
        Prepare("INSERT INTO activity(time, kind, lock, user, account, text) VALUES(?, ?, ?, ?, ?, ?)");
    m_forget = Prepare("DELETE FROM activity WHERE id <= ?");
    return m_insert && m_forget;
}

Activity::Statement Activity::Prepare(const char* sql) const
{
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(m_database.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

void Activity::Add(ActivityEntry entry)
{
    entry.time = std::chrono::system_clock::now();
    sqlite3_stmt* insert = m_insert.get();
    sqlite3_bind_int64(insert, 1, ToMilliseconds(entry.time));
    Bind(insert, 2, entry.kind);
    sqlite3_bind_int64(insert, 3, entry.lock);
    sqlite3_bind_int64(insert, 4, entry.user);
    sqlite3_bind_int64(insert, 5, entry.account);
    Bind(insert, 6, entry.text);
    const bool kept = sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
    if (!kept) {
        if (!std::exchange(m_failureTold, true))
            AssertWrap("activity", kReportLost, sqlite3_errmsg(m_database.get()));
        return;
    }
    entry.id = sqlite3_last_insert_rowid(m_database.get());
    sqlite3_bind_int64(m_forget.get(), 1, entry.id - kMaxEntries);
    sqlite3_step(m_forget.get());
    sqlite3_reset(m_forget.get());
    if (m_onNew)
        m_onNew(entry);
}

std::vector<ActivityEntry> Activity::Read(const Filter& filter, int limit) const
{
    std::vector<ActivityEntry> entries;
    const Statement select = Prepare("SELECT id, time, kind, lock, user, account, text FROM activity "
                                     "WHERE (?1 = 0 OR id < ?1) AND (?2 = '' OR kind = ?2) "
                                     "AND (?3 = 0 OR lock = ?3) AND (?4 = 0 OR user = ?4) "
                                     "ORDER BY id DESC LIMIT ?5");
    if (!select)
        return entries;
    sqlite3_bind_int64(select.get(), 1, filter.before);
    Bind(select.get(), 2, filter.kind);
    sqlite3_bind_int64(select.get(), 3, filter.lock);
    sqlite3_bind_int64(select.get(), 4, filter.user);
    sqlite3_bind_int(select.get(), 5, limit);
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        ActivityEntry& entry = entries.emplace_back();
        entry.id = sqlite3_column_int64(select.get(), 0);
        entry.time = std::chrono::system_clock::time_point(
            std::chrono::milliseconds(sqlite3_column_int64(select.get(), 1)));
        entry.kind = Column(select.get(), 2);
        entry.lock = static_cast<unsigned>(sqlite3_column_int64(select.get(), 3));
        entry.user = sqlite3_column_int(select.get(), 4);
        entry.account = static_cast<unsigned>(sqlite3_column_int64(select.get(), 5));
        entry.text = Column(select.get(), 6);
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
