// The list of effects; what is expected of them is left to the tests.

#include "support/Journal.h"

#include <utility>

namespace support
{

void Journal::OnTrace(const std::string& Producer, std::string_view Line)
{
    Add("trace " + Producer + ": " + std::string(Line));
}

void Journal::OnReport(const std::string& Source, int Line, std::string_view Message)
{
    Add("report " + Source + " " + std::to_string(Line) + ": " + std::string(Message));
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
    std::erase_if(m_Effects, [&](const std::string& Effect) {
        if (!Effect.starts_with(Prefix))
            return false;
        Found.push_back(Effect.substr(Prefix.size()));
        return true;
    });
    return Found;
}

std::vector<std::string> Journal::TakeTraces()
{
    std::vector<std::string> Lines = TakeMatching("trace ");
    for (std::string& Line : Lines)
        Line.erase(0, Line.find(": ") + 2);
    return Lines;
}

} // namespace support
