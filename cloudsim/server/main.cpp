// The command line of vestara-cloudsim: reads options and fixture, runs the server until a signal ends it.
#include "cloudsim/model/Fixture.h"
#include "cloudsim/server/Server.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>
#include <pthread.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

namespace
{

struct CommandLine {
    std::string fixture = VESTARA_CLOUDSIM_FIXTURES "/house.json";
    std::string stateDir = ".state/cloudsim";
    std::string logLevel = "info";
    std::int64_t tokenLifetime = 7200;
    cloudsim::ServerOptions server;
};

void Describe(CLI::App& app, CommandLine& line)
{
    app.add_option("--fixture", line.fixture, "JSON file with the world to start from")
        ->capture_default_str();
    app.add_option("--state-dir", line.stateDir, "Folder for the certificate authority and saved worlds")
        ->capture_default_str();
    app.add_option("--https-port", line.server.httpsPort, "Loopback port of the cloud, 0 for a free one")
        ->capture_default_str();
    app.add_option("--admin-port", line.server.adminPort,
                   "Loopback port of the admin routes, 0 for a free one")
        ->capture_default_str();
    app.add_option("--oauth-host", line.server.cloud.oauthHost, "Name of the authorisation host")
        ->capture_default_str();
    app.add_option("--api-host", line.server.cloud.apiHost, "Name of the REST host")->capture_default_str();
    app.add_option("--token-lifetime", line.tokenLifetime, "Lifetime of an access token in seconds")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{31536000}))
        ->capture_default_str();
    app.add_flag("--auto-approve", line.server.cloud.autoApprove,
                 "Consent at once, without the page's button");
    app.add_option("--redirect-uri", line.server.cloud.redirectUris,
                   "Redirect address to accept besides loopback http addresses; may be repeated");
    app.add_option("--log-level", line.logLevel, "Level of the log on standard error")
        ->check(CLI::IsMember({"debug", "info", "warn", "error", "off"}))
        ->capture_default_str();
}

// Scripts read this line to learn where everything is, so it is the only one on standard output.
void PrintReadyLine(const cloudsim::Server& server, const cloudsim::ServerIdentity& identity)
{
    const cloudsim::Json ready = {{"https_port", server.HttpsPort()},
                                  {"admin_port", server.AdminPort()},
                                  {"oauth_host", server.CloudOptions().oauthHost},
                                  {"api_host", server.CloudOptions().apiHost},
                                  {"ca_file", identity.authorityFile.string()},
                                  {"authorize_base", server.AuthorizeBase()}};
    std::cout << cloudsim::ToText(ready) << std::endl;
}

int Run(CommandLine& line)
{
    // The signals are blocked before any thread starts, so that only sigwait below takes them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    line.server.cloud.tokenLifetime = std::chrono::seconds(line.tokenLifetime);
    line.server.saveFolder = line.stateDir;
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    cloudsim::World world = cloudsim::LoadWorld(cloudsim::ReadFile(line.fixture), now);
    const auto identity =
        cloudsim::LoadOrCreateIdentity(line.stateDir, cloudsim::CertificateNames(line.server.cloud));
    const cloudsim::Server server(line.server, std::move(world), identity);
    PrintReadyLine(server, identity);

    int signal = 0;
    sigwait(&signals, &signal);
    spdlog::info("stopping on signal {}", signal);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CommandLine line;
    CLI::App app("Simulates the lock cloud on loopback ports", "vestara-cloudsim");
    Describe(app, line);
    CLI11_PARSE(app, argc, argv);
    spdlog::set_default_logger(spdlog::stderr_color_mt("cloudsim"));
    spdlog::set_level(spdlog::level::from_str(line.logLevel));
    try {
        return Run(line);
    } catch (const cloudsim::FixtureError& error) {
        spdlog::error("{}: {}", line.fixture, error.what());
    } catch (const std::exception& error) {
        spdlog::error("{}", error.what());
    }
    return 1;
}
