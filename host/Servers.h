#pragma once
// Servers of the system that the driver asks by their singletons. Host thread, except where a line says
// otherwise.

#include "host/QXString.h"

#include <utility>

class CIDServer
{
public:
    static CIDServer* Instance();
    virtual ~CIDServer() = default;
    virtual unsigned NewID() = 0; // above every id in use
};

class CEventServer
{
public:
    static CEventServer* Instance();
    virtual ~CEventServer() = default;
    // Drops the registrations of an owner (a bridge id). 1 when there were any, else 0.
    virtual int DeleteAllByOwner(unsigned uOwnerID) = 0;
};

// A user of the controller.
class CUser
{
public:
    CUser(int iID, CQXString sName, CQXString sEmail, CQXString sPin)
        : m_iID(iID), m_sName(std::move(sName)), m_sEmail(std::move(sEmail)), m_sPin(std::move(sPin))
    {
    }
    int ID() const { return m_iID; }
    CQXString Name() const { return m_sName; }
    CQXString Email() const { return m_sEmail; }
    CQXString PIN_DoorLock() const { return m_sPin; }

private:
    int m_iID;
    CQXString m_sName;
    CQXString m_sEmail;
    CQXString m_sPin;
};

// Which components appear on which tab of the controller's screens.
class CTabLayoutManager
{
public:
    virtual ~CTabLayoutManager() = default;
    virtual void AppendAllTabID(unsigned uComponentID, int iReserved) = 0; // an id already there is left
};

class CSecurityServer
{
public:
    static CSecurityServer* Instance();
    virtual ~CSecurityServer() = default;
    // The user at a door-lock slot, 0 to 29; null for an empty slot or any other number. Borrowed until the
    // call returns to the host.
    virtual CUser* GetUserAtDoorLockSlot(int iSlot) = 0;
    virtual CTabLayoutManager* TabLayoutManager() = 0;
    virtual void Update() = 0; // shows a changed layout
};
