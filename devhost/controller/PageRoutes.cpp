// The configurator's routes for the pages of an account and their buttons.

#include "devhost/controller/ConfiguratorApi.h"

namespace devhost
{

namespace
{

using nlohmann::json;

PropertyPage::Values PageValues(const json& body)
{
    const auto properties = body.find("properties");
    if (properties == body.end() || !properties->is_object())
        throw ApiError(400, "bad_body", "\"properties\" must be an object of values by property id");
    PropertyPage::Values values;
    for (const auto& [key, value] : properties->items()) {
        int id = 0;
        if (key.empty() || key.size() > 9 || key.find_first_not_of("0123456789") != std::string::npos)
            throw ApiError(400, "bad_body", "\"" + key + "\" is no property");
        id = std::stoi(key);
        if (value.is_string())
            values[id] = value.get<std::string>();
        else if (value.is_number_unsigned() && value.get<std::uint64_t>() < 1000000)
            values[id] = value.get<int>();
        else
            throw ApiError(400, "bad_body", "a property takes a text or the index of a choice");
    }
    return values;
}

} // namespace

void ConfiguratorApi::AddPageRoutes()
{
    m_router.Add("GET", "/api/v1/interfaces/{id}/page", [this](const ApiCall& call) {
        CDeviceInterface& shown = Interface(call);
        return ShowPage(shown.BridgeID(), *m_system.Pages().Open(shown.BridgeID(), shown));
    });
    AddChange("PUT", "/api/v1/interfaces/{id}/page", {"properties", "list"},
              [this](const ApiCall& call) { return StorePage(call); });
    AddChange("POST", "/api/v1/interfaces/{id}/page/refresh", {}, [this](const ApiCall& call) {
        const unsigned bridgeId = Bridge(call).ID();
        const auto page = m_system.Pages().Find(bridgeId);
        if (!page)
            throw ApiError(409, "no_page", "the page is not open: get it first");
        page->Refresh();
        return ShowPage(bridgeId, *page);
    });
    m_router.Add("GET", "/api/v1/interfaces/{id}/extended-page",
                 [this](const ApiCall& call) { return ShowExtendedPage(call); });
    AddChange("PUT", "/api/v1/interfaces/{id}/extended-page", {"selected", "list"},
              [this](const ApiCall& call) { return StoreExtendedPage(call); });
    AddChange("POST", "/api/v1/interfaces/{id}/actions/{action}", {},
              [this](const ApiCall& call) { return RunAction(call); });
}

json ConfiguratorApi::ShowPage(unsigned bridgeId, const PropertyPage& page)
{
    m_masters[bridgeId] = page.HasAction(kActionAuthorise); // only a master's page offers to authorise
    m_shownLists[bridgeId] = ListMark(page.ChoiceNames());
    return PageJson(page);
}

// A choice is stored by its number, and what the number means changes with the list, for instance when
// another account takes a house. So an answer counts only for the list that was seen: the one that the
// request names, else the one of the last page that was handed out.
void ConfiguratorApi::CheckList(const json& body, const std::string& shown, const PropertyPage& present)
{
    std::string seen = shown;
    if (const auto named = body.find("list"); named != body.end()) {
        if (!named->is_string())
            throw ApiError(400, "bad_body", "\"list\" must be the text that came with the page");
        seen = named->get<std::string>();
    }
    if (seen != ListMark(present.ChoiceNames()))
        throw ApiError(409, "list_changed", "the list has changed: get the page again");
}

json ConfiguratorApi::StorePage(const ApiCall& call)
{
    CDeviceInterface& target = Interface(call);
    const unsigned bridgeId = target.BridgeID();
    const PropertyPage::Values values = PageValues(call.body);
    const auto shown = m_shownLists.find(bridgeId);
    if (shown == m_shownLists.end() && !call.body.contains("list"))
        throw ApiError(409, "no_page", "no page was shown: get it first");
    // The page of the moment, as the driver counts in its present list. The pointer keeps it alive through a
    // restart that storing may lead to.
    const auto page = m_system.Pages().Open(bridgeId, target);
    CheckList(call.body, shown == m_shownLists.end() ? "" : shown->second, *page);
    if (const auto fault = page->Store(target, values))
        throw ApiError(400, "bad_page", *fault);
    NoteAccount(Bridge(call), ": settings were stored");
    return ShowPage(bridgeId, *m_system.Pages().Open(bridgeId, target));
}

json ConfiguratorApi::ShowExtendedPage(const ApiCall& call)
{
    CDeviceInterface& shown = Interface(call);
    CQXMSG message;
    shown.GetExtBridgeConfig(&message);
    const auto page = ExtendedPage::Read(message);
    if (!page)
        throw ApiError(502, "bad_page", "the driver's page cannot be read");
    m_extendedPages[shown.BridgeID()] = *page;
    m_masters[shown.BridgeID()] = page->IsMaster();
    return ExtendedPageJson(*page);
}

json ConfiguratorApi::StoreExtendedPage(const ApiCall& call)
{
    CDeviceInterface& target = Interface(call);
    const auto shown = m_extendedPages.find(target.BridgeID());
    if (shown == m_extendedPages.end() || shown->second.choices.empty())
        throw ApiError(409, "no_page", "no chooser was shown: get the page first");
    // The houses of the moment come from the other page: a driver may choose by itself while its extended
    // page is read.
    PropertyPage present;
    present.Build(target);
    CheckList(call.body, ListMark(shown->second.choices), present);
    const auto selected = call.body.find("selected");
    if (selected == call.body.end() || !selected->is_number_unsigned() ||
        selected->get<std::uint64_t>() >= present.ChoiceNames().size())
        throw ApiError(400, "bad_page", "\"selected\" must be the number of one of the choices");
    CQXMSG message;
    message.PutInt(selected->get<int>());
    // The list behind the page may change by this, so the next reply needs a page that was shown anew.
    m_extendedPages.erase(shown);
    target.SetExtBridgeConfig(&message);
    NoteAccount(Bridge(call), ": settings were stored");
    m_system.NotifyWrite();
    return {{"ok", true}};
}

json ConfiguratorApi::RunAction(const ApiCall& call)
{
    CDeviceInterface& target = Interface(call);
    const int action = call.Number("action");
    const auto page = m_system.Pages().Open(target.BridgeID(), target);
    if (!page->HasAction(action))
        throw ApiError(409, "no_action",
                       "the page of this interface does not offer action " + call.path.at("action"));
    const std::string url = static_cast<char*>(target.GetActionURL(action));
    if (!url.empty())
        return {{"url", url}, {"browser_url", BrowserUrl(url)}};
    NoteAccount(Bridge(call), ": " + page->ActionText(action) + " was pressed");
    return {{"result", target.ExecuteAction(action, &page->Set())}};
}

std::string ConfiguratorApi::BrowserUrl(const std::string& url) const
{
    const std::size_t authority = url.find("://");
    const std::size_t path = authority == std::string::npos ? authority : url.find('/', authority + 3);
    if (m_options.authorizeBase.empty() || path == std::string::npos)
        return url;
    return m_options.authorizeBase + url.substr(path);
}

} // namespace devhost
