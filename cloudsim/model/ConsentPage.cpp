// Writes the HTML of the authorize pages; who may see them is left to OAuth.cpp.
#include "cloudsim/model/ConsentPage.h"

#include "cloudsim/model/Forms.h"

namespace cloudsim
{
namespace
{

std::string Page(std::string_view title, const std::string& content)
{
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           EscapeHtml(title) +
           "</title>\n<style>\nbody { font-family: sans-serif; max-width: 28rem; margin: 4rem auto; padding: "
           "0 1rem; }\n"
           "button { font: inherit; padding: .6rem 1.2rem; margin-right: .6rem; "
           "}\n</style>\n</head>\n<body>\n<h1>" +
           EscapeHtml(title) + "</h1>\n" + content + "</body>\n</html>\n";
}

} // namespace

std::string ConsentPageHtml(const World& world, std::string_view target, std::string_view formToken)
{
    std::string content = "<p>Your controller asks for access to the account <strong id=\"account\">" +
                          EscapeHtml(world.accountName) + "</strong>";
    if (!world.accountEmail.empty())
        content += " (" + EscapeHtml(world.accountEmail) + ")";
    content += ".</p>\n<p>It will see and work these homes' locks:</p>\n<ul>\n";
    for (const Location& location : world.locations)
        content += "<li>" + EscapeHtml(location.name) + "</li>\n";
    content += "</ul>\n<form method=\"post\" action=\"" + EscapeHtml(target) +
               "\">\n<input type=\"hidden\" name=\"csrf\" value=\"" + EscapeHtml(formToken) +
               "\">\n<button type=\"submit\" name=\"decision\" value=\"approve\">Allow</button>\n"
               "<button type=\"submit\" name=\"decision\" value=\"deny\">Deny</button>\n</form>\n";
    return Page("Vestara account", content);
}

std::string ErrorPageHtml(std::string_view reason)
{
    return Page("This request cannot be carried out", "<p id=\"reason\">" + EscapeHtml(reason) + "</p>\n");
}

} // namespace cloudsim
