// The system at work: rounds of the main loop, restarts in place, saves and notices.

#include "devhost/framework/record/Configuration.h"
#include "devhost/framework/system/System.h"

#include <algorithm>
#include <utility>

namespace devhost
{

namespace
{

constexpr int kReportSave = 101;

// A disk that is full does not get better by asking twenty times a second.
constexpr std::uint32_t kSaveRetryMs = 30000;

} // namespace

void System::RunOnce(int wakeCount)
{
    // Before the idle calls, so that a page is built again in a round after its notice: whoever gives notice
    // may still be changing what the page shows.
    m_pages.RebuildDue(
        [this](unsigned bridgeId) {
            Account* account = AccountById(bridgeId);
            return account ? account->interface.get() : nullptr;
        },
        [this](unsigned bridgeId) {
            if (m_options.observer)
                m_options.observer->OnPageRebuilt(bridgeId);
        });
    if (m_idleOn)
        RunIdleCalls(wakeCount);
    SaveIfAsked();
    AnnounceChanges();
}

void System::RunIdleCalls(int wakeCount)
{
    // Over copies: an idle call may remove components, its own included, and restart the system.
    std::vector<unsigned> bridges;
    for (const auto& account : m_accounts)
        bridges.push_back(account->bridge.ID());
    for (const unsigned bridgeId : bridges) {
        Account* account = AccountById(bridgeId);
        for (int i = 0; account && i < std::max(wakeCount, 1); ++i) {
            account->interface->OnInterfaceIdle();
            account = AccountById(bridgeId);
        }
    }
    const int removalsBefore = m_removals;
    for (CSystemComponent* component : Components()) {
        if (m_removals == removalsBefore || Holds(component))
            component->OnComponentIdle();
    }
}

void System::SaveIfAsked()
{
    if (!m_savePending.load() || (m_saveFailed && m_sinceFailedSave.QXTickCount() < kSaveRetryMs))
        return;
    Save();
}

std::string System::Save()
{
    // Lowered first, so that a change during the writing asks again.
    m_savePending.store(false);
    if (!m_options.store)
        return {};
    std::string error;
    const auto text = Configuration(*this).Write(&error);
    if (text && m_keepAside) {
        error = m_options.store->KeepAside();
        m_keepAside = !error.empty();
    }
    if (error.empty())
        error = m_options.store->Save(*text);
    m_saveFailed = !error.empty();
    m_saving.lastError = error;
    if (m_saveFailed) {
        AssertWrap("system", kReportSave, ("the configuration was not saved: " + error).c_str());
        m_sinceFailedSave.Restart();
        m_savePending.store(true);
    } else {
        ++m_saving.saves;
    }
    if (m_options.observer)
        m_options.observer->OnSaved(error);
    return error;
}

SaveState System::Saving() const
{
    SaveState state = m_saving;
    state.pending = m_savePending.load();
    if (m_options.store)
        state.keptAside = m_options.store->KeptAside();
    return state;
}

void System::AnnounceChanges()
{
    std::set<unsigned> locks;
    {
        const std::lock_guard guard(m_changedMutex);
        locks.swap(m_changedLocks);
    }
    const bool interfaces = std::exchange(m_interfacesChanged, false);
    const bool restarted = std::exchange(m_restarted, false);
    if (!m_options.observer)
        return;
    if (restarted)
        m_options.observer->OnRestarted();
    if (interfaces)
        m_options.observer->OnInterfacesChanged();
    for (const unsigned componentId : locks)
        m_options.observer->OnLockChanged(componentId);
}

void System::NotifyConfigChanged(const char* /*pSource*/, int /*iLine*/)
{
    m_pages.MarkChanged();
    m_interfacesChanged = true;
}

void System::NotifyInterfaceChanged()
{
    m_pages.MarkChanged();
    m_interfacesChanged = true;
}

void System::OnSystemExit1(const char* source, int line, int /*iReserved*/)
{
    if (std::this_thread::get_id() != m_hostThread) {
        // A worker that waited here for its own end would wait for ever.
        AssertWrap(source, line, "a restart was asked for on another thread than the host's: refused");
        return;
    }
    m_idleOn = false;
    StopWorkers();
    ++m_restarts;
}

void System::OnSystemInit()
{
    const int removalsBefore = m_removals;
    for (CSystemComponent* component : Components()) {
        if (m_removals == removalsBefore || Holds(component))
            component->OnComponentInit();
    }
    for (int i = 0; i < NBridges(); ++i)
        m_accounts[static_cast<std::size_t>(i)]->interface->OnInterfaceInit();
}

void System::OnPostSystemInit()
{
    const int removalsBefore = m_removals;
    for (CSystemComponent* component : Components()) {
        if (m_removals == removalsBefore || Holds(component))
            component->OnPostSystemInit();
    }
    m_restarted = true;
    m_idleOn = !m_stopped;
    StartWorkers();
}

void System::StartWorkers()
{
    if (!m_options.workers || m_stopped)
        return;
    for (const auto& account : m_accounts)
        account->worker->Start();
}

void System::StopWorkers()
{
    for (const auto& account : m_accounts)
        account->worker->RequestStop();
    for (const auto& account : m_accounts)
        account->worker->Stop();
}

} // namespace devhost
