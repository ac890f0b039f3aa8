#pragma once
// The texts of a request that need no account: host, request target, bodies.

#include "cloud/Command.h"

class CAccessPerson;

// The host that serves a method: the OAuth host for token requests, the API host for the rest; empty for a
// value that is no method.
const char* HostName(VestaraMethod eMethod);

// Verb and path of a GET or of a change, without the HTTP version. A command that has no such request gives
// "GET " and the empty text.
CQXString ReadTarget(const CVestaraCommand& Command);
CQXString WriteTarget(const CVestaraCommand& Command);

// Whether a change carries a JSON body; true for a value that is no command, whose body is an empty object.
bool HasBody(CommandID eCommand);

// Form bodies of the token requests. Their bytes are fixed: every value goes in as it is, none is encoded. So
// code, refresh token and redirect address must not hold a character that means something in a form. For code
// and redirect address the host sees to that.
CQXString TokenCodeForm(const CQXString& sAuthCode, const CQXString& sRedirectURI);
CQXString TokenRefreshForm(const CQXString& sRefreshToken);

// JSON bodies of the access-person commands, added to the empty object pRoot. Every value is a text.
void AddNewPerson(CJSONObject* pRoot, const CAccessPerson& Person);
void AddChangedPerson(CJSONObject* pRoot, const CAccessPerson& Person);
void AddGrantedLock(CJSONObject* pRoot, const CQXString& sDeviceID);
