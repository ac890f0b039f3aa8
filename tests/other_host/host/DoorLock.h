#pragma once
// Base of every door lock.

#include "host/QXTimer.h"
#include "host/SystemComponent.h"

class CDoorLock : public CSystemComponent
{
public:
    enum STATE : int { STATE_UNKNOWN = 0, STATE_SECURED = 1, STATE_UNSECURED = 2, STATE_IN_TRANSIT = 3 };

    explicit CDoorLock(CSystemComponentDef* definition);
    ~CDoorLock() override;
    int WriteData(CQXFile* file, int version) override;
    int ReadData(CQXFile* file, int version) override;
    int UnInstall() override;
    void OnPostSystemInit() override;
    void RegisterEventServer() override;

    virtual int SendHardwareSlotConfig(int slot, QXT_SLOT_CONFIG* config) = 0;
    virtual void RegisterErrorState(CQXString error);
    virtual void RegisterUnknownState();
    virtual void RegisterWorking(int working);
    virtual void RegisterLockUnsecured(int user);
    virtual void RegisterLockSecured(int user);
    virtual void RegisterProgressTime(unsigned seconds);
    virtual void RegisterProgress(int percent);
    virtual void RegisterSignalStrength(int level);
    virtual void RegisterBatteryLevel(int percent);

    int State() const;
    int Working() const;
    int BatteryLevel() const;
    int UserCodesEnabled() const;
    void EnableUserCodes(int enabled);
    int IsUserEnabled(int user) const;
    CQXString SignalStrengthText() const;
    void RegisterUnlockCommand(int user);
    void WriteState();

    struct Own; // the host's own
    const std::unique_ptr<Own> lock;

protected:
    void RemoteLock(int remote);
    void LockState(int state);

    bool m_bWriteStatePending = false;
    CQXTimer m_tmrWriteState;
    CQXTimer m_tmrWorking;
};
