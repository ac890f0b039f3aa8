// Counts repeated reports; writing the lines that tell of them is the log's work.

#include "devhost/framework/diagnostics/ReportFlood.h"

#include <algorithm>

namespace devhost
{

bool ReportFlood::Takes(const std::string& source, int line, TimePoint now)
{
    std::pair key(source, line);
    auto it = m_followed.find(key);
    if (it == m_followed.end()) {
        if (m_followed.size() == kMaxFollowed)
            return true;
        it = m_followed.emplace(std::move(key), Followed{now, now}).first;
        m_nextEnd = std::min(m_nextEnd, now + kWindow);
    }
    Followed& one = it->second;
    ++one.inWindow;
    if (!one.flood && one.inWindow <= kShown)
        return true;
    ++one.countedLines;
    return false;
}

void ReportFlood::Shown(const std::string& source, int line, const LogEntry& entry)
{
    if (const auto it = m_followed.find({source, line}); it != m_followed.end())
        it->second.example = entry;
}

std::vector<LogEntry> ReportFlood::TakeDue(TimePoint now, bool all)
{
    std::vector<LogEntry> lines;
    if (!all && now < m_nextEnd)
        return lines;
    m_nextEnd = TimePoint::max();
    for (auto it = m_followed.begin(); it != m_followed.end();) {
        Followed& one = it->second;
        if (!all && now < one.windowStart + kWindow) {
            m_nextEnd = std::min(m_nextEnd, one.windowStart + kWindow);
            ++it;
            continue;
        }
        const bool over = all || one.inWindow <= kShown;
        if (one.countedLines > 0 && (over || !one.flood || now >= one.countingSince + kTellEvery)) {
            const auto time = std::chrono::ceil<std::chrono::seconds>(now - one.countingSince);
            lines.push_back(one.example);
            lines.back().text = std::to_string(one.countedLines) + " more in " +
                                std::to_string(time.count()) + " s, like: " + one.example.text;
            one.countedLines = 0;
            one.countingSince = now;
        }
        if (over) {
            it = m_followed.erase(it);
            continue;
        }
        one.flood = true;
        one.inWindow = 0;
        one.windowStart = now;
        m_nextEnd = std::min(m_nextEnd, now + kWindow);
        ++it;
    }
    return lines;
}

} // namespace devhost
