// Collects trace lines and reports of all producers in one log. Hiding secrets is the filter's work.

#include "devhost/framework/diagnostics/DiagnosticLog.h"

#include <boost/nowide/utf/utf.hpp>
#include <spdlog/fmt/fmt.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <pthread.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace devhost
{

namespace
{

namespace utf = boost::nowide::utf;

// Characters that end a line, steer a terminal or turn the direction of what follows (Unicode's categories
// Cc, Zl and Zp, and its bidirectional controls).
bool IsControl(utf::code_point character)
{
    return character < 0x20 || (character >= 0x7F && character <= 0x9F) || character == 0x061C ||
           character == 0x200E || character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string Escape(utf::code_point character)
{
    switch (character) {
    case '\r':
        return "\\r";
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    default:
        return character < 0x80 ? fmt::format("\\x{:02x}", character) : fmt::format("\\u{:04x}", character);
    }
}

// The line as valid UTF-8 in which control characters are written as escapes.
std::string OneLine(std::string_view text)
{
    std::string line;
    line.reserve(text.size());
    for (const char* p = text.data(); p != text.data() + text.size();) {
        const char* start = p;
        const utf::code_point character = utf::utf_traits<char>::decode(p, text.data() + text.size());
        if (!utf::is_valid_codepoint(character))
            line += "\xEF\xBF\xBD";
        else if (IsControl(character))
            line += Escape(character);
        else
            line.append(start, p);
    }
    return line;
}

std::string ThreadName()
{
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return std::string(name.data()) + "/" + std::to_string(gettid());
}

constexpr const char* kPattern = "%Y-%m-%d %H:%M:%S.%e %v";

// The log may show what happens in a house, so a new file is for its owner only.
void CreatePrivateFile(const std::string& path)
{
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        throw std::runtime_error("the log file " + path + " cannot be opened: " + std::strerror(errno));
    close(file);
}

std::string ShortenedForMemory(const std::string& text)
{
    if (text.size() <= DiagnosticLog::kMaxKeptBytes)
        return text;
    return OneLine(std::string_view(text).substr(0, DiagnosticLog::kMaxKeptBytes)) + " ... (" +
           std::to_string(text.size()) + " bytes)";
}

} // namespace

DiagnosticLog::DiagnosticLog(LogOptions options) : m_options(std::move(options))
{
    m_logger = std::make_shared<spdlog::logger>("devhost");
    if (m_options.toStderr)
        m_logger->sinks().push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
    m_logger->set_level(spdlog::level::trace);
    m_logger->flush_on(spdlog::level::trace);
    m_logger->set_pattern(kPattern);
    m_logger->set_error_handler([this](const std::string& what) {
        m_failed = true;
        if (!std::exchange(m_failureTold, true))
            std::cerr << "vestara-devhost: the log cannot be written: " << what << std::endl;
    });
    if (!m_options.filePath.empty())
        OpenFile();
}

DiagnosticLog::~DiagnosticLog()
{
    try {
        const std::lock_guard lock(m_mutex);
        WriteDueCounts(true);
    } catch (const std::exception&) {
        // Without memory the counts are lost, like any line.
    }
}

void DiagnosticLog::OpenFile()
{
    // A sink that could not open its next file must not be used again.
    std::erase(m_logger->sinks(), m_file);
    spdlog::file_event_handlers handlers;
    handlers.before_open = CreatePrivateFile;
    auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        m_options.filePath, m_options.fileBytes, m_options.fileCount - 1, false, handlers);
    file->set_pattern(kPattern);
    m_logger->sinks().push_back(file);
    m_file = std::move(file);
}

// Under the lock. Tried again with every line, until it works.
void DiagnosticLog::ReopenFile()
{
    try {
        OpenFile();
        m_failed = false;
    } catch (const std::exception&) {
        m_failed = true;
    }
}

void DiagnosticLog::OnTrace(const std::string& producer, std::string_view line)
{
    Add(producer, 0, false, line);
}

void DiagnosticLog::OnReport(const std::string& source, int line, std::string_view message)
{
    Add(source, line, true, message);
}

void DiagnosticLog::Add(const std::string& producer, int lineNumber, bool report, std::string_view text)
try {
    bool told = false;
    bool shown = false;
    {
        const std::lock_guard lock(m_mutex);
        told = WriteDueCounts(false);
        shown = !report || m_flood.Takes(producer, lineNumber, m_options.now());
    }
    if (shown) {
        const std::string line = OneLine(m_secrets.Hide(text));
        LogEntry entry{0,
                       {},
                       ThreadName(),
                       OneLine(m_secrets.Hide(producer)),
                       lineNumber,
                       report,
                       ShortenedForMemory(line)};
        const std::lock_guard lock(m_mutex);
        if (report)
            m_flood.Shown(producer, lineNumber, entry);
        Write(std::move(entry), line);
    }
    if (told || shown)
        Notify();
} catch (const std::exception&) {
    // The driver that wrote the line bears no exceptions.
}

void DiagnosticLog::TellCounts()
{
    bool told = false;
    {
        const std::lock_guard lock(m_mutex);
        told = WriteDueCounts(false);
    }
    if (told)
        Notify();
}

// Under the lock.
bool DiagnosticLog::WriteDueCounts(bool all)
{
    std::vector<LogEntry> lines = m_flood.TakeDue(m_options.now(), all);
    for (LogEntry& entry : lines) {
        const std::string text = entry.text;
        Write(std::move(entry), text);
    }
    return !lines.empty();
}

// Under the lock, so that the file has the lines in the order of their numbers.
void DiagnosticLog::Write(LogEntry entry, std::string_view line)
{
    if (m_failed && !m_options.filePath.empty())
        ReopenFile();
    entry.time = std::chrono::system_clock::now();
    entry.sequence = ++m_lastSequence;
    const std::string origin =
        entry.report ? "report " + entry.producer + ":" + std::to_string(entry.line) : entry.producer;
    m_logger->log(entry.time, spdlog::source_loc{}, spdlog::level::info,
                  "[" + entry.thread + "] " + origin + ": " + std::string(line));
    if (!m_failed)
        m_failureTold = false;
    m_entries.push_back(std::move(entry));
    if (m_entries.size() > m_options.keptCount)
        m_entries.pop_front();
}

void DiagnosticLog::Notify()
{
    std::function<void()> onNewEntry;
    {
        const std::lock_guard lock(m_mutex);
        onNewEntry = m_onNewEntry;
    }
    if (onNewEntry)
        onNewEntry();
}

std::vector<LogEntry> DiagnosticLog::EntriesSince(std::uint64_t sequence, std::size_t max) const
{
    const std::lock_guard lock(m_mutex);
    const auto first = std::partition_point(m_entries.begin(), m_entries.end(), [=](const LogEntry& entry) {
        return entry.sequence <= sequence;
    });
    const auto foundCount = std::min(max, static_cast<std::size_t>(m_entries.end() - first));
    return {first, first + static_cast<std::ptrdiff_t>(foundCount)};
}

std::uint64_t DiagnosticLog::LastSequence() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastSequence;
}

void DiagnosticLog::OnNewEntry(std::function<void()> function)
{
    const std::lock_guard lock(m_mutex);
    m_onNewEntry = std::move(function);
}

} // namespace devhost
