#pragma once
// Bridges: the host's record of each configured interface, and the part of an object that hangs on one.

#include "host/HTTP.h"
#include "host/QXString.h"

#include <atomic>
#include <utility>

class CDeviceInterface;
class CDeviceNetwork;
class CQXFile;

// One configured interface. Kept and ordered by CSystem. Host thread, except where a line says otherwise.
class CBridge
{
public:
    CBridge(unsigned uID, int iInterfaceType) : m_uID(uID), m_iInterfaceType(iInterfaceType) {}
    virtual ~CBridge() = default;
    CBridge(const CBridge&) = delete;
    CBridge& operator=(const CBridge&) = delete;

    unsigned ID() const { return m_uID; }
    int InterfaceType() const { return m_iInterfaceType; }
    CDeviceInterface* DeviceInterface() const { return m_pDeviceInterface; } // null until one is attached
    void DeviceInterface(CDeviceInterface* pInterface) { m_pDeviceInterface = pInterface; }
    const CQXString& Name() const { return m_sName; }
    void Name(CQXString sName) { m_sName = std::move(sName); }

private:
    unsigned m_uID;
    int m_iInterfaceType;
    CDeviceInterface* m_pDeviceInterface = nullptr;
    CQXString m_sName;
};

// A bridge with a worker thread and traffic counters.
class CNetworkBridge : public CBridge, public CGeneralCommThread
{
public:
    using CBridge::CBridge;
    int ShuttingDown() const { return m_bShuttingDown.load(); } // any thread
    void ShuttingDown(int bShuttingDown) { m_bShuttingDown.store(bShuttingDown); }

private:
    std::atomic<int> m_bShuttingDown{0};
};

// The part of an object that is attached to a bridge and known to the cloud by a device id. Host thread.
class CBridgeClient
{
public:
    CBridgeClient(int iInterfaceType, int iReserved);
    virtual ~CBridgeClient(); // leaves its network's client list
    CBridgeClient(const CBridgeClient&) = delete;
    CBridgeClient& operator=(const CBridgeClient&) = delete;

    unsigned BridgeID() const { return m_uBridgeID; }
    void BridgeID(unsigned uID) { m_uBridgeID = uID; }
    const CQXString& DeviceID() const { return m_sDeviceID; }
    void DeviceID(CQXString sID) { m_sDeviceID = std::move(sID); }
    CBridge* Bridge() const { return m_pBridge; }
    void SetBridge(CBridge* pBridge) { m_pBridge = pBridge; } // borrowed; the host clears it with the bridge

    // The bridge id and the device id. 1 on success, 0 at the first step that fails; what a failed read did
    // not reach stays unchanged.
    virtual int ReadClientData(CQXFile* pFile, int iVersion);
    virtual int WriteClientData(CQXFile* pFile, int iVersion);

private:
    friend class CDeviceNetwork;
    int m_iInterfaceType;
    int m_iReserved;
    unsigned m_uBridgeID = 0;
    CQXString m_sDeviceID;
    CBridge* m_pBridge = nullptr;
    CDeviceNetwork* m_pNetwork = nullptr; // the client list that holds this object, if any
};
