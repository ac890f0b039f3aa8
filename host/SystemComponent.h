#pragma once
// Base of every component of the system.

#include "host/Definitions.h"
#include "host/QXStream.h"
#include "host/Trace.h"

#include <utility>

struct QXT_SLOT_CONFIG; // one user slot's record for the hardware; handed through

// Host thread, except where a line says otherwise. Created from its definition, owned by its family.
class CSystemComponent : public CTraceProducer, public CEventLogger
{
public:
    explicit CSystemComponent(CSystemComponentDef* pDefinition);

    unsigned ID() const { return m_uID; } // 0 until an id is given
    void ID(unsigned uID) { m_uID = uID; }
    const CQXString& Name() const { return m_sName; }
    void Name(CQXString sName) { m_sName = std::move(sName); }
    int AreaID() const { return m_iAreaID; }
    void AreaID(int iAreaID) { m_iAreaID = iAreaID; }
    int ComponentType() const { return m_iComponentType; }
    int PowerLink() const { return m_iPowerLink; }
    void PowerLink(int iPowerLink) { m_iPowerLink = iPowerLink; }

    // The host's flag word; the driver sets bits in it and never reads them back.
    unsigned ComponentFlags() const { return m_uFlags; }
    void SetComponentFlagBits(unsigned uBits) { m_uFlags |= uBits; }

    // The record in the configuration: id, name, area. 1 on success, 0 at the first step that fails.
    virtual int ReadData(CQXFile* pFile, int iVersion);
    virtual int WriteData(CQXFile* pFile, int iVersion);

    virtual void Install() {}
    virtual int UnInstall(); // 1 on success
    virtual void OnComponentInit() {}
    virtual void OnPostSystemInit() {}
    virtual void OnComponentIdle() {}
    virtual int CommandStackEmpty() { return 1; }
    virtual int ConnectionType() { return 0; }
    virtual int ExecuteCommand(int /*iCommand*/, int /*iArgument*/) { return 0; } // 1 when it was taken
    virtual void GetExtendedConfig(CQXMSG*) {}
    virtual void SetExtendedConfig(CQXMSG*) {}
    virtual void RegisterEventServer() {}

    virtual int HasSettingsConfig() { return 0; }
    virtual CQXString GetResetText() { return "Discover Devices"; }
    virtual CQXString GetDiscoverText() { return "Discover Devices"; }
    virtual void NotifyUpgradeFirmware() {}
    virtual void OnSysCompConfigChanged() {}
    virtual void GetUninstallData() {}
    virtual int XDRVInstallSubDevConfigPages() { return 0; }

private:
    int m_iComponentType;
    unsigned m_uID = 0;
    int m_iAreaID = 0;
    int m_iPowerLink = 0;
    unsigned m_uFlags;
    CQXString m_sName;
};
