#pragma once
// One request to the cloud, from the moment it is queued until its reply has been processed.

#include "host/JSON.h"
#include "host/QXString.h"

#include <cstdint>
#include <memory>

// Kind of request. Values outside the list are legal inputs everywhere.
enum VestaraMethod : std::int32_t {
    METHOD_TOKEN_CODE = 0,    // token request with an authorisation code: form body, OAuth host
    METHOD_TOKEN_REFRESH = 1, // token request with the refresh token: form body, OAuth host
    METHOD_READ = 2,          // GET on the API host
    METHOD_WRITE = 3,         // POST or PUT on the API host, JSON body; the command id decides which
    METHOD_DELETE = 4,        // DELETE on the API host
};

// Every request that is not a token request carries the bearer token and speaks the vendor's media type. The
// comparison is unsigned, so a negative method counts as one of these.
inline bool IsApiMethod(VestaraMethod eMethod)
{
    return static_cast<std::uint32_t>(eMethod) > 1u;
}

// Resource operation. Values outside the list are legal inputs everywhere.
enum CommandID : std::int32_t {
    CMD_TOKEN_AUTHORIZE = 0,
    CMD_TOKEN_REFRESH = 1,
    CMD_LOCATIONS_LIST = 2,
    CMD_LOCATION_GET = 3,
    CMD_DEVICES_STATUS = 4,
    CMD_DEVICES_DISCOVER = 5,
    CMD_DEVICE_GET = 6,
    CMD_ACCESS_PERSONS_LIST = 7,
    CMD_ACCESS_PERSON_CREATE = 8,
    CMD_ACCESS_PERSON_UPDATE = 9,
    CMD_ACCESS_PERSON_DELETE = 10,
    CMD_ACCESSES_QUERY = 11,
    CMD_ACCESSES_LIST = 12,
    CMD_ACCESS_GRANT = 13,
    CMD_ACCESS_REVOKE = 14,
    CMD_ACCESS_PERSON_NOTIFY = 15,
    CMD_DEVICE_LOCK = 16,
    CMD_DEVICE_UNLOCK = 17,
};

// In exactly one queue or one pair of hands at a time, so only one thread touches it.
class CVestaraCommand
{
public:
    // Any id may be empty. For CMD_ACCESS_PERSON_CREATE the user id is the decimal number of the controller's
    // user slot; elsewhere it is a cloud id.
    CVestaraCommand(VestaraMethod eMethod, CommandID eCommand, CQXString sLocationID, CQXString sDeviceID,
                    CQXString sUserID, CQXString sAccessID);
    CVestaraCommand(const CVestaraCommand&) = delete;
    CVestaraCommand& operator=(const CVestaraCommand&) = delete;

    VestaraMethod Method() const { return m_eMethod; }
    CommandID GetCommandID() const { return m_eCommand; }
    const CQXString& LocationID() const { return m_sLocationID; }
    const CQXString& DeviceID() const { return m_sDeviceID; }
    const CQXString& UserID() const { return m_sUserID; }
    const CQXString& AccessID() const { return m_sAccessID; }

    // A device object that was routed: where among the interface's clients its lock was found then; -1
    // unknown.
    int ClientIndex() const { return m_iClient; }
    void ClientIndex(int iClient) { m_iClient = iClient; }

    CJSONObject* Response() const { return m_pResponse.get(); } // null before the reply; stays the command's
    void Response(CJSONObject* pResponse); // deletes the reply held before, owns the new one

private:
    VestaraMethod m_eMethod;
    CommandID m_eCommand;
    CQXString m_sLocationID;
    CQXString m_sDeviceID;
    CQXString m_sUserID;
    CQXString m_sAccessID;
    int m_iClient = -1;
    std::unique_ptr<CJSONObject> m_pResponse;
};
