#pragma once
// The system; it and its family have no virtual member.

#include "host/Bridge.h"
#include "host/QXStream.h"

class CDoorLock;
class CSystemComponent;
struct QXT_SYSCONFIG_CHANGE_SRC;

enum FACTORY_MODE : int { FACTORY_MODE_STORED, FACTORY_MODE_NEW };
enum COMPONENT_FILTER_TYPE : int { COMPONENT_FILTER_ALL };

class CSystemFamily
{
public:
    CSystemComponent* Component(int i);
    int NComponents(COMPONENT_FILTER_TYPE filter);
    CSystemComponent* AddNewComponent(int type, CQXString name, FACTORY_MODE mode, CQXFile* file,
                                      QXT_SYSCONFIG_CHANGE_SRC* source);
    void DeleteComponent(CSystemComponent* removed, QXT_SYSCONFIG_CHANGE_SRC* source);
    void OnComponentAutoInstall(CSystemComponent* component);
};

class CSystem
{
public:
    static CSystem* Instance();
    CSystemFamily* FamilyByFamily(int family);
    CDoorLock* DoorLock(int i);
    int NDoorLock(COMPONENT_FILTER_TYPE filter);
    CBridge* Bridge(int i);
    int NBridges();
    CQXString GetOAuthState(unsigned bridge);
    void NotifyWrite();
    void NotifyConfigChanged(const char* source, int line);
    void NotifyInterfaceChanged();
    void OnSystemExit1(const char* source, int line, int reserved);
    void OnSystemInit();
    void OnPostSystemInit();
};
