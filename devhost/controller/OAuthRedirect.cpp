// The page at which the cloud's OAuth server hands a browser back.

#include "devhost/controller/ConfiguratorApi.h"

#include <algorithm>

namespace devhost
{

namespace
{

std::string Escape(const std::string& Raw)
{
    std::string Out;
    for (char c : Raw) {
        if (c == '<' || c == '>' || c == '&' || c == '"' || c == '\'')
            Out += "&#" + std::to_string(static_cast<int>(c)) + ";";
        else
            Out += c;
    }
    return Out;
}

ApiResponse Page(int Status, const std::string& Title, const std::string& Explanation)
{
    return {Status,
            "text/html; charset=utf-8",
            "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>" + Escape(Title) +
                "</title><style>body{font:16px sans-serif;margin:4em auto;max-width:36em}</style><h1>" +
                Escape(Title) + "</h1><p>" + Escape(Explanation) + "</p></html>\n",
            {}};
}

ApiResponse Refused(const std::string& Why)
{
    return Page(400, "Not authorised", Why + " Start the authorisation again from the account's page.");
}

// The characters that RFC 6749, appendix A.11 allows in a code; nothing else may reach a request.
bool IsCode(const std::string& Code)
{
    return !Code.empty() && Code.size() <= 2048 &&
           std::ranges::all_of(Code, [](char c) { return c >= 0x20 && c <= 0x7e; });
}

} // namespace

// RFC 6749, sections 4.1.2 and 10.12: the state says which account asked, proves that it was asked from here,
// and is used up whatever comes with it.
ApiResponse ConfiguratorApi::OAuthRedirect(const ApiRequest& Request)
{
    if (Request.DuplicateQuery)
        return Refused("The address names a parameter twice.");
    const std::string State = Request.Parameter("state");
    if (State.empty())
        return Refused("The address carries no state value, so it does not come from an authorisation that "
                       "was started here.");
    CNetworkBridge* pBridge = m_System.TakeOAuthState(State);
    if (!pBridge)
        return Refused("The state value is not known here: it was used already, is too old, or belongs to "
                       "another host.");
    if (const std::string Error = Request.Parameter("error"); !Error.empty()) {
        if (Error == "access_denied")
            return Page(403, "Not authorised",
                        "Access was denied on the cloud's page (access_denied). "
                        "Nothing was changed.");
        return Refused("The cloud answered with the error \"" + Error.substr(0, 200) + "\".");
    }
    const std::string Code = Request.Parameter("code");
    if (!IsCode(Code))
        return Refused("The address carries no usable authorisation code.");
    pBridge->DeviceInterface()->ProcessAuthCode(Code.c_str());
    return Page(200, "Authorised",
                "The code was handed to \"" + std::string(static_cast<char*>(pBridge->Name())) +
                    "\", which now asks the cloud for its tokens. This page can be closed.");
}

} // namespace devhost
