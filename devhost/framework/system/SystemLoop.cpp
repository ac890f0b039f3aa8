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

void System::RunOnce(int nWakes)
{
    // Before the idle calls, so that a page is built again in a round after its notice: whoever gives notice
    // may still be changing what the page shows.
    m_Pages.RebuildDue(
        [this](unsigned BridgeID) {
            Account* pAccount = AccountByID(BridgeID);
            return pAccount ? pAccount->pInterface.get() : nullptr;
        },
        [this](unsigned BridgeID) {
            if (m_Options.pObserver)
                m_Options.pObserver->OnPageRebuilt(BridgeID);
        });
    if (m_IdleOn)
        RunIdleCalls(nWakes);
    SaveIfAsked();
    AnnounceChanges();
}

void System::RunIdleCalls(int nWakes)
{
    // Over copies: an idle call may remove components, its own included, and restart the system.
    std::vector<unsigned> Bridges;
    for (const auto& pAccount : m_Accounts)
        Bridges.push_back(pAccount->Bridge.ID());
    for (const unsigned BridgeID : Bridges) {
        Account* pAccount = AccountByID(BridgeID);
        for (int i = 0; pAccount && i < std::max(nWakes, 1); ++i) {
            pAccount->pInterface->OnInterfaceIdle();
            pAccount = AccountByID(BridgeID);
        }
    }
    const int RemovalsBefore = m_Removals;
    for (CSystemComponent* pComponent : Components()) {
        if (m_Removals == RemovalsBefore || Holds(pComponent))
            pComponent->OnComponentIdle();
    }
}

void System::SaveIfAsked()
{
    if (!m_SavePending.load() || (m_SaveFailed && m_SinceFailedSave.QXTickCount() < kSaveRetryMs))
        return;
    Save();
}

std::string System::Save()
{
    // Lowered first, so that a change during the writing asks again.
    m_SavePending.store(false);
    if (!m_Options.pStore)
        return {};
    std::string Error;
    const auto Text = Configuration(*this).Write(&Error);
    if (Text && m_KeepAside) {
        Error = m_Options.pStore->KeepAside();
        m_KeepAside = !Error.empty();
    }
    if (Error.empty())
        Error = m_Options.pStore->Save(*Text);
    m_SaveFailed = !Error.empty();
    m_Saving.LastError = Error;
    if (m_SaveFailed) {
        AssertWrap("system", kReportSave, ("the configuration was not saved: " + Error).c_str());
        m_SinceFailedSave.Restart();
        m_SavePending.store(true);
    } else {
        ++m_Saving.Saves;
    }
    if (m_Options.pObserver)
        m_Options.pObserver->OnSaved(Error);
    return Error;
}

SaveState System::Saving() const
{
    SaveState State = m_Saving;
    State.Pending = m_SavePending.load();
    if (m_Options.pStore)
        State.KeptAside = m_Options.pStore->KeptAside();
    return State;
}

void System::AnnounceChanges()
{
    std::set<unsigned> Locks;
    {
        const std::lock_guard Guard(m_ChangedMutex);
        Locks.swap(m_ChangedLocks);
    }
    const bool bInterfaces = std::exchange(m_InterfacesChanged, false);
    const bool bRestarted = std::exchange(m_Restarted, false);
    if (!m_Options.pObserver)
        return;
    if (bRestarted)
        m_Options.pObserver->OnRestarted();
    if (bInterfaces)
        m_Options.pObserver->OnInterfacesChanged();
    for (const unsigned ComponentID : Locks)
        m_Options.pObserver->OnLockChanged(ComponentID);
}

void System::NotifyConfigChanged(const char* /*pSource*/, int /*iLine*/)
{
    m_Pages.MarkChanged();
    m_InterfacesChanged = true;
}

void System::NotifyInterfaceChanged()
{
    m_Pages.MarkChanged();
    m_InterfacesChanged = true;
}

void System::OnSystemExit1(const char* pSource, int iLine, int /*iReserved*/)
{
    if (std::this_thread::get_id() != m_HostThread) {
        // A worker that waited here for its own end would wait for ever.
        AssertWrap(pSource, iLine, "a restart was asked for on another thread than the host's: refused");
        return;
    }
    m_IdleOn = false;
    StopWorkers();
    ++m_Restarts;
}

void System::OnSystemInit()
{
    const int RemovalsBefore = m_Removals;
    for (CSystemComponent* pComponent : Components()) {
        if (m_Removals == RemovalsBefore || Holds(pComponent))
            pComponent->OnComponentInit();
    }
    for (int i = 0; i < NBridges(); ++i)
        m_Accounts[static_cast<std::size_t>(i)]->pInterface->OnInterfaceInit();
}

void System::OnPostSystemInit()
{
    const int RemovalsBefore = m_Removals;
    for (CSystemComponent* pComponent : Components()) {
        if (m_Removals == RemovalsBefore || Holds(pComponent))
            pComponent->OnPostSystemInit();
    }
    m_Restarted = true;
    m_IdleOn = !m_Stopped;
    StartWorkers();
}

void System::StartWorkers()
{
    if (!m_Options.Workers || m_Stopped)
        return;
    for (const auto& pAccount : m_Accounts)
        pAccount->pWorker->Start();
}

void System::StopWorkers()
{
    for (const auto& pAccount : m_Accounts)
        pAccount->pWorker->RequestStop();
    for (const auto& pAccount : m_Accounts)
        pAccount->pWorker->Stop();
}

} // namespace devhost
