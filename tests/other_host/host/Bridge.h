#pragma once
// Bridges, and the part of an object that hangs on one.

#include "host/HTTP.h"
#include "host/QXString.h"

#include <memory>

class CDeviceInterface;
class CQXFile;

class CBridge
{
public:
    explicit CBridge(int type); // the host's own
    virtual ~CBridge();
    int InterfaceType() const;
    CDeviceInterface* DeviceInterface() const;
    CQXString Name() const;
    void Name(CQXString name);

    struct Own; // the host's own
    const std::unique_ptr<Own> bridge;
};

class CNetworkBridge : public CGeneralCommThread, public CBridge
{
public:
    using CBridge::CBridge;
    ~CNetworkBridge() override;
    int ShuttingDown() const;
};

class CBridgeClient
{
public:
    CBridgeClient(int type, int reserved);
    virtual int WriteClientData(CQXFile* file, int version);
    virtual int ReadClientData(CQXFile* file, int version);
    virtual int Generation() { return 2; } // the host's own
    virtual ~CBridgeClient();

    unsigned BridgeID() const;
    void BridgeID(unsigned id);
    CQXString DeviceID() const;
    void DeviceID(CQXString id);
    CBridge* Bridge() const;
    void SetBridge(CBridge* bridge);

    struct Own; // the host's own
    const std::unique_ptr<Own> client;
};
