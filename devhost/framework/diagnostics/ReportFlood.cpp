// Counts repeated reports; writing the lines that tell of them is the log's work.

#include "devhost/framework/diagnostics/ReportFlood.h"

#include <algorithm>

namespace devhost
{

bool ReportFlood::Takes(const std::string& Source, int iLine, TimePoint Now)
{
    std::pair Key(Source, iLine);
    auto It = m_Followed.find(Key);
    if (It == m_Followed.end()) {
        if (m_Followed.size() == kMaxFollowed)
            return true;
        It = m_Followed.emplace(std::move(Key), Followed{Now, Now}).first;
        m_NextEnd = std::min(m_NextEnd, Now + kWindow);
    }
    Followed& One = It->second;
    ++One.nInWindow;
    if (!One.bFlood && One.nInWindow <= kShown)
        return true;
    ++One.nCounted;
    return false;
}

void ReportFlood::Shown(const std::string& Source, int iLine, const LogEntry& Entry)
{
    if (const auto It = m_Followed.find({Source, iLine}); It != m_Followed.end())
        It->second.Example = Entry;
}

std::vector<LogEntry> ReportFlood::TakeDue(TimePoint Now, bool bAll)
{
    std::vector<LogEntry> Lines;
    if (!bAll && Now < m_NextEnd)
        return Lines;
    m_NextEnd = TimePoint::max();
    for (auto It = m_Followed.begin(); It != m_Followed.end();) {
        Followed& One = It->second;
        if (!bAll && Now < One.WindowStart + kWindow) {
            m_NextEnd = std::min(m_NextEnd, One.WindowStart + kWindow);
            ++It;
            continue;
        }
        const bool bOver = bAll || One.nInWindow <= kShown;
        if (One.nCounted > 0 && (bOver || !One.bFlood || Now >= One.CountingSince + kTellEvery)) {
            const auto Time = std::chrono::ceil<std::chrono::seconds>(Now - One.CountingSince);
            Lines.push_back(One.Example);
            Lines.back().Text = std::to_string(One.nCounted) + " more in " + std::to_string(Time.count()) +
                                " s, like: " + One.Example.Text;
            One.nCounted = 0;
            One.CountingSince = Now;
        }
        if (bOver) {
            It = m_Followed.erase(It);
            continue;
        }
        One.bFlood = true;
        One.nInWindow = 0;
        One.WindowStart = Now;
        m_NextEnd = std::min(m_NextEnd, Now + kWindow);
        ++It;
    }
    return Lines;
}

} // namespace devhost
