#pragma once
// Bases of the driver's account interface: a device interface, and one that keeps clients.

#include "host/Bridge.h"
#include "host/Definitions.h"
#include "host/PropertySet.h"
#include "host/QXStream.h"
#include "host/Trace.h"

#include <vector>

// One link to the outside. Host thread unless a line says otherwise.
//
// Order of the host's calls: construction; NetworkBridge() and BridgeID() set; ReadClientData when the
// configuration has a record; OnInterfaceInit once all interfaces and components are there; then
// OnInterfaceIdle again and again while Run is on the worker thread; UnInstall, after the worker was
// stopped and joined, when the interface is removed.
class CDeviceInterface : public CBridgeClient, public CTraceProducer, public CEventLogger
{
public:
    explicit CDeviceInterface(CDeviceInterfaceDef* pDefinition);

    CNetworkBridge* NetworkBridge() const { return m_pNetworkBridge; } // null before it is attached
    void NetworkBridge(CNetworkBridge* pBridge) { m_pNetworkBridge = pBridge; }

    // The host's flag word of this interface; the driver only sets bits and passes the word on.
    int Flags() const { return m_iFlags; }
    void SetFlagBits(int iBits) { m_iFlags |= iBits; }

    // The bridge client's record and the flag word.
    int ReadClientData(CQXFile* pFile, int iVersion) override;
    int WriteClientData(CQXFile* pFile, int iVersion) override;

    virtual void IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx);
    virtual int UnInstall();
    virtual void Reset() {}
    virtual void Discover() {}
    virtual CQXString GetAuthURL() { return CQXString(); }
    virtual void ProcessAuthCode(CQXString) {}
    virtual int CanAccept(int /*iComponentType*/) { return 0; }
    virtual void OnInterfaceInit() {}
    virtual void OnInterfaceIdle() {}
    virtual void GetExtBridgeConfig(CQXMSG*) {}
    virtual void SetExtBridgeConfig(CQXMSG*) {}
    virtual int Run() { return 0; } // worker thread; returns when the bridge shuts down
    virtual CQXString GetResetText() { return "Reset"; }
    virtual int UpdateProperty(CSystemProperty*, PROPERTY_UPDATE_CTX, CPropertySet*, int, int) { return 0; }
    virtual int ExecuteAction(int, CPropertySet*) { return 0; }
    virtual CQXString GetActionURL(int) { return CQXString(); }

private:
    CNetworkBridge* m_pNetworkBridge = nullptr;
    int m_iFlags;
};

// An interface with clients. The list borrows them: a client joins once, and leaves when it is destroyed.
class CDeviceNetwork : public CDeviceInterface
{
public:
    // The two numbers are the host's own pacing values, handed through.
    CDeviceNetwork(CDeviceInterfaceDef* pDefinition, int iReserved1, unsigned uReserved2);
    ~CDeviceNetwork() override;

    int NClients() const { return static_cast<int>(m_Clients.size()); }
    // Null out of range. Inline: drivers walk the list for every device that a cloud reports.
    CBridgeClient* Client(int i) const
    {
        return i >= 0 && i < NClients() ? m_Clients[static_cast<std::size_t>(i)] : nullptr;
    }
    void AddClient(CBridgeClient* pClient);
    void RemoveClient(CBridgeClient* pClient);

private:
    int m_iReserved1;
    unsigned m_uReserved2;
    std::vector<CBridgeClient*> m_Clients;
};
