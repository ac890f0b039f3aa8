// Names the lock states and gives repeatable random texts; how the world changes is left to its users.
#include "cloudsim/model/World.h"

#include <random>

namespace cloudsim
{

std::string_view ToText(LockState state)
{
    return state == LockState::Locked ? "locked" : "unlocked";
}

std::optional<LockState> ParseLockState(std::string_view text)
{
    for (const LockState state : {LockState::Locked, LockState::Unlocked}) {
        if (ToText(state) == text)
            return state;
    }
    return std::nullopt;
}

RandomSource SeededRandom(std::uint64_t seed)
{
    return [engine = std::mt19937_64(seed)](std::size_t byteCount) mutable {
        std::string text;
        while (text.size() < 2 * byteCount)
            text += "0123456789abcdef"[engine() & 15];
        return text;
    };
}

} // namespace cloudsim
