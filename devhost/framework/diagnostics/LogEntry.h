#pragma once
// What the log keeps of a line.

#include <chrono>
#include <cstdint>
#include <string>

namespace devhost
{

/// One line of the log. The texts are valid UTF-8 without control characters and without secrets.
struct LogEntry {
    std::uint64_t sequence; ///< 1 for the first line, then one more each
    std::chrono::system_clock::time_point time;
    std::string thread;   ///< name and number of the thread that wrote it
    std::string producer; ///< trace name, or the source of a report
    int line;             ///< line number of a report, 0 for a trace
    bool report;
    std::string text; ///< cut when it is longer than DiagnosticLog::kMaxKeptBytes; the file has all of it
};

} // namespace devhost
