// Keeps the newest events and the counters.

#include "sim/Journal.h"

#include <array>
#include <cstdio>
#include <utility>

namespace sim
{

std::string RunTime(std::uint64_t ms)
{
    std::array<char, 40> text{};
    const std::uint64_t s = ms / 1000;
    std::snprintf(text.data(), text.size(), "%llud %02llu:%02llu:%02llu.%03llu",
                  static_cast<unsigned long long>(s / 86400), static_cast<unsigned long long>(s / 3600 % 24),
                  static_cast<unsigned long long>(s / 60 % 60), static_cast<unsigned long long>(s % 60),
                  static_cast<unsigned long long>(ms % 1000));
    return text.data();
}

Journal::Journal(std::function<std::uint64_t()> now, std::function<void(const std::string&)> print)
    : m_now(std::move(now)), m_print(std::move(print))
{
}

void Journal::Event(const std::string& text)
{
    if (m_breach)
        return;
    std::string line = RunTime(m_now()) + "  " + text;
    for (const char c : line)
        m_digest = (m_digest ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
    if (m_print)
        m_print(line);
    m_events.push_back(std::move(line));
    if (m_events.size() > kKept)
        m_events.pop_front();
}

void Journal::Break(const std::string& rule, const std::string& what)
{
    if (m_breach)
        return;
    Event("RULE BROKEN " + rule + ": " + what);
    m_breach = Breach{rule, what, m_now()};
}

std::uint64_t Journal::CountOf(const std::string& what) const
{
    const auto found = m_counts.find(what);
    return found == m_counts.end() ? 0 : found->second;
}

} // namespace sim
