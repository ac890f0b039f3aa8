#pragma once
// Bases of the driver's account interface: a device interface, and one that keeps clients.

#include "host/Bridge.h"
#include "host/Definitions.h"
#include "host/PropertySet.h"
#include "host/QXStream.h"
#include "host/Trace.h"

#include <atomic>
#include <memory>
#include <vector>

// One link to the outside. Host thread unless a line says otherwise.
//
// Order of the host's calls: construction; NetworkBridge() and BridgeID() set; ReadClientData when the
// configuration has a record; OnInterfaceInit once all interfaces and components are there; then
// OnInterfaceIdle again and again while Run is on the worker thread; UnInstall, after the worker was
// stopped and joined, when the interface is removed, and nothing after it.
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
//
// Only the host thread changes the list. Any thread may walk it meanwhile, without a lock: the driver's
// worker does, to tell the clients that the account lost its authorisation. Such a walk may miss a client,
// when another joins or leaves during it, and gets null behind the end. The list keeps no client alive:
// clients are destroyed only while the worker is stopped.
class CDeviceNetwork : public CDeviceInterface
{
public:
    // The two numbers are the host's own, handed through.
    CDeviceNetwork(CDeviceInterfaceDef* pDefinition, int iReserved1, unsigned uReserved2);
    ~CDeviceNetwork() override;

    int NClients() const { return m_nClients.load(std::memory_order_acquire); }
    // Null out of range. Inline: drivers walk the list for every device that a cloud reports.
    CBridgeClient* Client(int i) const
    {
        // The count first: a list that has grown to it is published before it.
        if (i < 0 || i >= NClients())
            return nullptr;
        return m_pClients.load(std::memory_order_acquire)[i].load(std::memory_order_acquire);
    }
    void AddClient(CBridgeClient* pClient);
    void RemoveClient(CBridgeClient* pClient);

private:
    void Grow();

    [[maybe_unused]] int m_iReserved1;
    [[maybe_unused]] unsigned m_uReserved2;
    using Slot = std::atomic<CBridgeClient*>;
    std::atomic<int> m_nClients{0};
    std::atomic<Slot*> m_pClients{nullptr}; // the last of the buffers
    // Each twice as long as the one before. Those that were outgrown stay, since a walk may still be in one.
    std::vector<std::unique_ptr<Slot[]>> m_Buffers;
    int m_nSlots = 0; // of the last buffer
};
