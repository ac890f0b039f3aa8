#pragma once
// What the development host is told on its command line.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devhost
{

struct Settings {
    std::filesystem::path driver;
    std::filesystem::path stateDir;
    std::string caFile;                 ///< PEM; empty: the system's certificates
    std::vector<std::string> connectTo; ///< HOST:PORT:ADDRESS:PORT
    std::string listenAddress;
    std::uint16_t listenPort = 0;
    std::optional<std::filesystem::path> webDir; ///< nothing: where the build puts it
    std::string authorizeBase; ///< "https://127.0.0.1:8443", without a path; empty: as the driver says
    std::string simulator;     ///< "http://127.0.0.1:8444", its admin address; empty: there is none
    std::optional<bool> trace; ///< nothing: as saved
    std::string logFile;
    unsigned logSizeMb = 10; ///< at which a log file is put aside; 1 to 1000
    unsigned logFiles = 5;   ///< that are kept, the current one included; 1 to 100
    bool apiToken = false;   ///< each request needs the token of this start
    bool printReady = false;
    bool exitWithParent = false;
};

/// Reads the command line. Wrong use is explained on the standard error stream.
/// @return the settings, or the exit status when the program is to end at once: 0 for help and version, 1
/// for wrong use.
std::variant<Settings, int> ParseCommandLine(int argumentCount, const char* const* arguments);

} // namespace devhost
