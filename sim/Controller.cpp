// The host's life. What people do with it is left to them.

#include "sim/Controller.h"

#include "devhost/controller/MainLoop.h"
#include "devhost/framework/network/RequestCheck.h"
#include "tests/support/Probes.h"

#include <algorithm>

namespace sim
{

namespace
{

bool StandsAlone(std::string_view text, const std::string& secret)
{
    for (std::size_t at = text.find(secret); at != std::string_view::npos; at = text.find(secret, at + 1)) {
        const std::size_t end = at + secret.size();
        if ((at == 0 || !devhost::IsWordByte(text[at - 1])) &&
            (end == text.size() || !devhost::IsWordByte(text[end])))
            return true;
    }
    return false;
}

// On the run's own time, so that a flood of reports is cut at the same places in each repetition.
devhost::LogOptions LogInMemory(const Scheduler& scheduler)
{
    devhost::LogOptions options;
    options.keptCount = 16;
    options.now = [&scheduler] {
        return devhost::ReportFlood::TimePoint(std::chrono::milliseconds(scheduler.NowMs()));
    };
    return options;
}

} // namespace

std::string MortalStore::Save(std::string_view newText)
{
    if (dead)
        return {};
    if (full)
        return "no space left on the disk";
    const Death death = std::exchange(nextSave, Death::None);
    dead = death != Death::None;
    if (death == Death::BeforeWriting)
        return {};
    std::string error = MemoryStore::Save(newText);
    if (onSaved)
        onSaved();
    return error;
}

// The host's services that a worker calls let the others go on.
class Controller::WatchedSystem : public devhost::System
{
public:
    WatchedSystem(Options parts, Scheduler& scheduler) : System(std::move(parts)), m_scheduler(scheduler) {}
    void NotifyWrite() override
    {
        System::NotifyWrite();
        m_scheduler.GiveWay();
    }

private:
    Scheduler& m_scheduler;
};

Controller::Controller(Scheduler& scheduler, SimulatedCloud& cloud, support::ManualClock& clock,
                       Journal& journal)
    : m_scheduler(scheduler), m_cloud(cloud), m_clock(clock), m_journal(journal),
      m_log(LogInMemory(scheduler))
{
    devhost::Framework& parts = devhost::TheFramework();
    parts.transport = &cloud;
    parts.diagnostics = this;
    parts.sleeper = &scheduler;
    parts.workers = &scheduler;
    parts.wakeMainLoop = [this] {
        ++m_wakeCount;
        m_scheduler.WakeHost();
        m_scheduler.GiveWay();
        return 1;
    };
    parts.redirectUri = [](int schema) {
        return "http://127.0.0.1:8099/oauth/redirect/" + std::to_string(schema);
    };
    m_scheduler.onHostSleep = [this] {
        m_journal.Break("idle-never-waits", "the host thread was put to sleep");
    };
    m_store.onSaved = [this] {
        m_saved = Snapshot();
        m_journal.Count("saves");
    };
    SetCalendar(0);
    StartSystem();
}

Controller::~Controller()
{
    m_store.dead = true;
    m_cloud.Cut(true);
    m_system.reset();
    devhost::TheFramework() = {};
}

devhost::System& Controller::System()
{
    return *m_system;
}

void Controller::StartSystem()
{
    devhost::System::Options options;
    options.plugins = {support::DriverEntryPoints()};
    options.store = &m_store;
    options.observer = this;
    m_system = std::make_unique<WatchedSystem>(std::move(options), m_scheduler);
    m_system->Start();
    OnUsersChanged();
    if (m_system->Saving().damaged)
        m_journal.Break("saved-is-read", "the host calls its own configuration damaged");
    CompareWithSaved();
}

void Controller::CompareWithSaved()
{
    if (const std::string now = Snapshot(); !m_saved.empty() && now != m_saved)
        m_journal.Break("saved-is-read", "saved was\n" + m_saved + "and read was\n" + now);
}

int Controller::Round()
{
    if (m_wakeCount == 0)
        m_scheduler.Wait(static_cast<std::uint64_t>(devhost::MainLoop::kRound.count()));
    const int wakeCount = std::min(m_wakeCount, devhost::MainLoop::kMaxWakes);
    m_wakeCount -= wakeCount;
    m_system->RunOnce(wakeCount);
    if (m_store.dead)
        Kill();
    return wakeCount;
}

void Controller::Restart()
{
    m_journal.Event("host     restarts");
    m_journal.Count("restarts");
    if (const std::string error = m_system->Stop(); !error.empty())
        m_journal.Event("host     the last save failed: " + error);
    m_system.reset();
    StartSystem();
}

void Controller::Kill()
{
    m_journal.Event("host     is killed");
    m_journal.Count("kills");
    m_store.dead = true;
    m_cloud.Cut(true);
    m_system.reset();
    m_store.dead = false;
    m_store.nextSave = MortalStore::Death::None;
    m_cloud.Cut(false);
    StartSystem();
}

void Controller::KillAtNextSave(bool before)
{
    m_store.nextSave = before ? MortalStore::Death::BeforeWriting : MortalStore::Death::AfterWriting;
}

void Controller::SetCalendar(std::int64_t offS)
{
    m_calendarOffS = offS;
    const auto cloud = std::chrono::floor<std::chrono::seconds>(m_cloud.Now());
    m_clock.SetCalendar(cloud.time_since_epoch().count() + offS);
}

void Controller::Trace(bool enabled)
{
    m_system->SetTraceAll(enabled);
}

void Controller::OnUsersChanged()
{
    std::vector<std::string> secrets;
    for (int slot = 0; slot < devhost::SecurityServer::kSlots; ++slot) {
        if (const CUser* user = m_system->Security().GetUserAtDoorLockSlot(slot))
            secrets.emplace_back(static_cast<char*>(user->PIN_DoorLock()));
    }
    m_log.Secrets().SetKnownSecrets(std::move(secrets));
}

std::vector<CVestaraInterface*> Controller::Accounts()
{
    std::vector<CVestaraInterface*> accounts;
    accounts.reserve(static_cast<std::size_t>(m_system->NBridges()));
    for (int i = 0; i < m_system->NBridges(); ++i)
        accounts.push_back(dynamic_cast<CVestaraInterface*>(m_system->Bridge(i)->DeviceInterface()));
    return accounts;
}

std::vector<CPortivo*> Controller::Locks()
{
    const int count = m_system->NDoorLock(COMPONENT_FILTER_ALL);
    std::vector<CPortivo*> locks;
    locks.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        locks.push_back(dynamic_cast<CPortivo*>(m_system->DoorLock(i)));
    return locks;
}

CVestaraInterface* Controller::AccountOf(const CPortivo& lock)
{
    const CNetworkBridge* bridge = m_system->BridgeById(lock.BridgeID());
    return bridge ? dynamic_cast<CVestaraInterface*>(bridge->DeviceInterface()) : nullptr;
}

bool Controller::HasUsableToken(CVestaraInterface& account)
{
    const std::string token = Plain(CVestaraInterfaceProbe(account).AccessToken());
    return !token.empty() &&
           !devhost::RequestFault("GET / HTTP/1.1\r\nAuthorization: Bearer " + token + "\r\n\r\n");
}

std::string Controller::Snapshot()
{
    std::string text;
    const auto add = [&text](const std::string& field) { text += field + "|"; };
    for (CVestaraInterface* account : Accounts()) {
        CVestaraInterfaceProbe fields(*account);
        add("account " + std::to_string(account->BridgeID()));
        // Those without a refresh token of their own are given another's access token at the start.
        if (const CQXString refresh = fields.RefreshToken(); !refresh.IsEmpty()) {
            add(Plain(refresh));
            add(Plain(fields.AccessToken()));
        }
        add(Plain(account->LocationID()));
        add(Plain(account->LocationName()));
        text += "\n";
    }
    for (CPortivo* lock : Locks()) {
        add("lock " + std::to_string(lock->ID()));
        add(Plain(lock->DeviceID()));
        add(Plain(lock->Name()));
        add(std::to_string(m_system->BridgeById(lock->BridgeID()) ? lock->BridgeID() : 0));
        add(std::to_string(lock->UserCodesEnabled()));
        // One that was under way is unknown after a start.
        add(std::to_string(lock->State() == CDoorLock::STATE_IN_TRANSIT ? 0 : lock->State()));
        for (const int user : lock->EnabledUsers())
            add(std::to_string(user));
        text += "\n";
    }
    for (int slot = 0; slot < devhost::SecurityServer::kSlots; ++slot) {
        if (CUser* user = m_system->Security().GetUserAtDoorLockSlot(slot)) {
            add("user " + std::to_string(slot));
            add(Plain(user->Name()));
            add(Plain(user->Email()));
            add(Plain(user->PIN_DoorLock()));
            text += "\n";
        }
    }
    return text;
}

void Controller::OnTrace(const std::string& producer, std::string_view line)
{
    m_log.OnTrace(producer, line);
    OnLine();
}

void Controller::OnReport(const std::string& source, int line, std::string_view message)
{
    m_journal.Count("reports");
    m_log.OnReport(source, line, message);
    OnLine();
}

void Controller::OnLine()
{
    for (const devhost::LogEntry& entry : m_log.EntriesSince(m_lastLine, 16)) {
        m_lastLine = entry.sequence;
        std::string source = entry.producer;
        if (entry.report)
            source.append(":").append(std::to_string(entry.line));
        m_journal.Event("log      " + source + ": " + entry.text);
        for (const std::string& secret : m_secrets) {
            if (StandsAlone(entry.text, secret))
                m_journal.Break("no-secret-in-log", "a line of " + entry.producer + " shows a secret");
        }
    }
    m_scheduler.GiveWay();
}

} // namespace sim
