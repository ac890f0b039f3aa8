#pragma once
// Servers by their singletons; none has a virtual member.

#include "host/QXString.h"

class CIDServer
{
public:
    static CIDServer* Instance();
    unsigned NewID();
};

class CEventServer
{
public:
    static CEventServer* Instance();
    int DeleteAllByOwner(unsigned owner);
};

class CUser
{
public:
    int ID() const;
    CQXString PIN_DoorLock() const;
    CQXString Name() const;
    CQXString Email() const;
};

class CTabLayoutManager
{
public:
    void AppendAllTabID(unsigned component, int reserved);
};

class CSecurityServer
{
public:
    static CSecurityServer* Instance();
    CUser* GetUserAtDoorLockSlot(int slot);
    CTabLayoutManager* TabLayoutManager();
    void Update();
};
