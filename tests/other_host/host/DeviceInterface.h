#pragma once
// Bases of an account: what hangs on a bridge comes behind what traces here.

#include "host/Bridge.h"
#include "host/Definitions.h"
#include "host/PropertySet.h"
#include "host/QXStream.h"
#include "host/Trace.h"

class CDeviceInterface : public CTraceProducer, public CBridgeClient
{
public:
    explicit CDeviceInterface(CDeviceInterfaceDef* definition);
    ~CDeviceInterface() override;
    virtual int Run() = 0;
    virtual void OnInterfaceIdle() = 0;
    virtual void OnInterfaceInit() = 0;
    virtual int UnInstall() = 0;
    virtual void Reset() = 0;
    virtual void Discover() = 0;
    virtual CQXString GetResetText() = 0;
    virtual CQXString GetAuthURL() = 0;
    virtual void ProcessAuthCode(CQXString code) = 0;
    virtual int CanAccept(int type) = 0;
    virtual void SetExtBridgeConfig(CQXMSG* message) = 0;
    virtual void GetExtBridgeConfig(CQXMSG* message) = 0;
    virtual void IFaceDoPropertyExchange(CPropertySet* set, PROPERTYSET_DDX ddx);
    int WriteClientData(CQXFile* file, int version) override;
    int ReadClientData(CQXFile* file, int version) override;

    CNetworkBridge* NetworkBridge() const;
    int Flags() const;
    void SetFlagBits(int bits);

    CNetworkBridge* network = nullptr; // the host's own
    int flags = 0;
};

class CDeviceNetwork : public CDeviceInterface
{
public:
    CDeviceNetwork(CDeviceInterfaceDef* definition, int reserved1, unsigned reserved2);
    ~CDeviceNetwork() override;
    int NClients() const;
    CBridgeClient* Client(int i) const;
    void AddClient(CBridgeClient* joining);
    void RemoveClient(CBridgeClient* leaving);

private:
    struct Own;
    const std::unique_ptr<Own> m_clients;
};
