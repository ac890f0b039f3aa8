// Assembles the exact bytes of a request from a command and the account; sending them is the send cycle's
// work.

#include "access/AccessPerson.h"
#include "cloud/Number.h"
#include "cloud/RequestText.h"
#include "cloud/Text.h"
#include "host/HTTP.h"
#include "interface/VestaraInterface.h"

#include <optional>

int CVestaraInterface::AssembleData(CQXString* pBody, CVestaraCommand* pCommand)
{
    switch (pCommand->Method()) {
    case METHOD_TOKEN_CODE:
        return AssembleTokenCode(pBody);
    case METHOD_TOKEN_REFRESH:
        return AssembleTokenRefresh(pBody);
    case METHOD_READ:
    case METHOD_WRITE:
    case METHOD_DELETE:
        if (m_sAccessToken.IsEmpty())
            return Report(1807, FormatLine("Missing/bad AccessToken - Cannot read/write to server"));
        return pCommand->Method() == METHOD_READ ? 1 : AssembleChange(pBody, pCommand);
    }
    return 1;
}

int CVestaraInterface::AssembleTokenRefresh(CQXString* pBody)
{
    if (m_sRefreshToken.IsEmpty()) {
        ClientBroadcast(0);
        return Report(1851, FormatLine("Missing RefreshToken - cannot refresh AccessToken"));
    }
    *pBody = TokenRefreshForm(m_sRefreshToken.Get());
    return 1;
}

int CVestaraInterface::AssembleTokenCode(CQXString* pBody)
{
    if (m_sAuthCode.IsEmpty()) {
        ClientBroadcast(0);
        return Report(1832, FormatLine("Missing AuthCode - cannot authenticate"));
    }
    *pBody = TokenCodeForm(m_sAuthCode.Get(), OAuthRedirectURI(m_iRedirectSchema));
    return 1;
}

int CVestaraInterface::AssembleChange(CQXString* pBody, CVestaraCommand* pCommand)
{
    // Every change must name a lock and a location, also one of an access person, whose path needs neither.
    if (pCommand->DeviceID().IsEmpty())
        return Report(1860, FormatLine("Missing DeviceID on WRITE"));
    if (pCommand->LocationID().IsEmpty())
        return Report(1865, FormatLine("Missing LocationID on WRITE"));

    // A body that cannot be built is left empty and the request goes out all the same, on purpose.
    if (HasBody(pCommand->GetCommandID()))
        GenerateMessage(pCommand, pBody);
    return 1;
}

int CVestaraInterface::GenerateMessage(CVestaraCommand* pCommand, CQXString* pBody)
{
    pBody->Empty();
    CJSONObject Root(CJSONObject::KIND_OBJECT);
    const CQXString& sUserID = pCommand->UserID();
    switch (pCommand->GetCommandID()) {
    case CMD_ACCESS_PERSON_CREATE: {
        // The cloud has no id for this person yet, so the command names the controller's user slot.
        const std::optional<CAccessPerson> Person = CopyOfPersonByIndex(IntegerOf(sUserID));
        if (!Person)
            return Report(2102, FormatLine("Could not ID user by index: [%s]", Text(sUserID)));
        if (!Person->NeedsID())
            return Report(2107,
                          FormatLine("User by this index [%s] already has an ID - not creating duplicate",
                                     Text(sUserID)));
        AddNewPerson(&Root, *Person);
        break;
    }
    case CMD_ACCESS_PERSON_UPDATE: {
        // It says index although the look-up is by id (see Report).
        const std::optional<CAccessPerson> Person = CopyOfPersonByID(sUserID);
        if (!Person)
            return Report(2129, FormatLine("Could not ID user by index: [%s]", Text(sUserID)));
        AddChangedPerson(&Root, *Person);
        break;
    }
    case CMD_ACCESS_GRANT:
        // The person only has to exist; the path names it.
        if (!CopyOfPersonByID(sUserID))
            return Report(2145, FormatLine("Could not ID user by index: [%s]", Text(sUserID)));
        AddGrantedLock(&Root, pCommand->DeviceID());
        break;
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
    case CMD_LOCATIONS_LIST:
    case CMD_LOCATION_GET:
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
    case CMD_DEVICE_GET:
    case CMD_ACCESS_PERSONS_LIST:
    case CMD_ACCESS_PERSON_DELETE:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESSES_LIST:
    case CMD_ACCESS_REVOKE:
    case CMD_ACCESS_PERSON_NOTIFY:
    case CMD_DEVICE_LOCK:
    case CMD_DEVICE_UNLOCK:
        break; // nothing of their own to say: an empty object
    }

    Root.Trace(this);
    CHTTPBuf Buffer(0);
    Root.Write(&Buffer, 1, JSON_WRITE_COMPACT);
    *pBody = Buffer.Data();
    return 1;
}

int CVestaraInterface::AssembleHeader(CQXString* pHeader, CVestaraCommand* pCommand)
{
    const VestaraMethod eMethod = pCommand->Method();
    if (!AssembleTarget(pHeader, pCommand))
        return 0;
    *pHeader += " HTTP/1.1\r\n";

    if (IsApiMethod(eMethod)) {
        *pHeader += "Accept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer ";
        *pHeader += m_sAccessToken.Get();
        *pHeader += "\r\n";
    } else {
        *pHeader += "Accept: application/json\r\n";
    }

    *pHeader += "Host: ";
    *pHeader += HostName(eMethod);
    *pHeader += "\r\n";
    return 1;
}

int CVestaraInterface::AssembleTarget(CQXString* pHeader, CVestaraCommand* pCommand)
{
    const CQXString sTemplate = PathByCommandID(pCommand->GetCommandID());
    switch (pCommand->Method()) {
    case METHOD_READ:
        if (sTemplate.IsEmpty())
            return Report(1914, FormatLine("Missing DataPath on READ"));
        *pHeader += ReadTarget(*pCommand);
        return 1;
    case METHOD_TOKEN_CODE:
    case METHOD_TOKEN_REFRESH:
        *pHeader += "POST ";
        *pHeader += sTemplate;
        return 1;
    case METHOD_WRITE:
    case METHOD_DELETE:
        if (sTemplate.IsEmpty())
            return Report(1947, FormatLine("Missing DataPath on WRITE"));
        if (pCommand->LocationID().IsEmpty())
            return Report(1952, FormatLine("Missing LocationID on WRITE"));
        if (pCommand->DeviceID().IsEmpty())
            return Report(1957, FormatLine("Missing DeviceID on WRITE"));
        *pHeader += WriteTarget(*pCommand);
        return 1;
    }
    return 1;
}

void CVestaraInterface::PackData(CQXString* pHeader, CQXString* pBody, CVestaraCommand* pCommand)
{
    const VestaraMethod eMethod = pCommand->Method();
    if (eMethod != METHOD_READ && eMethod != METHOD_DELETE) {
        *pHeader += "Content-Length: ";
        *pHeader += CQXString::IntegerToString(pBody->GetLength());
        *pHeader += "\r\n";
        if (eMethod == METHOD_TOKEN_CODE || eMethod == METHOD_TOKEN_REFRESH)
            *pHeader += "Content-Type: application/x-www-form-urlencoded";
        else if (eMethod == METHOD_WRITE)
            *pHeader += "Content-Type: application/json";
        *pHeader += "\r\n\r\n";
        *pHeader += *pBody;
    }

    // The empty line of a request without a body. After a body it is a line end that Content-Length does not
    // count: servers skip it in front of the next request (RFC 9112, section 2.2), and none follows here.
    *pHeader += "\r\n";
}
