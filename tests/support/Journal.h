#pragma once
// What the host saw, in order: trace lines, reports and requests of the driver in one list.

#include "devhost/framework/seams/Framework.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace support
{

/// Records effects as lines: "trace NAME: LINE", "report SOURCE LINE: TEXT", and whatever other parts of the
/// test host add. A report that no test took is a failure of the test. Any thread.
class Journal : public devhost::DiagnosticSink
{
public:
    void OnTrace(const std::string& producer, std::string_view line) override
    {
        Add("trace " + producer + ": " + std::string(line));
    }
    void OnReport(const std::string& source, int line, std::string_view message) override
    {
        Add("report " + source + " " + std::to_string(line) + ": " + std::string(message));
    }
    void Add(std::string effect)
    {
        const std::lock_guard lock(m_mutex);
        m_effects.push_back(std::move(effect));
    }

    /// The effects so far; the list is empty afterwards. Reports among them count as taken.
    std::vector<std::string> Take()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_effects, {});
    }
    /// The texts of the trace lines among the effects, without producer; all other effects stay.
    std::vector<std::string> TakeTraces()
    {
        std::vector<std::string> lines = TakeMatching("trace ");
        for (std::string& line : lines)
            line.erase(0, line.find(": ") + 2);
        return lines;
    }
    /// The reports ("SOURCE LINE: TEXT") among the effects; all other effects stay.
    std::vector<std::string> TakeReports() { return TakeMatching("report "); }

private:
    std::vector<std::string> TakeMatching(const std::string& prefix)
    {
        const std::lock_guard lock(m_mutex);
        std::vector<std::string> found;
        std::erase_if(m_effects, [&](const std::string& effect) {
            if (!effect.starts_with(prefix))
                return false;
            found.push_back(effect.substr(prefix.size()));
            return true;
        });
        return found;
    }

    std::mutex m_mutex;
    std::vector<std::string> m_effects;
};

} // namespace support
