#pragma once
// The system: bridges, families of components, and what a driver asks the host to do later.

#include "host/Bridge.h"
#include "host/QXStream.h"

class CDoorLock;
class CSystemComponent;
struct QXT_SYSCONFIG_CHANGE_SRC; // who changed the configuration; drivers pass null

enum FACTORY_MODE : int { FACTORY_MODE_NEW = 1 }; // a component that no record describes yet
enum COMPONENT_FILTER_TYPE : int { COMPONENT_FILTER_ALL = 0 };

// The components of one kind, in the order in which they were added; the family owns them. Host thread.
class CSystemFamily
{
public:
    virtual ~CSystemFamily() = default;
    virtual int NComponents(COMPONENT_FILTER_TYPE eFilter) = 0;
    virtual CSystemComponent* Component(int i) = 0; // null out of range

    // Creates a component from the definition of this type, names it and appends it. It gets no id and is
    // neither installed nor initialised: the caller does that. Null when no library makes the type.
    virtual CSystemComponent* AddNewComponent(int iType, CQXString sName, FACTORY_MODE eMode, CQXFile* pFile,
                                              QXT_SYSCONFIG_CHANGE_SRC* pSource) = 0;
    // Takes the component out with its event registrations and its tab, and deletes it.
    virtual void DeleteComponent(CSystemComponent* pComponent, QXT_SYSCONFIG_CHANGE_SRC* pSource) = 0;
    virtual void OnComponentAutoInstall(CSystemComponent* pComponent) = 0; // a notice only
};

class CSystem
{
public:
    static CSystem* Instance(); // never null while a driver is loaded
    virtual ~CSystem() = default;

    // Host thread.
    virtual int NBridges() = 0;
    virtual CBridge* Bridge(int i) = 0; // null out of range
    virtual int NDoorLock(COMPONENT_FILTER_TYPE eFilter) = 0;
    virtual CDoorLock* DoorLock(int i) = 0; // in family order; null out of range
    virtual CSystemFamily* FamilyByFamily(int iFamily) = 0;

    // Asks for the configuration to be saved; done by the main loop, once a round. Any thread.
    virtual void NotifyWrite() = 0;

    // Lets open pages be built again, in a later round. Host thread.
    virtual void NotifyConfigChanged(const char* pSource, int iLine) = 0;
    virtual void NotifyInterfaceChanged() = 0;

    // The state value of the OAuth flow for a bridge: random, bound to the bridge, used once. An unknown
    // bridge (0: an interface under construction has none) gives the empty text.
    virtual CQXString GetOAuthState(unsigned uBridgeID) = 0;

    // A restart in place: exit (idle calls off, workers stopped, nothing deleted), then init and post-init,
    // after which workers and idle calls run again. May be asked for inside an idle call or a page call.
    virtual void OnSystemExit1(const char* pSource, int iLine, int iReserved) = 0;
    virtual void OnSystemInit() = 0;
    virtual void OnPostSystemInit() = 0;
};
