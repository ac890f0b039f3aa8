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
bool IsControl(utf::code_point Character)
{
    return Character < 0x20 || (Character >= 0x7F && Character <= 0x9F) || Character == 0x061C ||
           Character == 0x200E || Character == 0x200F || (Character >= 0x2028 && Character <= 0x202E) ||
           (Character >= 0x2066 && Character <= 0x2069);
}

std::string Escape(utf::code_point Character)
{
    switch (Character) {
    case '\r':
        return "\\r";
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    default:
        return Character < 0x80 ? fmt::format("\\x{:02x}", Character) : fmt::format("\\u{:04x}", Character);
    }
}

// The line as valid UTF-8 in which control characters are written as escapes.
std::string OneLine(std::string_view Text)
{
    std::string Line;
    Line.reserve(Text.size());
    for (const char* p = Text.data(); p != Text.data() + Text.size();) {
        const char* pStart = p;
        const utf::code_point Character = utf::utf_traits<char>::decode(p, Text.data() + Text.size());
        if (!utf::is_valid_codepoint(Character))
            Line += "\xEF\xBF\xBD";
        else if (IsControl(Character))
            Line += Escape(Character);
        else
            Line.append(pStart, p);
    }
    return Line;
}

std::string ThreadName()
{
    std::array<char, 16> Name{};
    pthread_getname_np(pthread_self(), Name.data(), Name.size());
    return std::string(Name.data()) + "/" + std::to_string(gettid());
}

constexpr const char* kPattern = "%Y-%m-%d %H:%M:%S.%e %v";

// The log may show what happens in a house, so a new file is for its owner only.
void CreatePrivateFile(const std::string& Path)
{
    const int iFile = open(Path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (iFile < 0)
        throw std::runtime_error("the log file " + Path + " cannot be opened: " + std::strerror(errno));
    close(iFile);
}

std::string ShortenedForMemory(const std::string& Text)
{
    if (Text.size() <= DiagnosticLog::kMaxKeptBytes)
        return Text;
    return OneLine(std::string_view(Text).substr(0, DiagnosticLog::kMaxKeptBytes)) + " ... (" +
           std::to_string(Text.size()) + " bytes)";
}

} // namespace

DiagnosticLog::DiagnosticLog(LogOptions Options) : m_Options(std::move(Options))
{
    m_pLogger = std::make_shared<spdlog::logger>("devhost");
    if (m_Options.bToStderr)
        m_pLogger->sinks().push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
    m_pLogger->set_level(spdlog::level::trace);
    m_pLogger->flush_on(spdlog::level::trace);
    m_pLogger->set_pattern(kPattern);
    m_pLogger->set_error_handler([this](const std::string& What) {
        m_bFailed = true;
        if (!std::exchange(m_bFailureTold, true))
            std::cerr << "vestara-devhost: the log cannot be written: " << What << std::endl;
    });
    if (!m_Options.FilePath.empty())
        OpenFile();
}

DiagnosticLog::~DiagnosticLog()
{
    try {
        const std::lock_guard Lock(m_Mutex);
        WriteDueCounts(true);
    } catch (const std::exception&) {
        // Without memory the counts are lost, like any line.
    }
}

void DiagnosticLog::OpenFile()
{
    // A sink that could not open its next file must not be used again.
    std::erase(m_pLogger->sinks(), m_pFile);
    spdlog::file_event_handlers Handlers;
    Handlers.before_open = CreatePrivateFile;
    auto pFile = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        m_Options.FilePath, m_Options.cbFile, m_Options.nFiles - 1, false, Handlers);
    pFile->set_pattern(kPattern);
    m_pLogger->sinks().push_back(pFile);
    m_pFile = std::move(pFile);
}

// Under the lock. Tried again with every line, until it works.
void DiagnosticLog::ReopenFile()
{
    try {
        OpenFile();
        m_bFailed = false;
    } catch (const std::exception&) {
        m_bFailed = true;
    }
}

void DiagnosticLog::OnTrace(const std::string& Producer, std::string_view Line)
{
    Add(Producer, 0, false, Line);
}

void DiagnosticLog::OnReport(const std::string& Source, int Line, std::string_view Message)
{
    Add(Source, Line, true, Message);
}

void DiagnosticLog::Add(const std::string& Producer, int iLine, bool bReport, std::string_view Text)
try {
    bool bTold = false;
    bool bShown = false;
    {
        const std::lock_guard Lock(m_Mutex);
        bTold = WriteDueCounts(false);
        bShown = !bReport || m_Flood.Takes(Producer, iLine, m_Options.Now());
    }
    if (bShown) {
        const std::string Line = OneLine(m_Secrets.Hide(Text));
        LogEntry Entry{
            0, {}, ThreadName(), OneLine(m_Secrets.Hide(Producer)), iLine, bReport, ShortenedForMemory(Line)};
        const std::lock_guard Lock(m_Mutex);
        if (bReport)
            m_Flood.Shown(Producer, iLine, Entry);
        Write(std::move(Entry), Line);
    }
    if (bTold || bShown)
        Notify();
} catch (const std::exception&) {
    // The driver that wrote the line bears no exceptions.
}

void DiagnosticLog::TellCounts()
{
    bool bTold = false;
    {
        const std::lock_guard Lock(m_Mutex);
        bTold = WriteDueCounts(false);
    }
    if (bTold)
        Notify();
}

// Under the lock.
bool DiagnosticLog::WriteDueCounts(bool bAll)
{
    std::vector<LogEntry> Lines = m_Flood.TakeDue(m_Options.Now(), bAll);
    for (LogEntry& Entry : Lines) {
        const std::string Text = Entry.Text;
        Write(std::move(Entry), Text);
    }
    return !Lines.empty();
}

// Under the lock, so that the file has the lines in the order of their numbers.
void DiagnosticLog::Write(LogEntry Entry, std::string_view Line)
{
    if (m_bFailed && !m_Options.FilePath.empty())
        ReopenFile();
    Entry.Time = std::chrono::system_clock::now();
    Entry.uSequence = ++m_uLastSequence;
    const std::string Origin =
        Entry.bReport ? "report " + Entry.Producer + ":" + std::to_string(Entry.iLine) : Entry.Producer;
    m_pLogger->log(Entry.Time, spdlog::source_loc{}, spdlog::level::info,
                   "[" + Entry.Thread + "] " + Origin + ": " + std::string(Line));
    if (!m_bFailed)
        m_bFailureTold = false;
    m_Entries.push_back(std::move(Entry));
    if (m_Entries.size() > m_Options.nKept)
        m_Entries.pop_front();
}

void DiagnosticLog::Notify()
{
    std::function<void()> OnNewEntry;
    {
        const std::lock_guard Lock(m_Mutex);
        OnNewEntry = m_OnNewEntry;
    }
    if (OnNewEntry)
        OnNewEntry();
}

std::vector<LogEntry> DiagnosticLog::EntriesSince(std::uint64_t uSequence, std::size_t nMax) const
{
    const std::lock_guard Lock(m_Mutex);
    const auto First = std::partition_point(m_Entries.begin(), m_Entries.end(), [=](const LogEntry& Entry) {
        return Entry.uSequence <= uSequence;
    });
    const auto nFound = std::min(nMax, static_cast<std::size_t>(m_Entries.end() - First));
    return {First, First + static_cast<std::ptrdiff_t>(nFound)};
}

std::uint64_t DiagnosticLog::LastSequence() const
{
    const std::lock_guard Lock(m_Mutex);
    return m_uLastSequence;
}

void DiagnosticLog::OnNewEntry(std::function<void()> Function)
{
    const std::lock_guard Lock(m_Mutex);
    m_OnNewEntry = std::move(Function);
}

} // namespace devhost
