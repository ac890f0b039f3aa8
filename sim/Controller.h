#pragma once
// The controller of a run: the development host's framework with the driver, which starts, restarts and dies.

#include "devhost/framework/diagnostics/DiagnosticLog.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"
#include "sim/Journal.h"
#include "sim/Scheduler.h"
#include "sim/SimulatedCloud.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace sim
{

inline std::string Plain(const CQXString& text)
{
    return std::string(static_cast<char*>(text), static_cast<std::size_t>(text.GetLength()));
}

/// The configuration's place, which can fail, and in which the host can die.
class MortalStore : public devhost::MemoryStore
{
public:
    enum class Death { None, BeforeWriting, AfterWriting };

    std::string Save(std::string_view newText) override;

    Death nextSave = Death::None; ///< what happens at the next save
    bool dead = false;            ///< whoever saves now is dead already: nothing is written
    bool full = false;            ///< the disk has no room
    std::function<void()> onSaved;
};

/// The host with its round, its log and its life. Host thread, but for the log.
class Controller : private devhost::DiagnosticSink, private devhost::SystemObserver
{
public:
    /// All are borrowed.
    Controller(Scheduler& scheduler, SimulatedCloud& cloud, support::ManualClock& clock, Journal& journal);
    ~Controller() override;

    /// Waits for the next round, or until somebody wakes the loop, and makes it.
    /// @return how often the loop was woken.
    int Round();

    /// An orderly end and a new start from what was stored.
    void Restart();
    /// The process is gone at once, and starts again from what was stored.
    void Kill();
    void KillAtNextSave(bool before);
    void DiskFull(bool full) { m_store.full = full; }
    /// Sets the controller's calendar, off from the cloud's by so many seconds.
    void SetCalendar(std::int64_t offS);
    std::int64_t CalendarOffS() const { return m_calendarOffS; }
    /// The trace switches of all producers.
    void Trace(bool enabled);
    /// Registers what the log must not show, after the users changed.
    void OnUsersChanged();

    devhost::System& System();
    std::vector<CVestaraInterface*> Accounts();
    std::vector<CPortivo*> Locks();
    CVestaraInterface* AccountOf(const CPortivo& lock);

    /// Whether the account has an access token with which a request can be sent: a cloud can give others.
    static bool HasUsableToken(CVestaraInterface& account);
    /// What a restart must bring back, as a text; without what the start itself may change.
    std::string Snapshot();
    /// Locks that have told of a change since the last call.
    std::set<unsigned> TakeChangedLocks() { return std::exchange(m_changedLocks, {}); }
    /// Bytes that the log takes must not hold any of these by themselves.
    void WatchSecrets(std::vector<std::string> secrets) { m_secrets = std::move(secrets); }

private:
    class WatchedSystem;

    void StartSystem();
    void CompareWithSaved();
    void OnTrace(const std::string& producer, std::string_view line) override;
    void OnReport(const std::string& source, int line, std::string_view message) override;
    void OnLine();
    void OnLockChanged(unsigned componentId) override { m_changedLocks.insert(componentId); }

    Scheduler& m_scheduler;
    SimulatedCloud& m_cloud;
    support::ManualClock& m_clock;
    Journal& m_journal;
    devhost::DiagnosticLog m_log;
    std::uint64_t m_lastLine = 0;
    MortalStore m_store;
    std::string m_saved; // Snapshot() at the last save
    std::unique_ptr<WatchedSystem> m_system;
    std::set<unsigned> m_changedLocks;
    std::vector<std::string> m_secrets;
    std::int64_t m_calendarOffS = 0;
    int m_wakeCount = 0;
};

} // namespace sim
