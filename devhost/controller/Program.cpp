// Puts the development host together, runs it and takes it apart.

#include "devhost/controller/Program.h"

#include "devhost/controller/RequestGuard.h"
#include "devhost/framework/diagnostics/ExceptionText.h"
#include "devhost/framework/network/Exchange.h"
#include "devhost/framework/seams/Framework.h"

#include <cerrno>
#include <cstring>
#include <iostream>

namespace devhost
{

namespace
{

using nlohmann::json;

TlsOptions MakeTlsOptions(const Settings& wanted)
{
    TlsOptions result;
    result.caFile = wanted.caFile;
    if (!result.caFile.empty() && access(result.caFile.c_str(), R_OK) != 0)
        throw std::runtime_error("--ca-file " + result.caFile + ": " + std::strerror(errno));
    for (const std::string& route : wanted.connectTo) {
        try {
            result.routes.push_back(ConnectTo::Parse(route));
        } catch (const std::invalid_argument& error) {
            throw std::runtime_error(std::string("--connect-to ") + error.what());
        }
    }
    return result;
}

LogOptions MakeLogOptions(const Settings& wanted)
{
    LogOptions result;
    result.filePath = wanted.logFile;
    result.fileBytes = std::size_t{1'000'000} * wanted.logSizeMb;
    result.fileCount = wanted.logFiles;
    return result;
}

Heartbeat HeartbeatOf(const std::string& device, const CloudLock& lock)
{
    Heartbeat heartbeat{.device = device, .time = *lock.lastSeen};
    if (lock.battery)
        heartbeat.battery = *lock.battery;
    if (lock.wifi)
        heartbeat.wifi = *lock.wifi;
    if (lock.gap)
        heartbeat.gapSeconds = lock.gap->count();
    return heartbeat;
}

} // namespace

Program::Program(const Settings& wanted)
    : m_settings(wanted), m_log(MakeLogOptions(wanted)),
      m_page(wanted.webDir.value_or(WebPage::DefaultFolder())), m_folder(wanted.stateDir),
      m_token(m_folder.TokenFile(), wanted.apiToken), m_store(m_folder.ConfigurationFile()),
      m_database(m_folder.ActivityFile(), {Activity::kTable, LockHistory::kTable}), m_activity(m_database),
      m_history(m_database), m_transport(MakeTlsOptions(wanted))
{
    m_server = std::make_unique<HttpServer>(m_settings.listenAddress, m_settings.listenPort,
                                            [this](const ApiRequest& request) {
                                                if (auto file = m_page.Serve(request))
                                                    return std::move(*file);
                                                try {
                                                    return m_loop.Call([&] { return Serve(request); });
                                                } catch (const LoopClosed& closed) {
                                                    return ErrorResponse(503, "shutting_down", closed.what());
                                                }
                                            });
    m_server->RequireToken(m_token.Wanted());
    if (!m_settings.simulator.empty())
        m_server->RelaySimulator(m_settings.simulator);
    // Before anything is loaded: a signal during the start ends the host like any other, with a save.
    m_server->OnSignal([this] { m_loop.RequestExit(); });
    m_server->OnNewReader([this] { return m_loop.Call([this] { return Text(m_api->Snapshot()); }); });
    const bool v6 = m_settings.listenAddress.find(':') != std::string::npos;
    m_address =
        std::string("http://") + (v6 ? "[::1]" : "127.0.0.1") + ":" + std::to_string(m_server->Port());
    HideSecrets();
    PlugIn();
    m_library = std::make_unique<PluginLibrary>(m_settings.driver);
    m_ownRoutes.Add("POST", HttpServer::kRestorePath, [this](const ApiCall& call) { return Restore(call); });
    try {
        StartSystem();
    } catch (...) {
        throw std::runtime_error(ExceptionText()); // the library's own is not good once that is unloaded
    }
    NoteHost("The host was started");
    m_activity.OnNew(
        [this](const ActivityEntry& entry) { m_server->Publish("activity", Text(ActivityJson(entry))); });
}

void Program::PlugIn()
{
    Framework& the = TheFramework();
    the.transport = &m_transport;
    the.diagnostics = &m_log;
    the.sleeper = &m_sleeper;
    the.wakeMainLoop = [this] { return m_loop.Wake(); };
    the.onExchange = [this](const Exchange& exchange) {
        m_persons.Take(exchange);
        m_cloudLocks.Take(exchange);
        m_houses.Take(exchange);
    };
    // Old configurations are registered with the host's name instead of its address.
    the.redirectUri = [port = m_server->Port(), address = m_address](int schema) {
        const std::string base =
            schema == OAUTH_REDIRECT_LEGACY ? "http://localhost:" + std::to_string(port) : address;
        return base + kRedirectPath;
    };
}

void Program::StartSystem()
{
    System::Options parts;
    parts.plugins = {m_library->EntryPoints()};
    parts.store = &m_store;
    parts.observer = this;
    m_system = std::make_unique<System>(std::move(parts));
    m_system->Traces().Default(m_settings.trace.value_or(false));

    ConfiguratorApi::Options api;
    api.libraryPath = m_library->Path().string();
    api.signature = PluginLibrary::SignatureText();
    api.listen = m_address;
    api.authorizeBase = m_settings.authorizeBase;
    api.hasSimulator = !m_settings.simulator.empty();
    api.log = &m_log;
    api.activity = &m_activity;
    api.persons = &m_persons;
    api.publish = [this](const char* type, const std::string& data) { m_server->Publish(type, data); };
    api.cloudLocks = &m_cloudLocks;
    api.houses = &m_houses;
    api.history = &m_history;
    api.shutdown = [this] { m_loop.RequestExit(); };
    api.userChanged = [this](int slot) {
        HideSecrets();
        m_server->Publish("user", Text(m_api->UserOrGone(slot)));
    };
    m_api = std::make_unique<ConfiguratorApi>(*m_system, std::move(api));

    m_log.OnNewEntry([this] { m_newLogEntry.store(true); });
    m_system->Start();
    for (int i = 0; i < m_system->NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        CDoorLock& lock = *m_system->DoorLock(i);
        m_notedLocks[lock.ID()] = {static_cast<char*>(lock.Name()), static_cast<char*>(lock.ErrorText()),
                                   lock.State()};
    }
    if (m_settings.trace)
        m_system->SetTraceAll(*m_settings.trace);
    HideSecrets();
}

Program::Unplug::~Unplug()
{
    TheFramework() = {};
}

Program::~Program()
{
    // Nobody may ask any more before the objects go.
    m_loop.Close();
    m_server->Stop();
}

int Program::Run()
{
    m_server->Start();
    PrintReady();
    int status = 0;
    const auto fail = [&status](const std::string& what) {
        std::cerr << "vestara-devhost: " << what << std::endl;
        status = 1;
    };
    try {
        m_loop.Run([this](int wakeCount) { Round(wakeCount); });
    } catch (...) {
        fail("ended by an error: " + ExceptionText());
    }
    m_loop.Close();
    NoteHost("The host ended");
    try {
        m_api->GiveUp();
        if (const std::string error = m_system->Stop(); !error.empty())
            fail("the configuration was not saved: " + error);
    } catch (...) {
        fail("the configuration was not saved: " + ExceptionText());
    }
    return status;
}

ApiResponse Program::Serve(const ApiRequest& request)
{
    return request.path == HttpServer::kRestorePath ? m_ownRoutes.Serve(request) : m_api->Serve(request);
}

void Program::PrintReady() const
{
    const std::string& token = m_token.Text();
    if (m_settings.printReady) {
        json ready = {{"api", m_address},
                      {"signature", PluginLibrary::SignatureText()},
                      {"library", m_library->Path().string()},
                      {"interfaces", m_system->NBridges()},
                      {"locks", m_system->NDoorLock(COMPONENT_FILTER_ALL)}};
        if (!token.empty())
            ready["token"] = token;
        std::cout << Text(ready) << std::endl;
        return;
    }
    // Browsers send no fragment, so the token is in no log of requests and in no referrer.
    std::cout << "vestara-devhost is ready: " << m_address << (token.empty() ? "" : "/#token=" + token)
              << " (driver " << m_library->Path().string() << ", signature " << PluginLibrary::SignatureText()
              << ")" << std::endl;
}

void Program::Round(int wakeCount)
{
    // Asked for instead of a signal at the parent's end, which the system sends when the thread ends that
    // started the host.
    if (m_settings.exitWithParent && getppid() != m_parent)
        m_loop.RequestExit();
    m_system->RunOnce(wakeCount);
    m_log.TellCounts();
    PublishReports();
    PublishHealth();
    FollowAccess();
    PublishLocks();
}

void Program::PublishReports()
{
    if (!m_newLogEntry.exchange(false))
        return;
    for (const LogEntry& entry : m_log.EntriesSince(m_lastReport, 2000)) {
        m_lastReport = entry.sequence;
        if (entry.report)
            m_server->Publish("report", Text(LogEntryJson(entry)));
    }
}

// At most once a second, because failures may come in quick succession.
void Program::PublishHealth()
{
    constexpr std::uint32_t kPauseMs = 1000;
    if (m_sinceHealth.QXTickCount() < kPauseMs)
        return;
    m_sinceHealth.Restart();
    if (m_houses.TakeChanged())
        OnInterfacesChanged();
    std::map<unsigned, std::pair<int, AccountHealth::State>> now;
    for (int i = 0; i < m_system->NBridges(); ++i) {
        const unsigned id = m_system->Bridge(i)->ID();
        const AccountHealth::Report health = m_system->Health(id).value_or(AccountHealth::Report{});
        now[id] = {health.changes, health.state};
        const auto shown = m_shownHealth.find(id);
        if (shown == m_shownHealth.end() || shown->second == now[id])
            continue;
        m_server->Publish("health", Text({{"interface", id}, {"health", HealthJson(health)}}));
        if (shown->second.second != health.state)
            m_activity.Add(
                {.kind = "account",
                 .account = id,
                 .text = static_cast<char*>(m_system->Bridge(i)->Name()) + (": " + health.reason)});
    }
    m_shownHealth = std::move(now);
}

void Program::FollowAccess()
{
    constexpr std::uint32_t kPauseMs = 500;
    if (m_sinceAccess.QXTickCount() < kPauseMs)
        return;
    m_sinceAccess.Restart();
    m_api->FollowAccess();
}

// What the cloud told of locks since the last time; at most once a second, because polls and commands may
// come in quick succession.
void Program::PublishLocks()
{
    constexpr std::uint32_t kPauseMs = 1000;
    if (m_sinceLocks.QXTickCount() < kPauseMs)
        return;
    m_sinceLocks.Restart();
    const auto changed = m_cloudLocks.ChangedSince(m_shownLocks);
    if (changed.empty())
        return;
    std::map<std::string, unsigned> installed; // by the cloud's id
    for (int i = 0; i < m_system->NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        if (const auto* client = dynamic_cast<const CBridgeClient*>(m_system->DoorLock(i)))
            installed[static_cast<char*>(client->DeviceID())] = m_system->DoorLock(i)->ID();
    }
    std::vector<Heartbeat> heartbeats;
    for (const auto& [device, lock] : changed) {
        const auto known = installed.find(device);
        if (known == installed.end())
            continue;
        m_server->Publish("lock", Text(m_api->LockOrGone(known->second)));
        if (lock.lastSeen)
            heartbeats.push_back(HeartbeatOf(device, lock));
    }
    m_history.Add(heartbeats, std::chrono::system_clock::now());
}

void Program::HideSecrets()
{
    std::vector<std::string> secrets{m_token.Text()};
    for (int slot = 0; m_system && slot < SecurityServer::kSlots; ++slot) {
        if (const CUser* user = m_system->Security().GetUserAtDoorLockSlot(slot))
            secrets.emplace_back(static_cast<char*>(user->PIN_DoorLock()));
    }
    if (const UserData* held = m_api ? m_api->HeldUser() : nullptr)
        secrets.push_back(held->pin);
    m_log.Secrets().SetKnownSecrets(std::move(secrets));
}

// Tells what changed at a lock that people want to know of; that one moves was told of by its command.
void Program::NoteLock(unsigned componentId)
{
    const auto add = [&](const char* kind, const std::string& text, int user = 0) {
        m_activity.Add({.kind = kind, .lock = componentId, .user = user, .text = text});
    };
    const auto known = m_notedLocks.find(componentId);
    const std::optional<LockNote> before =
        known == m_notedLocks.end() ? std::nullopt : std::optional(known->second);
    CDoorLock* lock = m_system->LockById(componentId);
    if (!lock) {
        if (before)
            add("lock", before->name + " was removed");
        m_notedLocks.erase(componentId);
        return;
    }
    const LockNote now{static_cast<char*>(lock->Name()), static_cast<char*>(lock->ErrorText()),
                       lock->State()};
    m_notedLocks[componentId] = now;
    if (!before)
        add("lock", now.name + " was added");
    if (!now.error.empty() && (!before || now.error != before->error))
        add("error", now.name + ": " + now.error);
    if (now.state == CDoorLock::STATE_IN_TRANSIT || (before && now.state == before->state))
        return;
    // Users are reported as their number and 100.
    constexpr int kFirstUser = 100;
    if (now.state == CDoorLock::STATE_SECURED) {
        add("lock", now.name + " is locked");
    } else if (now.state == CDoorLock::STATE_UNSECURED) {
        const int number = std::max(lock->LastUser() - kFirstUser, 0);
        const CUser* user = m_system->Security().GetUserAtDoorLockSlot(number - 1);
        add("lock",
            now.name + " is unlocked" + (user ? std::string(", by ") + static_cast<char*>(user->Name()) : ""),
            number);
    } else if (before) {
        add("lock", now.name + ": nobody knows any more whether it is locked");
        if (const auto* client = dynamic_cast<const CBridgeClient*>(lock))
            m_cloudLocks.GaveUp(static_cast<char*>(client->DeviceID()));
    }
}

void Program::OnLockChanged(unsigned componentId)
{
    NoteLock(componentId);
    m_api->MarkAccessChanged();
    m_server->Publish("lock", Text(m_api->LockOrGone(componentId)));
}

void Program::OnInterfacesChanged()
{
    m_server->Publish("interfaces", Text({{"interfaces", m_api->Interfaces()}}));
}

void Program::OnPageRebuilt(unsigned bridgeId)
{
    // The page goes with the event: whoever shows it need not ask, which would build it once more.
    if (const auto page = m_system->Pages().Peek(bridgeId))
        m_server->Publish("page", Text({{"interface", bridgeId}, {"page", PageJson(*page)}}));
}

void Program::OnSaved(const std::string& error)
{
    m_server->Publish("saved", Text({{"ok", error.empty()}, {"error", error}}));
}

void Program::OnRestarted()
{
    if (m_system->Restarts() > 0) // the start is told of like a restart
        NoteHost("The system was restarted in place");
    m_server->Publish("restarted", Text({{"restarts", m_system->Restarts()}}));
}

} // namespace devhost
