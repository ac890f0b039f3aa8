// Builds the kinds of replies that the handlers give; when to give which is left to them.
#include "cloudsim/model/Replies.h"

#include "cloudsim/model/RequestChecks.h"

namespace cloudsim
{

Response JsonReply(int status, const Json& body)
{
    Response response;
    response.status = status;
    response.headers = {{"Content-Type", std::string(kJsonMediaType)}, {"Cache-Control", "no-store"}};
    response.body = ToText(body);
    return response;
}

Response ErrorReply(const Refusal& refusal)
{
    Response response =
        JsonReply(refusal.Status(), Json{{"message", refusal.what()}, {"errorcode", refusal.Errorcode()}});
    response.errorcode = refusal.Errorcode();
    response.reason = refusal.what();
    return response;
}

Response NoContentReply()
{
    Response response;
    response.status = 204;
    return response;
}

Response HtmlReply(int status, std::string page)
{
    Response response;
    response.status = status;
    // No form-action: browsers apply it to the redirect behind the form too, and that leads to the
    // controller.
    response.headers = {
        {"Content-Type", "text/html; charset=utf-8"},
        {"Cache-Control", "no-store"},
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; frame-ancestors 'none'"},
        {"Referrer-Policy", "same-origin"},
        {"X-Content-Type-Options", "nosniff"}};
    response.body = std::move(page);
    return response;
}

Response RedirectReply(const std::string& address)
{
    Response response;
    response.status = 302;
    response.headers = {{"Location", address}, {"Cache-Control", "no-store"}};
    return response;
}

} // namespace cloudsim
