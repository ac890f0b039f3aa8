#pragma once
// What a run is made of. Together with the program's version it fixes every byte of the run.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim
{

enum class Faults { None, Normal, Hostile };

/// "none", "normal" or "hostile".
std::string ToText(Faults faults);
std::optional<Faults> ParseFaults(const std::string& text);

struct Settings {
    std::uint64_t seed = 1;
    int days = 1;     ///< simulated
    int accounts = 1; ///< of the controller; each can have a house of its own
    int locks = 4;    ///< in each house
    int users = 6;    ///< slots that people use, 30 at most
    Faults faults = Faults::Normal;
    std::optional<int> hours; ///< ends the run earlier than the days do
    /// Only these operations are carried out, by their numbers in ascending order. What people and the cloud
    /// would have done besides is left out without moving anything else.
    bool someOperations = false;
    std::vector<int> operations;

    std::uint64_t LengthMs() const
    {
        constexpr std::uint64_t kHourMs = 3'600'000;
        return static_cast<std::uint64_t>(hours ? *hours : days * 24) * kHourMs;
    }
    /// The one command that repeats the run.
    std::string Command() const;
};

} // namespace sim
