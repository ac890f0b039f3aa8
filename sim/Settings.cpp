// The settings as texts.

#include "sim/Settings.h"

#include <array>
#include <utility>

namespace sim
{

namespace
{

constexpr std::array<std::pair<Faults, const char*>, 3> kNames{
    {{Faults::None, "none"}, {Faults::Normal, "normal"}, {Faults::Hostile, "hostile"}}};

} // namespace

std::string ToText(Faults faults)
{
    for (const auto& [value, name] : kNames) {
        if (value == faults)
            return name;
    }
    return "";
}

std::optional<Faults> ParseFaults(const std::string& text)
{
    for (const auto& [value, name] : kNames) {
        if (text == name)
            return value;
    }
    return std::nullopt;
}

std::string Settings::Command() const
{
    std::string command = "vestara-sim --seed " + std::to_string(seed) + " --days " + std::to_string(days) +
                          " --accounts " + std::to_string(accounts) + " --locks " + std::to_string(locks) +
                          " --users " + std::to_string(users) + " --faults " + ToText(faults);
    if (hours)
        command += " --hours " + std::to_string(*hours);
    if (someOperations) {
        command += operations.empty() ? " --operations none" : " --operations ";
        for (std::size_t i = 0; i < operations.size(); ++i)
            command.append(i > 0 ? "," : "").append(std::to_string(operations[i]));
    }
    return command;
}

} // namespace sim
