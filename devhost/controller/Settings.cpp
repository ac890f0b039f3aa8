// Reads the command line of the development host.

#include "devhost/controller/Settings.h"

#include <CLI/CLI.hpp>

#include <charconv>

namespace devhost
{

namespace
{

// Empty when the text is ADDRESS:PORT, else what is wrong with it.
std::string SplitListen(const std::string& Text, Settings& Result)
{
    const std::size_t Colon = Text.rfind(':');
    if (Colon == std::string::npos)
        return "--listen " + Text + ": ADDRESS:PORT is wanted, as in 127.0.0.1:8080";
    const char* pEnd = Text.data() + Text.size();
    const auto [pRead, Error] = std::from_chars(Text.data() + Colon + 1, pEnd, Result.ListenPort);
    if (Error != std::errc() || pRead != pEnd)
        return "--listen " + Text + ": the port must be 0 to 65535; 0 takes a free one";
    Result.ListenAddress = Text.substr(0, Colon);
    if (Result.ListenAddress.starts_with('[') && Result.ListenAddress.ends_with(']'))
        Result.ListenAddress = Result.ListenAddress.substr(1, Result.ListenAddress.size() - 2);
    return {};
}

// Empty when the text is a scheme, a host and nothing behind, else what is wrong with it.
std::string CheckBase(std::string& Base)
{
    while (Base.ends_with('/'))
        Base.pop_back();
    const std::size_t Host = Base.starts_with("https://") ? 8 : Base.starts_with("http://") ? 7 : 0;
    if (Host == 0 || Host == Base.size() || Base.find_first_of("/?# ", Host) != std::string::npos)
        return "--authorize-base " + Base + ": http(s)://HOST[:PORT] is wanted";
    return {};
}

} // namespace

std::variant<Settings, int> ParseCommandLine(int nArguments, const char* const* pArguments)
{
    Settings Result;
    std::string Listen = "127.0.0.1:0";
    CLI::App App("Runs a driver plug-in as a controller would, and serves a configurator on loopback.",
                 "vestara-devhost");
    App.add_option("--driver", Result.Driver, "The driver library")->required();
    App.add_option("--state-dir", Result.StateDir, "Folder of the saved configuration; made when missing")
        ->required();
    App.add_option("--ca-file", Result.CaFile, "Certificates to trust instead of the system's (PEM)");
    App.add_option("--connect-to", Result.ConnectTo,
                   "HOST:PORT:ADDRESS:PORT - connect there instead; the certificate must still be HOST's");
    App.add_option(
           "--listen", Listen,
           "Where the configurator listens: 127.0.0.1, localhost or [::1], and a port; 0 takes a free one")
        ->capture_default_str();
    App.add_option("--authorize-base", Result.AuthorizeBase,
                   "http(s)://HOST[:PORT] under which a browser reaches the cloud's authorize page");
    App.add_flag("--trace,!--no-trace", Result.Trace, "Switch the traces of all producers on or off");
    App.add_option("--log-file", Result.LogFile, "Append traces and reports to this file");
    App.add_option("--log-size", Result.LogSizeMB, "Size in MB at which a log file is put aside")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    App.add_option("--log-files", Result.LogFiles, "Log files that are kept, the current one included")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    App.add_flag("--print-ready", Result.PrintReady, "Print one JSON line when ready, instead of a sentence");
    App.add_flag("--exit-with-parent", Result.ExitWithParent,
                 "End, as after SIGTERM, when the process that started this one is gone");
    App.set_version_flag("--version", "vestara-devhost " VESTARA_VERSION);
    try {
        App.parse(nArguments, pArguments);
        if (const std::string Fault = SplitListen(Listen, Result); !Fault.empty())
            throw CLI::ValidationError(Fault);
        if (!Result.AuthorizeBase.empty()) {
            if (const std::string Fault = CheckBase(Result.AuthorizeBase); !Fault.empty())
                throw CLI::ValidationError(Fault);
        }
    } catch (const CLI::ParseError& Error) {
        return App.exit(Error) == 0 ? 0 : 1; // the parser has a number for each kind of mistake
    }
    return Result;
}

} // namespace devhost
