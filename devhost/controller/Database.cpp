// Opens SQLite files and wraps the few calls that are used. What the tables hold is left to their classes.

#include "devhost/controller/Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <sys/stat.h>
#include <system_error>

namespace devhost
{

void Database::Close::operator()(sqlite3* database) const
{
    sqlite3_close(database);
}

void Database::Finalize::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

Database::Database(const std::filesystem::path& file, std::initializer_list<const char*> tables)
{
    if (!file.empty() && Open(file.string(), tables))
        return;
    if (!file.empty() && IsContentWrong()) {
        std::error_code ignored;
        std::filesystem::path aside = file;
        aside += ".damaged";
        std::filesystem::rename(file, aside, ignored);
        if (Open(file.string(), tables))
            return;
    }
    Open(":memory:", tables);
}

Database::~Database() = default;

bool Database::Open(const std::string& file, std::initializer_list<const char*> tables)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(file.c_str(), &opened);
    m_database.reset(opened);
    if (result != SQLITE_OK)
        return false;
    chmod(file.c_str(), 0600);
    // An end in the middle leaves a sound file, and at most the newest entries are missing; the host's thread
    // does not wait for the disk.
    if (!Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL"))
        return false;
    return std::ranges::all_of(tables, [this](const char* table) { return Run(table); });
}

// Whether what failed last is for what the file holds, and not for a full disk or the like.
bool Database::IsContentWrong() const
{
    const int error = sqlite3_errcode(m_database.get());
    return error == SQLITE_CORRUPT || error == SQLITE_NOTADB || error == SQLITE_ERROR; // or has other tables
}

Database::Statement Database::Prepare(const char* sql) const
{
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(m_database.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

bool Database::Run(const char* sql)
{
    return sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool Database::Run(const Statement& statement)
{
    const bool done = sqlite3_step(statement.get()) == SQLITE_DONE;
    sqlite3_reset(statement.get());
    return done;
}

std::int64_t Database::LastId() const
{
    return sqlite3_last_insert_rowid(m_database.get());
}

const char* Database::LastError() const
{
    return sqlite3_errmsg(m_database.get());
}

void Database::Bind(const Statement& statement, int i, const std::string& text)
{
    sqlite3_bind_text(statement.get(), i, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void Database::Bind(const Statement& statement, int i, Time time)
{
    Bind(statement, i,
         std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count());
}

void Database::Bind(const Statement& statement, int i, std::optional<std::int64_t> number)
{
    if (number)
        sqlite3_bind_int64(statement.get(), i, *number);
    else
        sqlite3_bind_null(statement.get(), i);
}

std::string Database::TextAt(const Statement& row, int i)
{
    const unsigned char* text = sqlite3_column_text(row.get(), i);
    return text ? std::string(reinterpret_cast<const char*>(text),
                              static_cast<std::size_t>(sqlite3_column_bytes(row.get(), i)))
                : std::string();
}

Database::Time Database::TimeAt(const Statement& row, int i)
{
    return Time(std::chrono::milliseconds(sqlite3_column_int64(row.get(), i)));
}

std::optional<std::int64_t> Database::NumberAt(const Statement& row, int i)
{
    if (sqlite3_column_type(row.get(), i) == SQLITE_NULL)
        return std::nullopt;
    return sqlite3_column_int64(row.get(), i);
}

bool Database::Next(const Statement& rows)
{
    return sqlite3_step(rows.get()) == SQLITE_ROW;
}

} // namespace devhost
