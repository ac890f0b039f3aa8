#pragma once

#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"

namespace cloudsim
{

// A reply with a JSON body. Bytes that are no UTF-8 (from a request that is quoted) are replaced.
Response JsonReply(int status, const Json& body);

// {"message": ..., "errorcode": ...}; both texts are also kept in the reply for the logs.
Response ErrorReply(const Refusal& refusal);

// 204 without a body.
Response NoContentReply();

// An HTML page; the caller has escaped every inserted text. The page may not be framed, cached or run
// scripts.
Response HtmlReply(int status, std::string page);

// 302 to an address.
Response RedirectReply(const std::string& address);

} // namespace cloudsim
