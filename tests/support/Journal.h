#pragma once
// What the host saw, in order: trace lines, reports and requests of the driver in one list.

#include "devhost/framework/Framework.h"

#include <mutex>
#include <string>
#include <vector>

namespace support
{

/// Records effects as lines: "trace NAME: LINE", "report SOURCE LINE: TEXT", and whatever other parts of the
/// test host add. A report that no test took is a failure of the test. Any thread.
class Journal : public devhost::DiagnosticSink
{
public:
    void OnTrace(const std::string& Producer, std::string_view Line) override;
    void OnReport(const std::string& Source, int Line, std::string_view Message) override;
    void Add(std::string Effect);

    /// The effects so far; the list is empty afterwards. Reports among them count as taken.
    std::vector<std::string> Take();
    /// The texts of the trace lines among the effects, without producer; all other effects stay.
    std::vector<std::string> TakeTraces();
    /// The reports ("SOURCE LINE: TEXT") among the effects; all other effects stay.
    std::vector<std::string> TakeReports() { return TakeMatching("report "); }

private:
    std::vector<std::string> TakeMatching(const std::string& Prefix);

    std::mutex m_Mutex;
    std::vector<std::string> m_Effects;
};

} // namespace support
