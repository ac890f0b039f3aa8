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
    void OnTrace(const std::string& Producer, std::string_view Line) override
    {
        Add("trace " + Producer + ": " + std::string(Line));
    }
    void OnReport(const std::string& Source, int Line, std::string_view Message) override
    {
        Add("report " + Source + " " + std::to_string(Line) + ": " + std::string(Message));
    }
    void Add(std::string Effect)
    {
        const std::lock_guard Lock(m_Mutex);
        m_Effects.push_back(std::move(Effect));
    }

    /// The effects so far; the list is empty afterwards. Reports among them count as taken.
    std::vector<std::string> Take()
    {
        const std::lock_guard Lock(m_Mutex);
        return std::exchange(m_Effects, {});
    }
    /// The texts of the trace lines among the effects, without producer; all other effects stay.
    std::vector<std::string> TakeTraces()
    {
        std::vector<std::string> Lines = TakeMatching("trace ");
        for (std::string& Line : Lines)
            Line.erase(0, Line.find(": ") + 2);
        return Lines;
    }
    /// The reports ("SOURCE LINE: TEXT") among the effects; all other effects stay.
    std::vector<std::string> TakeReports() { return TakeMatching("report "); }

private:
    std::vector<std::string> TakeMatching(const std::string& Prefix)
    {
        const std::lock_guard Lock(m_Mutex);
        std::vector<std::string> Found;
        std::erase_if(m_Effects, [&](const std::string& Effect) {
            if (!Effect.starts_with(Prefix))
                return false;
            Found.push_back(Effect.substr(Prefix.size()));
            return true;
        });
        return Found;
    }

    std::mutex m_Mutex;
    std::vector<std::string> m_Effects;
};

} // namespace support
