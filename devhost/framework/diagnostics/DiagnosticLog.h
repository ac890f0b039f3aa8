#pragma once
// The one log of the development host.

#include "devhost/framework/diagnostics/LogEntry.h"
#include "devhost/framework/diagnostics/ReportFlood.h"
#include "devhost/framework/diagnostics/SecretFilter.h"
#include "devhost/framework/seams/Framework.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace spdlog
{
class logger;
namespace sinks
{
class sink;
}
} // namespace spdlog

namespace devhost
{

struct LogOptions {
    std::string filePath;         ///< appended to; created with mode 0600; empty: no file
    bool toStderr = false;        ///< also write every line to the standard error stream
    std::size_t keptCount = 2000; ///< newest entries that stay in memory
    /// When a line would make the file longer, it is put aside first: x.log becomes x.1.log, which becomes
    /// x.2.log and so on, and the oldest goes. One longer line still gets a file of its own.
    std::size_t fileBytes = 10'000'000;
    std::size_t fileCount = 5; ///< at least 1; the current one is among them
    std::function<ReportFlood::TimePoint()> now = std::chrono::steady_clock::now; ///< of the flood's windows
};

/// Writes trace lines and reports to a file and to the standard error stream, and keeps the newest ones. Each
/// passes the secret filter first, and stays one line whatever it holds. Reports that come in a flood are
/// counted instead (see ReportFlood), before the file and the kept entries alike; the count is a line with
/// the source and number of what it counts. Nothing is thrown at who writes a line: one that there is no
/// memory for is lost, and so are lines for a file that cannot be written, until it can. Any thread.
class DiagnosticLog : public DiagnosticSink
{
public:
    static constexpr std::size_t kMaxKeptBytes = 8192;

    /// @throws std::exception that says why, when the file cannot be opened.
    explicit DiagnosticLog(LogOptions options);
    /// Tells of the reports that were counted and not told of yet.
    ~DiagnosticLog() override;

    void OnTrace(const std::string& producer, std::string_view line) override;
    void OnReport(const std::string& source, int line, std::string_view message) override;

    /// Tells of counted reports when their time has come, which any line does as well. For a regular call, so
    /// that the count comes also when nothing else is written; cheap when nothing is due.
    void TellCounts();

    /// The kept entries with a sequence number above sequence, oldest first, at most max.
    std::vector<LogEntry> EntriesSince(std::uint64_t sequence, std::size_t max) const;

    /// The number of the newest entry; 0 before the first one.
    std::uint64_t LastSequence() const;

    /// Sets the function that is called after every new entry, on the thread that wrote the line. It must not
    /// write lines itself. An empty function ends the calls; one that is running may still be under way.
    void OnNewEntry(std::function<void()> function);

    SecretFilter& Secrets() { return m_secrets; }

private:
    void Add(const std::string& producer, int lineNumber, bool report, std::string_view text);
    bool WriteDueCounts(bool all);
    void Write(LogEntry entry, std::string_view line);
    void OpenFile();
    void ReopenFile();
    void Notify();

    LogOptions m_options;
    SecretFilter m_secrets;
    mutable std::mutex m_mutex; // for all that follows
    std::shared_ptr<spdlog::logger> m_logger;
    std::shared_ptr<spdlog::sinks::sink> m_file;
    bool m_failed = false; // the last line could not be written
    bool m_failureTold = false;
    ReportFlood m_flood;
    std::deque<LogEntry> m_entries;
    std::uint64_t m_lastSequence = 0;
    std::function<void()> m_onNewEntry;
};

} // namespace devhost
