#pragma once
// One cloud-connected door lock of the controller.

#include "cloud/Attributes.h"
#include "cloud/Command.h"
#include "host/Bridge.h"
#include "host/DoorLock.h"
#include "host/QXTimer.h"

#include <atomic>
#include <cstdint>
#include <ctime>

class CHeartbeat;
class CUser;
class CVestaraInterface;

// Source name in the lock's reports and notices; no file name.
inline constexpr char kLockSource[] = "portivo";

// Type id of the lock component, and the family that locks live in.
inline constexpr int kPortivoType = 1084;
inline constexpr int kLockFamily = 25;

// Created by the host, which owns it. It never talks to the cloud: what it sends goes through its interface's
// command queue, what it learns arrives through ProcessCommand. Host thread, except that the interface's
// worker tells it of a lost authorisation (NeedAuth, RegisterWorking, RegisterUnknownState,
// RegisterErrorState).
class CPortivo : public CDoorLock, public CBridgeClient
{
public:
    explicit CPortivo(CSystemComponentDef* pDefinition);

    // The status page: three texts to show, the user codes switch, the threshold of the battery warning.
    void GetExtendedConfig(CQXMSG* pMsg) override;
    void SetExtendedConfig(CQXMSG* pMsg) override;
    int ConnectionType() override;
    int ReadData(CQXFile* pFile, int iVersion) override;
    int WriteData(CQXFile* pFile, int iVersion) override;
    int UnInstall() override;
    void OnComponentInit() override;
    void OnPostSystemInit() override;
    void OnComponentIdle() override;
    int CommandStackEmpty() override;
    int ExecuteCommand(int iCommand, int iArgument) override;

    // Brings the access person of a user slot up to date in the cloud, and gives or takes the access to this
    // lock. The slot's record is not read. 1 when the slot was handled; what a failed call queued before it
    // failed stays queued.
    int SendHardwareSlotConfig(int iSlot, QXT_SLOT_CONFIG* pConfig) override;
    void RegisterEventServer() override;
    void RegisterWorking(int bWorking) override;
    void RegisterUnknownState() override;
    void RegisterErrorState(CQXString sError) override;

    // Keeps the cached interface in step with the bridge: forgets it when there is no bridge, looks it up
    // when there is one and nothing is cached. A cached pointer is not compared with the bridge again.
    void Init();
    CVestaraInterface* Interface(); // through Init(); null when the bridge has none. Borrowed.

    int Online() const { return m_bOnline; }
    void Online(int bOnline) { m_bOnline = bOnline; }
    int NeedAuth() const { return m_bNeedAuth; }
    void NeedAuth(int bNeedAuth) { m_bNeedAuth = bNeedAuth; }

    // Applies one attribute as the cloud reported it. 1 when it was taken, also when it changed nothing; 0
    // for an empty value, a heartbeat time while offline, or an attribute that is not a lock's.
    int ProcessCommand(Attributes eAttribute, CQXString* pValue);

    void UpdateTraceName();
    void DeviceName(CQXString sName); // the name the cloud reports; empty and equal names change nothing

private:
    friend class CPortivoProbe; // tests look at the fields through it

    // Hands a finished line to the host's report under its fixed number, as the interface's Report does;
    // returns 0.
    int Report(int iNumber, CQXString sText);

    // One attribute of the cloud's record each; the value is not empty.
    void TakeBatteryLevel(const CQXString& sValue);
    void TakeState(const CQXString& sValue);
    void TakeAlive(const CQXString& sValue);
    int TakeConnectedAt(const CQXString& sValue);
    void CorrectHeartbeatTimer(const CHeartbeat& Heartbeat);

    // Steps of a slot call; all need an interface. 1 on success.
    int SyncUser(int iSlot, CUser* pUser);
    int GrantSlot(int iSlot);
    int RevokeSlot(int iSlot);
    int RemoveUser(int iSlot);

    void SuperviseHeartbeat(); // while a command is pending
    void DoHousekeeping();
    int SendLock();
    int SendUnlock(int iUser);
    void QueueWrite(CommandID eCommand); // a write that names this lock and its location; needs an interface

    CVestaraInterface* m_pInterface = nullptr; // borrowed, cached by Init()
    CQXTimer m_tmrProgress;
    CQXTimer m_tmrHousekeeping;
    CQXTimer m_tmrSpare; // started with the others; nothing reads it
    CQXTimer m_tmrBatteryCheck;
    std::int32_t m_bNotifyConfig = 0;
    std::int32_t m_bOnline = 1;
    std::int32_t m_iReserved = 0;             // persisted; nothing else uses it
    std::atomic<std::int32_t> m_bNeedAuth{0}; // also set from the worker
    std::int32_t m_iLowBattery = 30;          // percent; persisted
    CQXString m_sProgrammingCode;
    CQXString m_sSerialNumber;
    std::int32_t m_iLastCommand = 0;        // 0 none, 1 lock, 2 unlock
    std::uint32_t m_iHeartbeatInterval = 0; // milliseconds
    // The last `connected_at`: UTC read as local time, so no calendar time; written with each, read by
    // nothing.
    std::int64_t m_tLastHeartbeat = 0;
    CQXTimer m_tmrUnlock;
    std::int32_t m_iUnlockUser = kNoUnlockUser; // user number minus 1

    static constexpr std::int32_t kNoUnlockUser = 32767;
    static constexpr std::int32_t kLastCommandLock = 1;
    static constexpr std::int32_t kLastCommandUnlock = 2;
};
