// Builds the parts of a request that depend on the command alone; checks and order are the assembly's work.

#include "cloud/RequestText.h"

#include "access/AccessPerson.h"
#include "cloud/CloudConstants.h"
#include "cloud/Paths.h"
#include "cloud/Text.h"

const char* HostName(VestaraMethod eMethod)
{
    switch (eMethod) {
    case METHOD_TOKEN_CODE:
    case METHOD_TOKEN_REFRESH:
        return kOAuthHost;
    case METHOD_READ:
    case METHOD_WRITE:
    case METHOD_DELETE:
        return kApiHost;
    }
    return "";
}

namespace
{

CQXString Target(const char* pVerb, const CVestaraCommand& Command)
{
    CQXString sTarget(pVerb);
    sTarget += FilledPath(Command);
    return sTarget;
}

} // namespace

CQXString ReadTarget(const CVestaraCommand& Command)
{
    constexpr const char* pVerb = "GET ";
    switch (Command.GetCommandID()) {
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
    case CMD_DEVICE_GET:
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESSES_LIST:
        return Target(pVerb, Command);
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
    case CMD_ACCESS_PERSON_CREATE:
    case CMD_ACCESS_PERSON_UPDATE:
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESS_GRANT:
    case CMD_ACCESS_REVOKE:
    case CMD_ACCESS_PERSON_NOTIFY:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        break;
    }

    // A command that is no read goes out without a path, on purpose.
    return pVerb;
}

CQXString WriteTarget(const CVestaraCommand& Command)
{
    // The command alone decides; the method only chooses the headers of the body.
    switch (Command.GetCommandID()) {
    case CMD_ACCESS_PERSON_CREATE:
    case CMD_ACCESS_GRANT:
    case CMD_ACCESS_PERSON_NOTIFY:
        return Target("POST ", Command);
    case CMD_ACCESS_PERSON_UPDATE:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        return Target("PUT ", Command);
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESS_REVOKE:
        return Target("DELETE ", Command);
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
    case CMD_DEVICE_GET:
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESSES_LIST:
        break;
    }
    return CQXString();
}

bool HasBody(CommandID eCommand)
{
    switch (eCommand) {
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESS_REVOKE:
    case CMD_ACCESS_PERSON_NOTIFY:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        return false;
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
    case CMD_DEVICE_GET:
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESS_PERSON_CREATE:
    case CMD_ACCESS_PERSON_UPDATE:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESSES_LIST:
    case CMD_ACCESS_GRANT:
        break;
    }
    return true;
}

CQXString TokenCodeForm(const CQXString& sAuthCode, const CQXString& sRedirectURI)
{
    CQXString sForm;
    sForm.Format("code=%s&client_id=%s&client_secret=%s&redirect_uri=%s&grant_type=authorization_code",
                 Text(sAuthCode), kClientID, kClientSecret, Text(sRedirectURI));
    return sForm;
}

CQXString TokenRefreshForm(const CQXString& sRefreshToken)
{
    CQXString sForm;
    sForm.Format("client_id=%s&client_secret=%s&refresh_token=%s&grant_type=refresh_token", kClientID,
                 kClientSecret, Text(sRefreshToken));
    return sForm;
}

void AddNewPerson(CJSONObject* pRoot, const CAccessPerson& Person)
{
    pRoot->AddObjectString("type", "access_user");
    CJSONObject* pAttributes = pRoot->AddObjectStruct("attributes");
    pAttributes->AddObjectString("name", Text(Person.Name()));
    if (Person.HasEmail())
        pAttributes->AddObjectString("email", Text(Person.Email()));
    pAttributes->AddObjectString("pin", Text(Person.PinCode()));
}

void AddChangedPerson(CJSONObject* pRoot, const CAccessPerson& Person)
{
    // Neither type nor e-mail, unlike a new person, on purpose.
    CJSONObject* pAttributes = pRoot->AddObjectStruct("attributes");
    pAttributes->AddObjectString("name", Text(Person.Name()));
    pAttributes->AddObjectString("pin", Text(Person.PinCode()));
}

void AddGrantedLock(CJSONObject* pRoot, const CQXString& sDeviceID)
{
    CJSONObject* pAttributes = pRoot->AddObjectStruct("attributes");
    pAttributes->AddObjectString("accessible_id", Text(sDeviceID));
    pAttributes->AddObjectString("accessible_type", "lock");
}
