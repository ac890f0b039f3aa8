// The configurator's routes for the pages of an account and their buttons.

#include "devhost/controller/ConfiguratorApi.h"

namespace devhost
{

namespace
{

using nlohmann::json;

PropertyPage::Values PageValues(const json& Body)
{
    const auto Properties = Body.find("properties");
    if (Properties == Body.end() || !Properties->is_object())
        throw ApiError(400, "bad_body", "\"properties\" must be an object of values by property id");
    PropertyPage::Values Values;
    for (const auto& [Key, Value] : Properties->items()) {
        int ID = 0;
        if (Key.empty() || Key.size() > 9 || Key.find_first_not_of("0123456789") != std::string::npos)
            throw ApiError(400, "bad_body", "\"" + Key + "\" is no property");
        ID = std::stoi(Key);
        if (Value.is_string())
            Values[ID] = Value.get<std::string>();
        else if (Value.is_number_unsigned() && Value.get<std::uint64_t>() < 1000000)
            Values[ID] = Value.get<int>();
        else
            throw ApiError(400, "bad_body", "a property takes a text or the index of a choice");
    }
    return Values;
}

} // namespace

void ConfiguratorApi::AddPageRoutes()
{
    m_Router.Add("GET", "/api/v1/interfaces/{id}/page", [this](const ApiCall& Call) {
        CDeviceInterface& Shown = Interface(Call);
        return ShowPage(Shown.BridgeID(), *m_System.Pages().Open(Shown.BridgeID(), Shown));
    });
    AddChange("PUT", "/api/v1/interfaces/{id}/page", {"properties", "list"},
              [this](const ApiCall& Call) { return StorePage(Call); });
    AddChange("POST", "/api/v1/interfaces/{id}/page/refresh", {}, [this](const ApiCall& Call) {
        const unsigned BridgeID = Bridge(Call).ID();
        const auto pPage = m_System.Pages().Find(BridgeID);
        if (!pPage)
            throw ApiError(409, "no_page", "the page is not open: get it first");
        pPage->Refresh();
        return ShowPage(BridgeID, *pPage);
    });
    m_Router.Add("GET", "/api/v1/interfaces/{id}/extended-page",
                 [this](const ApiCall& Call) { return ShowExtendedPage(Call); });
    AddChange("PUT", "/api/v1/interfaces/{id}/extended-page", {"selected", "list"},
              [this](const ApiCall& Call) { return StoreExtendedPage(Call); });
    AddChange("POST", "/api/v1/interfaces/{id}/actions/{action}", {},
              [this](const ApiCall& Call) { return RunAction(Call); });
}

json ConfiguratorApi::ShowPage(unsigned BridgeID, const PropertyPage& Page)
{
    m_Masters[BridgeID] = Page.HasAction(kActionAuthorise); // only a master's page offers to authorise
    m_ShownLists[BridgeID] = ListMark(Page.ChoiceNames());
    return PageJson(Page);
}

// A choice is stored by its number, and what the number means changes with the list, for instance when
// another account takes a house. So an answer counts only for the list that was seen: the one that the
// request names, else the one of the last page that was handed out.
void ConfiguratorApi::CheckList(const json& Body, const std::string& Shown, const PropertyPage& Present)
{
    std::string Seen = Shown;
    if (const auto Named = Body.find("list"); Named != Body.end()) {
        if (!Named->is_string())
            throw ApiError(400, "bad_body", "\"list\" must be the text that came with the page");
        Seen = Named->get<std::string>();
    }
    if (Seen != ListMark(Present.ChoiceNames()))
        throw ApiError(409, "list_changed", "the list has changed: get the page again");
}

json ConfiguratorApi::StorePage(const ApiCall& Call)
{
    CDeviceInterface& Target = Interface(Call);
    const unsigned BridgeID = Target.BridgeID();
    const PropertyPage::Values Values = PageValues(Call.Body);
    const auto Shown = m_ShownLists.find(BridgeID);
    if (Shown == m_ShownLists.end() && !Call.Body.contains("list"))
        throw ApiError(409, "no_page", "no page was shown: get it first");
    // The page of the moment, as the driver counts in its present list. The pointer keeps it alive through a
    // restart that storing may lead to.
    const auto pPage = m_System.Pages().Open(BridgeID, Target);
    CheckList(Call.Body, Shown == m_ShownLists.end() ? "" : Shown->second, *pPage);
    if (const auto Fault = pPage->Store(Target, Values))
        throw ApiError(400, "bad_page", *Fault);
    return ShowPage(BridgeID, *m_System.Pages().Open(BridgeID, Target));
}

json ConfiguratorApi::ShowExtendedPage(const ApiCall& Call)
{
    CDeviceInterface& Shown = Interface(Call);
    CQXMSG Message;
    Shown.GetExtBridgeConfig(&Message);
    const auto Page = ExtendedPage::Read(Message);
    if (!Page)
        throw ApiError(502, "bad_page", "the driver's page cannot be read");
    m_ExtendedPages[Shown.BridgeID()] = *Page;
    m_Masters[Shown.BridgeID()] = Page->IsMaster();
    return ExtendedPageJson(*Page);
}

json ConfiguratorApi::StoreExtendedPage(const ApiCall& Call)
{
    CDeviceInterface& Target = Interface(Call);
    const auto Shown = m_ExtendedPages.find(Target.BridgeID());
    if (Shown == m_ExtendedPages.end() || Shown->second.Choices.empty())
        throw ApiError(409, "no_page", "no chooser was shown: get the page first");
    // The houses of the moment come from the other page: a driver may choose by itself while its extended
    // page is read.
    PropertyPage Present;
    Present.Build(Target);
    CheckList(Call.Body, ListMark(Shown->second.Choices), Present);
    const auto Selected = Call.Body.find("selected");
    if (Selected == Call.Body.end() || !Selected->is_number_unsigned() ||
        Selected->get<std::uint64_t>() >= Present.ChoiceNames().size())
        throw ApiError(400, "bad_page", "\"selected\" must be the number of one of the choices");
    CQXMSG Message;
    Message.PutInt(Selected->get<int>());
    // The list behind the page may change by this, so the next reply needs a page that was shown anew.
    m_ExtendedPages.erase(Shown);
    Target.SetExtBridgeConfig(&Message);
    m_System.NotifyWrite();
    return {{"ok", true}};
}

json ConfiguratorApi::RunAction(const ApiCall& Call)
{
    CDeviceInterface& Target = Interface(Call);
    const int Action = Call.Number("action");
    const auto pPage = m_System.Pages().Open(Target.BridgeID(), Target);
    if (!pPage->HasAction(Action))
        throw ApiError(409, "no_action",
                       "the page of this interface does not offer action " + Call.Path.at("action"));
    const std::string URL = static_cast<char*>(Target.GetActionURL(Action));
    if (!URL.empty())
        return {{"url", URL}, {"browser_url", BrowserURL(URL)}};
    return {{"result", Target.ExecuteAction(Action, &pPage->Set())}};
}

std::string ConfiguratorApi::BrowserURL(const std::string& URL) const
{
    const std::size_t Authority = URL.find("://");
    const std::size_t Path = Authority == std::string::npos ? Authority : URL.find('/', Authority + 3);
    if (m_Options.AuthorizeBase.empty() || Path == std::string::npos)
        return URL;
    return m_Options.AuthorizeBase + URL.substr(Path);
}

} // namespace devhost
