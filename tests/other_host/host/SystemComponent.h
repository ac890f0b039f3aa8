#pragma once
// Base of every component.

#include "host/Definitions.h"
#include "host/QXStream.h"
#include "host/Trace.h"

#include <memory>

struct QXT_SLOT_CONFIG;

class CSystemComponent : public CTraceProducer
{
public:
    explicit CSystemComponent(CSystemComponentDef* definition);
    virtual int WriteData(CQXFile* file, int version);
    virtual int ReadData(CQXFile* file, int version);
    virtual int ExecuteCommand(int command, int argument) = 0;
    virtual int CommandStackEmpty() = 0;
    virtual int ConnectionType() = 0;
    virtual void OnComponentIdle() = 0;
    virtual void OnComponentInit();
    virtual void OnPostSystemInit();
    virtual void RegisterEventServer();
    virtual void GetExtendedConfig(CQXMSG* message) = 0;
    virtual void SetExtendedConfig(CQXMSG* message) = 0;
    virtual int UnInstall();
    ~CSystemComponent() override;

    void Install();
    unsigned ID() const;
    void ID(unsigned id);
    CQXString Name() const;
    void Name(CQXString name);
    int ComponentType() const;
    void SetComponentFlagBits(unsigned bits);

    struct Own; // the host's own
    const std::unique_ptr<Own> component;
};
