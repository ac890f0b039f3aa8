// Reads the command line of the development host.

#include "devhost/controller/Settings.h"

#include <CLI/CLI.hpp>

#include <charconv>

namespace devhost
{

namespace
{

// Empty when the text is ADDRESS:PORT, else what is wrong with it.
std::string SplitListen(const std::string& text, Settings& result)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        return "--listen " + text + ": ADDRESS:PORT is wanted, as in 127.0.0.1:8080";
    const char* end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data() + colon + 1, end, result.listenPort);
    if (error != std::errc() || read != end)
        return "--listen " + text + ": the port must be 0 to 65535; 0 takes a free one";
    result.listenAddress = text.substr(0, colon);
    if (result.listenAddress.starts_with('[') && result.listenAddress.ends_with(']'))
        result.listenAddress = result.listenAddress.substr(1, result.listenAddress.size() - 2);
    return {};
}

// Empty when the text is a scheme, a host and nothing behind, else what is wrong with it.
std::string CheckBase(std::string& base)
{
    while (base.ends_with('/'))
        base.pop_back();
    const std::size_t host = base.starts_with("https://") ? 8 : base.starts_with("http://") ? 7 : 0;
    if (host == 0 || host == base.size() || base.find_first_of("/?# ", host) != std::string::npos)
        return "--authorize-base " + base + ": http(s)://HOST[:PORT] is wanted";
    return {};
}

} // namespace

std::variant<Settings, int> ParseCommandLine(int argumentCount, const char* const* arguments)
{
    Settings result;
    std::string listen = "127.0.0.1:0";
    CLI::App app("Runs a driver plug-in as a controller would, and serves a configurator on loopback.",
                 "vestara-devhost");
    app.add_option("--driver", result.driver, "The driver library")->required();
    app.add_option("--state-dir", result.stateDir, "Folder of the saved configuration; made when missing")
        ->required();
    app.add_option("--ca-file", result.caFile, "Certificates to trust instead of the system's (PEM)");
    app.add_option("--connect-to", result.connectTo,
                   "HOST:PORT:ADDRESS:PORT - connect there instead; the certificate must still be HOST's");
    app.add_option(
           "--listen", listen,
           "Where the configurator listens: 127.0.0.1, localhost or [::1], and a port; 0 takes a free one")
        ->capture_default_str();
    app.add_option("--authorize-base", result.authorizeBase,
                   "http(s)://HOST[:PORT] under which a browser reaches the cloud's authorize page");
    app.add_option("--simulator", result.simulator,
                   "http://127.0.0.1:PORT, the admin address of a cloud simulator that the page shall show");
    app.add_option(
        "--web-dir", result.webDir,
        "Folder of the configurator's page; otherwise share/vestara/configurator beside the program's bin");
    app.add_flag("--api-token", result.apiToken,
                 "For a machine with several users: serve only who knows the token that this start prints");
    app.add_flag("--trace,!--no-trace", result.trace, "Switch the traces of all producers on or off");
    app.add_option("--log-file", result.logFile, "Append traces and reports to this file");
    app.add_option("--log-size", result.logSizeMb, "Size in MB at which a log file is put aside")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--log-files", result.logFiles, "Log files that are kept, the current one included")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_flag("--print-ready", result.printReady, "Print one JSON line when ready, instead of a sentence");
    app.add_flag("--exit-with-parent", result.exitWithParent,
                 "End, as after SIGTERM, when the process that started this one is gone");
    app.set_version_flag("--version", "vestara-devhost " VESTARA_VERSION);
    try {
        app.parse(argumentCount, arguments);
        if (const std::string fault = SplitListen(listen, result); !fault.empty())
            throw CLI::ValidationError(fault);
        if (!result.authorizeBase.empty()) {
            if (const std::string fault = CheckBase(result.authorizeBase); !fault.empty())
                throw CLI::ValidationError(fault);
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1; // the parser has a number for each kind of mistake
    }
    return result;
}

} // namespace devhost
