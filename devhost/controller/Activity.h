#pragma once
// What happened, for people: kept over restarts, newest first.

#include "devhost/controller/Database.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace devhost
{

/// One thing that happened. A number of 0 stands for none.
struct ActivityEntry {
    std::int64_t id = 0; ///< counts up; given when it is added
    std::chrono::system_clock::time_point time = {};
    std::string kind = {}; ///< "lock", "command", "error", "account", "user" or "host"
    unsigned lock = 0;
    int user = 0; ///< the number, from 1
    unsigned account = 0;
    std::string text = {}; ///< a sentence with the names of that moment; never a secret
};

/// The newest entries, in a table of the database. A disk that is full costs entries and never the host. Host
/// thread.
class Activity
{
public:
    static constexpr int kMaxEntries = 100'000;

    /// Which entries are wanted; 0 and empty: any.
    struct Filter {
        std::int64_t before = 0; ///< entries with a lower id only
        std::string kind = {};
        unsigned lock = 0;
        int user = 0;
    };

    /// For the database, which has it when the activity is made.
    static const char* const kTable;

    explicit Activity(Database& database);

    /// Keeps an entry with the time of now, and tells the listener.
    void Add(ActivityEntry entry);
    /// @return at most so many entries, newest first.
    std::vector<ActivityEntry> Read(const Filter& filter, int limit) const;
    /// Sets what is told of each new entry; an empty function ends that.
    void OnNew(std::function<void(const ActivityEntry&)> function) { m_onNew = std::move(function); }

private:
    Database& m_database;
    Database::Statement m_insert, m_forget;
    std::function<void(const ActivityEntry&)> m_onNew;
    bool m_failureTold = false;
};

nlohmann::json ActivityJson(const ActivityEntry& entry);
/// The entries as a table (RFC 4180) with a head. A cell that a spreadsheet would take for a formula begins
/// with an apostrophe.
std::string ActivityCsv(const std::vector<ActivityEntry>& entries);

} // namespace devhost
