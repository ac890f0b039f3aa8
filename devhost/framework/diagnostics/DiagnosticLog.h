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
    std::string FilePath;     ///< appended to; created with mode 0600; empty: no file
    bool bToStderr = false;   ///< also write every line to the standard error stream
    std::size_t nKept = 2000; ///< newest entries that stay in memory
    /// When a line would make the file longer, it is put aside first: x.log becomes x.1.log, which becomes
    /// x.2.log and so on, and the oldest goes. One longer line still gets a file of its own.
    std::size_t cbFile = 10'000'000;
    std::size_t nFiles = 5; ///< at least 1; the current one is among them
    std::function<ReportFlood::TimePoint()> Now = std::chrono::steady_clock::now; ///< of the flood's windows
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
    explicit DiagnosticLog(LogOptions Options);
    /// Tells of the reports that were counted and not told of yet.
    ~DiagnosticLog() override;

    void OnTrace(const std::string& Producer, std::string_view Line) override;
    void OnReport(const std::string& Source, int Line, std::string_view Message) override;

    /// Tells of counted reports when their time has come, which any line does as well. For a regular call, so
    /// that the count comes also when nothing else is written; cheap when nothing is due.
    void TellCounts();

    /// The kept entries with a sequence number above uSequence, oldest first, at most nMax.
    std::vector<LogEntry> EntriesSince(std::uint64_t uSequence, std::size_t nMax) const;

    /// The number of the newest entry; 0 before the first one.
    std::uint64_t LastSequence() const;

    /// Sets the function that is called after every new entry, on the thread that wrote the line. It must not
    /// write lines itself. An empty function ends the calls; one that is running may still be under way.
    void OnNewEntry(std::function<void()> Function);

    SecretFilter& Secrets() { return m_Secrets; }

private:
    void Add(const std::string& Producer, int iLine, bool bReport, std::string_view Text);
    bool WriteDueCounts(bool bAll);
    void Write(LogEntry Entry, std::string_view Line);
    void OpenFile();
    void ReopenFile();
    void Notify();

    LogOptions m_Options;
    SecretFilter m_Secrets;
    mutable std::mutex m_Mutex; // for all that follows
    std::shared_ptr<spdlog::logger> m_pLogger;
    std::shared_ptr<spdlog::sinks::sink> m_pFile;
    bool m_bFailed = false; // the last line could not be written
    bool m_bFailureTold = false;
    ReportFlood m_Flood;
    std::deque<LogEntry> m_Entries;
    std::uint64_t m_uLastSequence = 0;
    std::function<void()> m_OnNewEntry;
};

} // namespace devhost
