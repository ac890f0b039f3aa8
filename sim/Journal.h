#pragma once
// What happened in a run: the newest events, the counters, and the first rule that was broken.

#include "sim/Settings.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace sim
{

/// A rule that did not hold.
struct Breach {
    std::string rule; ///< its name in the table of docs/simulation.md
    std::string what;
    std::uint64_t atMs = 0; ///< of the run
};

/// One thread. Everything in it comes from the seed, so two runs of one seed have the same journal.
class Journal
{
public:
    static constexpr std::size_t kKept = 200;

    /// @param now time of the run in milliseconds. @param print gets each event as it comes; may be empty.
    explicit Journal(std::function<std::uint64_t()> now, std::function<void(const std::string&)> print = {});

    void Event(const std::string& text);
    void Count(const std::string& what, std::uint64_t times = 1) { m_counts[what] += times; }
    /// Notes the first breach; later ones may follow from it and are dropped.
    void Break(const std::string& rule, const std::string& what);

    std::uint64_t NowMs() const { return m_now(); }
    const std::optional<Breach>& Broken() const { return m_breach; }
    /// Events up to the breach, oldest first.
    const std::deque<std::string>& Events() const { return m_events; }
    const std::map<std::string, std::uint64_t>& Counts() const { return m_counts; }
    std::uint64_t CountOf(const std::string& what) const;
    /// A number that differs when any event differs.
    std::uint64_t Digest() const { return m_digest; }

private:
    std::function<std::uint64_t()> m_now;
    std::function<void(const std::string&)> m_print;
    std::deque<std::string> m_events;
    std::map<std::string, std::uint64_t> m_counts;
    std::optional<Breach> m_breach;
    std::uint64_t m_digest = 0xcbf29ce484222325u;
};

/// "3d 04:05:06.789".
std::string RunTime(std::uint64_t ms);

} // namespace sim
