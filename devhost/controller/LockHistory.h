#pragma once
// Batteries, WiFi and heartbeats of the last days, by the cloud's id of a lock, so that they outlive a lock
// that is installed anew.

#include "devhost/controller/Database.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace devhost
{

/// One heartbeat that the cloud told of.
struct Heartbeat {
    std::string device = {};
    Database::Time time = {};                            ///< by the cloud's clock
    std::optional<std::int64_t> battery = {}, wifi = {}; ///< percent
    std::optional<std::int64_t> gapSeconds = {}; ///< since the one before; nothing when it is not known
};

/// The newest heartbeats, in a table of the database. A disk that is full costs heartbeats and never the
/// host. Host thread.
class LockHistory
{
public:
    static constexpr std::chrono::days kMaxAge{30};
    static constexpr int kMaxRows = 200'000; ///< of all locks
    static constexpr std::size_t kMaxPoints = 2'000;
    /// For the database, which has it when the history is made.
    static const char* const kTable;

    explicit LockHistory(Database& database);

    /// Keeps heartbeats; one that is kept already stays as it is. One from the future by more than a clock
    /// may be wrong, or too old, is none.
    void Add(const std::vector<Heartbeat>& heartbeats, Database::Time now);
    /// The heartbeats of a device from a time on, oldest first. More than kMaxPoints are thinned: of
    /// neighbours, the time of the last and the worst of each value.
    std::vector<Heartbeat> Read(const std::string& device, Database::Time since) const;

private:
    Database& m_database;
    Database::Statement m_insert, m_forget;
    bool m_failureTold = false;
};

} // namespace devhost
