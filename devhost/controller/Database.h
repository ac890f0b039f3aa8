#pragma once
// The state folder's database: opening it whatever the disk holds, and statements that end by themselves.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace devhost
{

/// One open SQLite file. A file that is damaged is put aside under its name and ".damaged". Without any file,
/// or with one that cannot be used for another reason, which stays, the tables are in memory until the end.
/// Host thread; outlives its statements.
class Database
{
public:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

    /// @param file made when missing, mode 0600; empty: in memory.
    /// @param tables for each, what makes it when it is missing and asks for its columns, so that a table of
    /// another shape counts as damage.
    Database(const std::filesystem::path& file, std::initializer_list<const char*> tables);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Null when there is no such table.
    Statement Prepare(const char* sql) const;
    /// Runs statements that have no result.
    bool Run(const char* sql);
    /// Runs a statement with what was bound, and makes it ready for the next time.
    static bool Run(const Statement& statement);
    std::int64_t LastId() const;
    const char* LastError() const; ///< good until the next call

    using Time = std::chrono::system_clock::time_point;
    /// The text stays until the statement has run. Columns count from 0, parameters from 1.
    static void Bind(const Statement& statement, int i, const std::string& text);
    static void Bind(const Statement& statement, int i, Time time);
    static void Bind(const Statement& statement, int i, std::optional<std::int64_t> number);
    static std::string TextAt(const Statement& row, int i);
    static Time TimeAt(const Statement& row, int i);
    static std::optional<std::int64_t> NumberAt(const Statement& row, int i);
    /// Steps to the next row. @return false behind the last.
    static bool Next(const Statement& rows);

private:
    struct Close {
        void operator()(sqlite3* database) const;
    };

    bool Open(const std::string& file, std::initializer_list<const char*> tables);
    bool IsContentWrong() const;

    std::unique_ptr<sqlite3, Close> m_database;
};

} // namespace devhost
