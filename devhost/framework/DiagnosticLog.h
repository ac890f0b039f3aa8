#pragma once
// The one log of the development host.

#include "devhost/framework/Framework.h"
#include "devhost/framework/SecretFilter.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace spdlog
{
class logger;
}

namespace devhost
{

struct LogOptions {
    std::string FilePath;     ///< appended to; created with mode 0600; empty: no file
    bool bToStderr = false;   ///< also write every line to the standard error stream
    std::size_t nKept = 2000; ///< newest entries that stay in memory
};

/// One line of the log. The texts are valid UTF-8 without control characters and without secrets.
struct LogEntry {
    std::uint64_t uSequence; ///< 1 for the first line, then one more each
    std::chrono::system_clock::time_point Time;
    std::string Thread;   ///< name and number of the thread that wrote it
    std::string Producer; ///< trace name, or the source of a report
    int iLine;            ///< line number of a report, 0 for a trace
    bool bReport;
    std::string Text; ///< cut when it is longer than kMaxKeptBytes; the file has all of it
};

/// Writes every trace line and report to a file and to the standard error stream, and keeps the newest ones.
/// Each passes the secret filter first, and stays one line whatever it holds. Any thread.
class DiagnosticLog : public DiagnosticSink
{
public:
    static constexpr std::size_t kMaxKeptBytes = 8192;

    /// @throws std::runtime_error when the file cannot be opened.
    explicit DiagnosticLog(LogOptions Options);
    ~DiagnosticLog() override;

    void OnTrace(const std::string& Producer, std::string_view Line) override;
    void OnReport(const std::string& Source, int Line, std::string_view Message) override;

    /// The kept entries with a sequence number above uSequence, oldest first, at most nMax.
    std::vector<LogEntry> EntriesSince(std::uint64_t uSequence, std::size_t nMax) const;

    /// Sets the function that is called after every new entry, on the thread that wrote the line. It must not
    /// write lines itself. An empty function ends the calls; one that is running may still be under way.
    void OnNewEntry(std::function<void()> Function);

    SecretFilter& Secrets() { return m_Secrets; }

private:
    void Add(const std::string& Producer, int iLine, bool bReport, std::string_view Text);

    LogOptions m_Options;
    SecretFilter m_Secrets;
    std::shared_ptr<spdlog::logger> m_pLogger;
    mutable std::mutex m_Mutex;
    std::deque<LogEntry> m_Entries;
    std::uint64_t m_uLastSequence = 0;
    std::function<void()> m_OnNewEntry;
};

} // namespace devhost
