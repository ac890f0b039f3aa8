#pragma once
// Chance that is the same on every machine.

#include <cstdint>
#include <random>
#include <span>
#include <string_view>

namespace sim
{

/// One stream of chance. The engine's numbers are fixed by the language's standard; its distributions are
/// not, so the draws are made here. One thread.
class Random
{
public:
    explicit Random(std::uint64_t seed) : m_engine(seed) {}

    /// A stream of its own for each part: what one part draws does not move what another one gets.
    static Random For(std::uint64_t seed, std::string_view part, std::uint64_t number = 0)
    {
        std::uint64_t mixed = seed ^ (number + 1) * 0x9e3779b97f4a7c15u;
        for (const char c : part)
            mixed = (mixed ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
        return Random(mixed);
    }

    std::uint64_t Number() { return m_engine(); }
    /// 0 to limit - 1; 0 for a limit of 0. The slight unevenness of the remainder does not matter here.
    std::uint64_t Below(std::uint64_t limit) { return limit > 0 ? m_engine() % limit : 0; }
    /// From low to high, both included.
    std::uint64_t Between(std::uint64_t low, std::uint64_t high) { return low + Below(high - low + 1); }
    /// True for so many in a million.
    bool Happens(std::uint64_t perMillion) { return Below(1'000'000) < perMillion; }
    /// The list must not be empty.
    template <class List>
    auto& Pick(List& list)
    {
        return list[static_cast<std::size_t>(Below(list.size()))];
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace sim
