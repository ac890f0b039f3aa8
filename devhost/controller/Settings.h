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
    std::filesystem::path Driver;
    std::filesystem::path StateDir;
    std::string CaFile;                 ///< PEM; empty: the system's certificates
    std::vector<std::string> ConnectTo; ///< HOST:PORT:ADDRESS:PORT
    std::string ListenAddress;
    std::uint16_t ListenPort = 0;
    std::string AuthorizeBase; ///< "https://127.0.0.1:8443", without a path; empty: as the driver says
    std::optional<bool> Trace; ///< nothing: as saved
    std::string LogFile;
    unsigned LogSizeMB = 10; ///< at which a log file is put aside; 1 to 1000
    unsigned LogFiles = 5;   ///< that are kept, the current one included; 1 to 100
    bool PrintReady = false;
    bool ExitWithParent = false;
};

/// Reads the command line. Wrong use is explained on the standard error stream.
/// @return the settings, or the exit status when the program is to end at once: 0 for help and version, 1
/// for wrong use.
std::variant<Settings, int> ParseCommandLine(int nArguments, const char* const* pArguments);

} // namespace devhost
