#pragma once
// Base of every door-lock component: its states, what a driver registers with it, its users.

#include "host/QXTimer.h"
#include "host/SystemComponent.h"

#include <atomic>
#include <mutex>
#include <set>

// State and working flag are atomic, and the registrations lock what they share, because an account that
// loses its authorisation tells its locks from the worker thread. All the rest is for the host thread.
class CDoorLock : public CSystemComponent
{
public:
    enum STATE : int { STATE_UNKNOWN = 0, STATE_SECURED = 1, STATE_UNSECURED = 2, STATE_IN_TRANSIT = 3 };

    explicit CDoorLock(CSystemComponentDef* pDefinition);

    int State() const { return m_iLockState.load(); }
    int DoorState() const { return m_iDoorState; }
    int BatteryLevel() const { return m_iBatteryLevel; }      // percent as registered, -1 before the first
    int SignalStrength() const { return m_iSignalStrength; }  // as registered, -1 before the first
    int Progress() const { return m_iProgress; }              // percent of the wait for the next heartbeat
    unsigned ProgressTime() const { return m_uProgressTime; } // seconds left of that wait
    // 1 or 0 whatever was set or read, because drivers compare it with what comes back from a page.
    int UserCodesEnabled() const { return m_bUserCodesEnabled; }
    void EnableUserCodes(int bEnabled) { m_bUserCodesEnabled = bEnabled ? 1 : 0; }
    int Working() const { return m_bWorking.load(); } // a command is pending
    virtual int MaxPINLength() { return 16; }
    virtual void NotifyUserSlotChange() {}
    CQXString SignalStrengthText() const;        // for people
    CQXString ErrorText() const;                 // the registered error, empty when there is none
    int LastUser() const { return m_iLastUser; } // who last unsecured it, as RegisterLockUnsecured was given
    int CommandUser() const { return m_iCommandUser; } // what RegisterUnlockCommand was last given

    // Users of the controller that may use this lock, by user id.
    int IsUserEnabled(int iUserID) const { return m_EnabledUsers.contains(iUserID) ? 1 : 0; }
    void EnableUser(int iUserID, int bEnabled);
    const std::set<int>& EnabledUsers() const { return m_EnabledUsers; }

    // The component's record, then user codes, enabled users and the last known state, battery and signal.
    int ReadData(CQXFile* pFile, int iVersion) override;
    int WriteData(CQXFile* pFile, int iVersion) override;
    void Install() override;
    int UnInstall() override;
    void OnPostSystemInit() override;
    void RegisterEventServer() override; // idempotent: locks register more than once

    // Saves the state to the configuration. Registrations ask for it by the deferred flag below.
    void WriteState();

    virtual void RegisterBatteryLevel(int iPercent);
    virtual void RegisterSignalStrength(int iLevel);
    virtual void RegisterProgress(int iPercent);
    virtual void RegisterProgressTime(unsigned uSeconds);

    // A report of the lock's state. Either ends working, and clears the error when the state changed.
    // iUser: 1 for nobody in particular, user number + 100 for an attributed one.
    virtual void RegisterLockSecured(int iUser);
    virtual void RegisterLockUnsecured(int iUser);

    // A command is pending (1: the working timer restarts, the error is cleared) or given up (0).
    virtual void RegisterWorking(int bWorking);
    virtual void RegisterUnknownState();
    virtual void RegisterErrorState(CQXString sError);

    void RegisterUnlockCommand(int iUser); // on whose behalf an unlock was sent

    // Called for a changed user slot of the system or a changed user of this lock. 1 when it was handled.
    virtual int SendHardwareSlotConfig(int /*iSlot*/, QXT_SLOT_CONFIG* /*pConfig*/) { return 0; }

protected:
    void LockState(int iState) { m_iLockState.store(iState); }
    void RemoteLock(int iRemote) { m_iRemoteLock = iRemote; } // 1: reached through a bridge, not wired

    CQXTimer m_tmrWorking;        // since the pending command was given; drivers correct it
    int m_bWriteStatePending = 0; // the state has changed and is to be saved
    CQXTimer m_tmrWriteState;     // since the first change that is not saved

private:
    void ReportedState(int iState, int iUser);

    std::atomic<int> m_iLockState{STATE_UNKNOWN};
    std::atomic<int> m_bWorking{0};
    int m_iRemoteLock = 0;
    int m_iDoorState = 0;
    int m_iBatteryLevel = -1;
    int m_iSignalStrength = -1;
    int m_iProgress = 0;
    unsigned m_uProgressTime = 0;
    int m_bUserCodesEnabled = 1;
    int m_iLastUser = 0;
    int m_iCommandUser = 0;
    std::set<int> m_EnabledUsers;
    mutable std::mutex m_ErrorMutex; // the error is registered from the worker too
    CQXString m_sError;
};
