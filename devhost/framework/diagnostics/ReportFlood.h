#pragma once
// Holds a flood of reports down.

#include "devhost/framework/diagnostics/LogEntry.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace devhost
{

/// Decides which reports are shown and counts the others, for each source and number by itself. The first ten
/// of a minute are shown. When more come, the flood has begun: the rest are counted and told of when the
/// minute is over. While it lasts nothing of this source and number is shown, and what came is told of every
/// ten minutes. It is over when a minute brings ten at most. Not synchronised.
class ReportFlood
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr std::uint64_t kShown = 10;
    static constexpr std::chrono::minutes kWindow{1};
    static constexpr std::chrono::minutes kTellEvery{10};
    /// Sources and numbers that are followed at a time. Reports of further ones are all shown.
    static constexpr std::size_t kMaxFollowed = 1000;

    /// Whether this report is shown; otherwise it is counted.
    bool Takes(const std::string& source, int line, TimePoint now);

    /// Keeps what was shown of a report, as the example that the count is told with.
    void Shown(const std::string& source, int line, const LogEntry& entry);

    /// The lines that tell of counted reports, as far as it is time to; with all, of all. Each is the
    /// example with another text. Cheap when nothing is due.
    std::vector<LogEntry> TakeDue(TimePoint now, bool all = false);

private:
    struct Followed {
        TimePoint windowStart;
        TimePoint countingSince;
        std::uint64_t inWindow = 0;
        std::uint64_t countedLines = 0; // and not told of yet
        bool flood = false;
        LogEntry example{};
    };

    std::map<std::pair<std::string, int>, Followed> m_followed;
    TimePoint m_nextEnd = TimePoint::max(); // of a window
};

} // namespace devhost
