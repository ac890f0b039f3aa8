// The page at which the cloud's OAuth server hands a browser back.

#include "devhost/controller/ConfiguratorApi.h"

#include <string_view>

namespace devhost
{

namespace
{

std::string Escape(const std::string& raw)
{
    std::string out;
    for (char c : raw) {
        if (c == '<' || c == '>' || c == '&' || c == '"' || c == '\'')
            out += "&#" + std::to_string(static_cast<int>(c)) + ";";
        else
            out += c;
    }
    return out;
}

ApiResponse Page(int status, const std::string& title, const std::string& explanation)
{
    return {status,
            "text/html; charset=utf-8",
            "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>" + Escape(title) +
                "</title><style>body{font:16px sans-serif;margin:4em auto;max-width:36em}</style><h1>" +
                Escape(title) + "</h1><p>" + Escape(explanation) +
                "</p><p><a href=\"/\">Back to the configurator</a></p></html>\n",
            {}};
}

ApiResponse Refused(const std::string& why)
{
    return Page(400, "Not authorised", why + " Start the authorisation again from the account's page.");
}

constexpr std::size_t kMaxCode = 2048;

// RFC 6749, appendix A.11 allows a code all visible characters and the blank. A driver puts it into the form
// of its token request as it is, where some of them would end the field or stand for others. Empty when the
// code can be handed over, else what is wrong with it, without the code.
std::string CodeFault(const std::string& code)
{
    constexpr std::string_view kFormCharacters = "&=+%; ";
    if (code.empty())
        return "The address carries no authorisation code.";
    if (code.size() > kMaxCode)
        return "The authorisation code has more than " + std::to_string(kMaxCode) + " characters.";
    for (const char c : code) {
        if (c < 0x20 || c > 0x7e)
            return "The authorisation code holds a character that no code has.";
        if (kFormCharacters.find(c) != std::string_view::npos)
            return "The authorisation code holds \"" + std::string(1, c) +
                   "\", which has a meaning of its own in the form of the token request: the cloud would not "
                   "get the code that it gave.";
    }
    return {};
}

} // namespace

// RFC 6749, sections 4.1.2 and 10.12: the state says which account asked, proves that it was asked from here,
// and is used up whatever comes with it.
ApiResponse ConfiguratorApi::OAuthRedirect(const ApiRequest& request)
{
    if (request.duplicateQuery)
        return Refused("The address names a parameter twice.");
    const std::string state = request.Parameter("state");
    if (state.empty())
        return Refused("The address carries no state value, so it does not come from an authorisation that "
                       "was started here.");
    CNetworkBridge* bridge = m_system.TakeOAuthState(state);
    if (!bridge)
        return Refused("The state value is not known here: it was used already, is too old, or belongs to "
                       "another host.");
    if (const std::string error = request.Parameter("error"); !error.empty()) {
        if (error == "access_denied")
            return Page(403, "Not authorised",
                        "Access was denied on the cloud's page (access_denied). "
                        "Nothing was changed.");
        return Refused("The cloud answered with the error \"" + error.substr(0, 200) + "\".");
    }
    const std::string code = request.Parameter("code");
    if (const std::string fault = CodeFault(code); !fault.empty())
        return Refused(fault);
    bridge->DeviceInterface()->ProcessAuthCode(code.c_str());
    NoteAccount(*bridge, ": consent was given in a browser");
    return Page(200, "Authorised",
                "The code was handed to \"" + std::string(static_cast<char*>(bridge->Name())) +
                    "\", which now asks the cloud for its tokens. This page can be closed.");
}

} // namespace devhost
