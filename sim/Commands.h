#pragma once
// Every command of the driver from its making to its end, seen from outside.

#include "cloud/Command.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sim
{

/// What is known of a command that lives.
struct CommandSeen {
    std::uint64_t number = 0;
    CommandID id = CMD_TOKEN_AUTHORIZE;
    std::string line;   ///< "METHOD PATH" as it must stand in its request; empty for a routed device object
    std::string userId; ///< a slot's number for a creation, else a person's id
    bool sent = false;
};

/// The commands of this process. Their constructor and the beginning of their sending are redirected by the
/// linker, their end shows in the deletion of their memory, which this program's operator delete watches: so
/// the driver is the one that ships. One thread.
class Commands
{
public:
    static std::size_t Living();
    static std::uint64_t Made();
    /// How many workers are sending one.
    static std::size_t InHands();
    /// Marks the command as sent that the present worker is sending. Nothing when it is none of this request,
    /// or was sent already.
    static std::optional<CommandSeen> MarkSent(const std::string& line);
    /// Is told of each command's end; one at a time.
    static void OnEnd(std::function<void(const CommandSeen&)> function);
};

/// Calls of operator new since the start of the program.
std::uint64_t Allocations();

} // namespace sim
