// The list of effects; what is expected of them is left to the tests.

#include "support/Journal.h"

#include <utility>

namespace support
{
namespace
{
const std::string kTrace = "trace ";
const std::string kReport = "report ";

bool StartsWith(const std::string& Text, const std::string& Prefix)
{
    return Text.compare(0, Prefix.size(), Prefix) == 0;
}
} // namespace

void Journal::OnTrace(const std::string& Producer, std::string_view Line)
{
    Add(kTrace + Producer + ": " + std::string(Line));
}

void Journal::OnReport(const std::string& Source, int Line, std::string_view Message)
{
    Add(kReport + Source + " " + std::to_string(Line) + ": " + std::string(Message));
}

void Journal::Add(std::string Effect)
{
    const std::lock_guard Lock(m_Mutex);
    m_Effects.push_back(std::move(Effect));
}

std::vector<std::string> Journal::Take()
{
    const std::lock_guard Lock(m_Mutex);
    return std::exchange(m_Effects, {});
}

std::vector<std::string> Journal::TakeMatching(const std::string& Prefix)
{
    const std::lock_guard Lock(m_Mutex);
    std::vector<std::string> Found;
    std::vector<std::string> Rest;
    for (std::string& Effect : m_Effects) {
        if (StartsWith(Effect, Prefix))
            Found.push_back(Effect.substr(Prefix.size()));
        else
            Rest.push_back(std::move(Effect));
    }
    m_Effects = std::move(Rest);
    return Found;
}

std::vector<std::string> Journal::TakeTraces()
{
    std::vector<std::string> Lines = TakeMatching(kTrace);
    for (std::string& Line : Lines)
        Line.erase(0, Line.find(": ") + 2);
    return Lines;
}

std::vector<std::string> Journal::TakeReports()
{
    return TakeMatching(kReport);
}

std::vector<std::string> Journal::UntakenReports() const
{
    const std::lock_guard Lock(m_Mutex);
    std::vector<std::string> Found;
    for (const std::string& Effect : m_Effects)
        if (StartsWith(Effect, kReport))
            Found.push_back(Effect);
    return Found;
}

} // namespace support
