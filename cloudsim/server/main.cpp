// The command line of vestara-cloudsim: reads options and fixture, runs the server until a signal or, when
// asked to, its parent's end stops it.
#include "cloudsim/model/Fixture.h"
#include "cloudsim/server/Server.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <pthread.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

namespace
{

// ../share/vestara/fixtures/house.json, from the folder of this program, installed or not.
std::string DefaultFixture()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "share/vestara/fixtures/house.json").string();
}

struct CommandLine {
    std::string fixture = DefaultFixture();
    std::string stateDir = ".state/cloudsim";
    std::string logLevel = "info";
    std::int64_t tokenLifetime = 7200;
    std::int64_t refreshGrace = 0;
    bool printReady = false;
    bool exitWithParent = false;
    cloudsim::ServerOptions server;
};

void Describe(CLI::App& app, CommandLine& line)
{
    app.set_version_flag("--version", "vestara-cloudsim " VESTARA_VERSION);
    app.add_option("--fixture", line.fixture,
                   "JSON file with the world to start from (Fixture in docs/cloud-api.yaml)")
        ->capture_default_str();
    app.add_option("--state-dir", line.stateDir, "Folder for the certificate authority and saved worlds")
        ->capture_default_str();
    const CLI::Range port(0, 65535);
    app.add_option("--https-port", line.server.httpsPort, "Loopback port of the cloud, 0 for a free one")
        ->check(port)
        ->capture_default_str();
    app.add_option("--admin-port", line.server.adminPort,
                   "Loopback port of the admin routes, 0 for a free one")
        ->check(port)
        ->capture_default_str();
    app.add_option("--oauth-host", line.server.cloud.oauthHost, "Name of the authorisation host")
        ->capture_default_str();
    app.add_option("--api-host", line.server.cloud.apiHost, "Name of the REST host")->capture_default_str();
    app.add_option("--token-lifetime", line.tokenLifetime, "Lifetime of an access token in seconds")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{31536000}))
        ->capture_default_str();
    app.add_option("--refresh-grace", line.refreshGrace,
                   "Seconds for which a refresh token is still good after its first use")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{86400}))
        ->capture_default_str();
    app.add_flag("--auto-approve", line.server.cloud.autoApprove,
                 "Consent at once, without the page's button");
    app.add_option("--redirect-uri", line.server.cloud.redirectUris,
                   "Redirect address to accept besides loopback http addresses; may be repeated");
    app.add_option("--log-level", line.logLevel, "Level of the log on standard error")
        ->check(CLI::IsMember({"debug", "info", "warn", "error", "off"}))
        ->capture_default_str();
    app.add_flag("--print-ready", line.printReady, "Print one JSON line when ready, instead of a sentence");
    app.add_flag("--exit-with-parent", line.exitWithParent,
                 "End, as after SIGTERM, when the process that started this one is gone");
}

// The only line on standard output: a person reads from it where everything is, a script asks for JSON.
void PrintReadyLine(const cloudsim::Server& server, const cloudsim::ServerIdentity& identity, bool asJson)
{
    if (!asJson) {
        std::cout << "vestara-cloudsim is ready: " << server.AuthorizeBase()
                  << " (admin http://127.0.0.1:" << server.AdminPort() << ", CA file "
                  << identity.authorityFile.string() << ")" << std::endl;
        return;
    }
    const cloudsim::Json ready = {{"https_port", server.HttpsPort()},
                                  {"admin_port", server.AdminPort()},
                                  {"oauth_host", server.CloudOptions().oauthHost},
                                  {"api_host", server.CloudOptions().apiHost},
                                  {"ca_file", identity.authorityFile.string()},
                                  {"authorize_base", server.AuthorizeBase()}};
    std::cout << cloudsim::ToText(ready) << std::endl;
}

// The signals that end the program in an orderly way, blocked in this thread and in those that it starts.
sigset_t BlockEndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    // Whoever starts the program under nohup wants it to outlive the terminal. A blocked signal would be
    // delivered to whoever waits for it although it is ignored.
    struct sigaction hangUp = {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
        sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// Waits for one of the signals or, when asked to, for the parent to be gone; says which it was. A signal from
// the kernel at the parent's end would come when the thread ends that started the program.
std::string WaitForEnd(const sigset_t& signals, bool exitWithParent, pid_t parent)
{
    const timespec interval{.tv_sec = 0, .tv_nsec = 500'000'000};
    for (;;) {
        const int signal = sigtimedwait(&signals, nullptr, &interval);
        if (signal > 0)
            return strsignal(signal);
        if (exitWithParent && getppid() != parent)
            return "the parent's end";
    }
}

int Run(CommandLine& line)
{
    const pid_t parent = getppid();
    // Before any thread starts, so that only WaitForEnd takes them.
    const sigset_t signals = BlockEndingSignals();

    line.server.cloud.refreshGrace = std::chrono::seconds(line.refreshGrace);
    line.server.cloud.tokenLifetime = std::chrono::seconds(line.tokenLifetime);
    line.server.saveFolder = line.stateDir;
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    cloudsim::World world = cloudsim::LoadWorld(cloudsim::ReadFile(line.fixture), now);
    const auto identity =
        cloudsim::LoadOrCreateIdentity(line.stateDir, cloudsim::CertificateNames(line.server.cloud));
    const cloudsim::Server server(line.server, std::move(world), identity);
    PrintReadyLine(server, identity, line.printReady);

    spdlog::info("stopping on {}", WaitForEnd(signals, line.exitWithParent, parent));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CommandLine line;
    CLI::App app("Simulates the lock cloud on loopback ports", "vestara-cloudsim");
    Describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    spdlog::set_default_logger(spdlog::stderr_color_mt("cloudsim"));
    spdlog::set_level(spdlog::level::from_str(line.logLevel));
    try {
        return Run(line);
    } catch (const cloudsim::FixtureError& error) {
        spdlog::error("--fixture {}: {}", line.fixture, error.what());
    } catch (const std::exception& error) {
        spdlog::error("{}", error.what());
    }
    return 1;
}
