// The configurator's routes for accounts, locks and users. Pages and actions are PageRoutes.cpp's, the host
// itself is SystemRoutes.cpp's, the OAuth redirect is OAuthRedirect.cpp's.

#include "devhost/controller/ConfiguratorApi.h"

#include "devhost/controller/HttpServer.h"
#include "devhost/controller/RequestGuard.h"

#include <algorithm>
#include <utility>

namespace devhost
{

namespace
{

using nlohmann::json;

// Host commands of a door lock.
constexpr int kCommandLock = 1270;
constexpr int kCommandUnlock = 1271;

json Done()
{
    return {{"ok", true}};
}

std::string TextMember(const json& Body, const char* pName, const std::string& Default)
{
    const auto Found = Body.find(pName);
    if (Found == Body.end())
        return Default;
    if (!Found->is_string())
        throw ApiError(400, "bad_body", std::string("\"") + pName + "\" must be a text");
    return Found->get<std::string>();
}

bool FlagMember(const json& Body, const char* pName)
{
    const auto Found = Body.find(pName);
    if (Found == Body.end() || !Found->is_boolean())
        throw ApiError(400, "bad_body", std::string("\"") + pName + "\" must be true or false");
    return Found->get<bool>();
}

// Nothing for what is no integer, and for one that an int cannot hold, which a plain conversion would cut.
std::optional<int> ToInt(const json& Value)
{
    if (Value.is_number_unsigned() && std::in_range<int>(Value.get<std::uint64_t>()))
        return Value.get<int>();
    if (!Value.is_number_unsigned() && Value.is_number_integer() &&
        std::in_range<int>(Value.get<std::int64_t>()))
        return Value.get<int>();
    return std::nullopt;
}

// Puts what came back for a row of a lock's page into the message to its driver.
void PutRowValue(CQXMSG& Message, const LockPage::Row& Row, const json& Item)
{
    const char* pKind = Row.Entries ? "int" : "string";
    const bool bShape = Item.is_object() && Item.size() == 1 && Item.contains(pKind);
    if (bShape && !Row.Entries && Item[pKind].is_string())
        return Message.PutString(Item[pKind].get<std::string>().c_str());
    const auto Entry = bShape && Row.Entries ? ToInt(Item[pKind]) : std::nullopt;
    if (!Entry)
        throw ApiError(
            400, "bad_body",
            "\"" + Row.Label + "\" takes " +
                (Row.Entries ? "the number of an entry: {\"int\":0}" : "a text: {\"string\":\"\"}"));
    if (*Entry < 0 || *Entry >= *Row.Entries)
        throw ApiError(400, "bad_page",
                       "\"" + Row.Label + "\" has no entry " + std::to_string(*Entry) + ", but 0 to " +
                           std::to_string(*Row.Entries - 1));
    Message.PutInt(*Entry);
}

} // namespace

ConfiguratorApi::ConfiguratorApi(System& Host, Options Parts) : m_System(Host), m_Options(std::move(Parts))
{
    AddInterfaceRoutes();
    AddPageRoutes();
    AddLockRoutes();
    AddUserRoutes();
    AddSystemRoutes();
}

ApiResponse ConfiguratorApi::Serve(const ApiRequest& Request)
{
    if (Request.Path == kRedirectPath && Request.Method == "GET")
        return OAuthRedirect(Request);
    // The transport serves the event stream, and leaves what is no GET.
    if (Request.Path == kRedirectPath || Request.Path == HttpServer::kEventsPath)
        return MethodNotAllowed(Request.Path, "GET");
    return m_Router.Serve(Request);
}

CNetworkBridge& ConfiguratorApi::Bridge(const ApiCall& Call)
{
    CNetworkBridge* pBridge = m_System.BridgeByID(static_cast<unsigned>(Call.Number("id")));
    if (!pBridge)
        throw ApiError(404, "not_found", "there is no interface " + Call.Path.at("id"));
    return *pBridge;
}

CDoorLock& ConfiguratorApi::Lock(const ApiCall& Call)
{
    CDoorLock* pLock = m_System.LockByID(static_cast<unsigned>(Call.Number("id")));
    if (!pLock)
        throw ApiError(404, "not_found", "there is no lock " + Call.Path.at("id"));
    return *pLock;
}

json ConfiguratorApi::InterfaceWithMaster(CNetworkBridge& Shown) const
{
    const auto Known = m_Masters.find(Shown.ID());
    json Result = InterfaceJson(m_System, Shown);
    Result["master"] = Known == m_Masters.end() ? json(nullptr) : json(Known->second);
    return Result;
}

// A route for PUT or POST whose body may have these members only: one that is misspelt would be passed over,
// and with it what was meant.
void ConfiguratorApi::AddChange(std::string Method, std::string Pattern, std::vector<std::string> Members,
                                ApiHandler Handler)
{
    m_Router.Add(std::move(Method), std::move(Pattern),
                 [Members = std::move(Members), Handler = std::move(Handler)](const ApiCall& Call) {
                     for (const auto& [Name, Value] : Call.Body.items()) {
                         if (std::ranges::find(Members, Name) == Members.end())
                             throw ApiError(400, "bad_body", "this request takes no \"" + Name + "\"");
                     }
                     return Handler(Call);
                 });
}

void ConfiguratorApi::AddInterfaceRoutes()
{
    m_Router.Add("GET", "/api/v1/interfaces", [this](const ApiCall&) {
        json Interfaces = json::array();
        for (int i = 0; i < m_System.NBridges(); ++i)
            Interfaces.push_back(InterfaceWithMaster(*m_System.BridgeByID(m_System.Bridge(i)->ID())));
        return json{{"interfaces", Interfaces}};
    });
    AddChange("POST", "/api/v1/interfaces", {"type"}, [this](const ApiCall& Call) {
        const auto Definitions = m_System.InterfaceDefinitions();
        if (Definitions.empty())
            throw ApiError(409, "no_definition", "the library offers no interface");
        const json Type = Call.Body.value("type", json(Definitions.front()->Type()));
        const auto Number = ToInt(Type);
        const CNetworkBridge* pAdded = Number ? m_System.AddInterface(*Number) : nullptr;
        if (!pAdded)
            throw ApiError(400, "bad_type", "the library offers no interface of type " + Text(Type));
        return InterfaceWithMaster(*m_System.BridgeByID(pAdded->ID()));
    });
    m_Router.Add("GET", "/api/v1/interfaces/{id}",
                 [this](const ApiCall& Call) { return InterfaceWithMaster(Bridge(Call)); });
    m_Router.Add("DELETE", "/api/v1/interfaces/{id}", [this](const ApiCall& Call) {
        const unsigned ID = Bridge(Call).ID();
        m_System.RemoveInterface(ID);
        m_ExtendedPages.erase(ID);
        m_ShownLists.erase(ID);
        m_Masters.clear(); // another interface may be the master now
        return Done();
    });
    AddChange("POST", "/api/v1/interfaces/{id}/discover", {}, [this](const ApiCall& Call) {
        Interface(Call).Discover();
        return Done();
    });
    m_Router.Add("GET", "/api/v1/counters", [this](const ApiCall&) {
        json Counters = json::object();
        for (int i = 0; i < m_System.NBridges(); ++i) {
            const unsigned ID = m_System.Bridge(i)->ID();
            Counters[std::to_string(ID)] = CountersJson(*m_System.BridgeByID(ID));
        }
        return json{{"counters", Counters}};
    });
}

void ConfiguratorApi::AddLockRoutes()
{
    m_Router.Add("GET", "/api/v1/locks", [this](const ApiCall&) {
        json Locks = json::array();
        for (int i = 0; i < m_System.NDoorLock(COMPONENT_FILTER_ALL); ++i)
            Locks.push_back(LockJson(*m_System.DoorLock(i)));
        return json{{"locks", Locks}};
    });
    m_Router.Add("GET", "/api/v1/locks/{id}", [this](const ApiCall& Call) { return LockJson(Lock(Call)); });
    AddChange("POST", "/api/v1/locks/{id}/commands", {"command", "user"},
              [this](const ApiCall& Call) { return RunCommand(Call); });
    m_Router.Add("GET", "/api/v1/locks/{id}/status-page", [this](const ApiCall& Call) {
        CQXMSG Message;
        Lock(Call).GetExtendedConfig(&Message);
        return json{{"items", MessageJson(Message, Call.Secrets())}};
    });
    AddChange("PUT", "/api/v1/locks/{id}/status-page", {"items"},
              [this](const ApiCall& Call) { return StoreStatusPage(Call); });
    AddChange("PUT", "/api/v1/locks/{id}/users/{user}", {"enabled"},
              [this](const ApiCall& Call) { return EnableUser(Call); });
}

json ConfiguratorApi::RunCommand(const ApiCall& Call)
{
    CDoorLock& Target = Lock(Call);
    const std::string Command = TextMember(Call.Body, "command", "");
    if (Command != "lock" && Command != "unlock")
        throw ApiError(400, "bad_command", "\"command\" must be \"lock\" or \"unlock\"");
    int User = 0;
    if (Command == "unlock") {
        // Users are numbered from one, and a number above the slots would be credited to nobody.
        const auto Given = Call.Body.find("user");
        if (Given == Call.Body.end() || !Given->is_number_unsigned() || Given->get<std::uint64_t>() < 1 ||
            Given->get<std::uint64_t>() > SecurityServer::kSlots)
            throw ApiError(400, "bad_user", "\"user\" must be a user's number from 1 to 30");
        User = Given->get<int>();
        if (!m_System.Security().GetUserAtDoorLockSlot(User - 1))
            throw ApiError(409, "no_user",
                           "there is no user " + std::to_string(User) + ": slot " + std::to_string(User - 1) +
                               " is empty");
    }
    const auto* pClient = dynamic_cast<const CBridgeClient*>(&Target);
    if (pClient && !pClient->Bridge())
        throw ApiError(409, "refused", "the lock has no account");
    if (!Target.ExecuteCommand(Command == "lock" ? kCommandLock : kCommandUnlock, User))
        throw ApiError(409, "refused",
                       Target.State() ==
                               (Command == "lock" ? CDoorLock::STATE_SECURED : CDoorLock::STATE_UNSECURED)
                           ? "the lock is " + Command + "ed already"
                           : "the lock's driver did not take the command");
    return LockJson(Target);
}

json ConfiguratorApi::StoreStatusPage(const ApiCall& Call)
{
    CDoorLock& Target = Lock(Call);
    CQXMSG Current;
    Target.GetExtendedConfig(&Current);
    if (Current.Items().empty())
        throw ApiError(409, "no_page", "this lock has no page");
    const auto Page = LockPage::Read(Current);
    if (!Page)
        throw ApiError(502, "bad_page", "the driver's page cannot be read");
    const auto Items = Call.Body.find("items");
    // A driver reads without looking, so nothing may be missing, of another kind or outside a list.
    if (Items == Call.Body.end() || !Items->is_array() || Items->size() != Page->Rows.size())
        throw ApiError(400, "bad_body",
                       "\"items\" must be one value for each of the page's " +
                           std::to_string(Page->Rows.size()) + " rows");
    CQXMSG Message;
    for (std::size_t i = 0; i < Items->size(); ++i)
        PutRowValue(Message, Page->Rows[i], (*Items)[i]);
    Target.SetExtendedConfig(&Message);
    m_System.MarkLockChanged(Target.ID());
    return Done();
}

json ConfiguratorApi::EnableUser(const ApiCall& Call)
{
    CDoorLock& Target = Lock(Call);
    const int User = Call.Number("user");
    if (User < 1 || User > SecurityServer::kSlots)
        throw ApiError(404, "not_found", "users have the numbers 1 to 30");
    const bool bEnabled = FlagMember(Call.Body, "enabled");
    Target.EnableUser(User, bEnabled);
    m_System.NotifyWrite();
    m_System.MarkLockChanged(Target.ID());
    const int nHandled = m_System.AnnounceUserSlot(User - 1);
    return {{"enabled", bEnabled}, {"handled", nHandled != 0}};
}

void ConfiguratorApi::AddUserRoutes()
{
    m_Router.Add("GET", "/api/v1/users", [this](const ApiCall& Call) {
        json Users = json::array();
        for (int Slot = 0; Slot < SecurityServer::kSlots; ++Slot) {
            if (const CUser* pUser = m_System.Security().GetUserAtDoorLockSlot(Slot))
                Users.push_back(UserJson(Slot, *pUser, Call.Secrets()));
        }
        return json{{"users", Users}};
    });
    m_Router.Add("GET", "/api/v1/users/{slot}", [this](const ApiCall& Call) {
        const CUser* pUser = m_System.Security().GetUserAtDoorLockSlot(Call.Number("slot"));
        if (!pUser)
            throw ApiError(404, "not_found", "there is no user at slot " + Call.Path.at("slot"));
        return UserJson(Call.Number("slot"), *pUser, Call.Secrets());
    });
    AddChange("PUT", "/api/v1/users/{slot}", {"name", "email", "pin"},
              [this](const ApiCall& Call) { return StoreUser(Call); });
    m_Router.Add("DELETE", "/api/v1/users/{slot}", [this](const ApiCall& Call) { return DeleteUser(Call); });
}

json ConfiguratorApi::StoreUser(const ApiCall& Call)
{
    const int Slot = Call.Number("slot");
    if (Slot >= SecurityServer::kSlots)
        throw ApiError(404, "not_found", "slots have the numbers 0 to 29");
    // A change may leave out what stays, above all the PIN, which a reader is not shown.
    const CUser* pOld = m_System.Security().GetUserAtDoorLockSlot(Slot);
    const auto Old = [&](CQXString Value) { return std::string(static_cast<char*>(Value)); };
    UserData User;
    User.Name = TextMember(Call.Body, "name", pOld ? Old(pOld->Name()) : "");
    User.Email = TextMember(Call.Body, "email", pOld ? Old(pOld->Email()) : "");
    User.Pin = TextMember(Call.Body, "pin", pOld ? Old(pOld->PIN_DoorLock()) : "");
    if (const auto Fault = CheckNewName(User.Name))
        throw ApiError(400, "bad_user", *Fault);
    if (const auto Fault = m_System.Security().FindDuplicate(Slot, User))
        throw ApiError(409, "duplicate_user", *Fault);
    if (const auto Fault = m_System.Security().SetUser(Slot, User))
        throw ApiError(400, "bad_user", *Fault);
    if (m_Options.UsersChanged)
        m_Options.UsersChanged();
    m_System.NotifyWrite();
    const int nHandled = m_System.AnnounceUserSlot(Slot);
    json Result = UserJson(Slot, *m_System.Security().GetUserAtDoorLockSlot(Slot), Call.Secrets());
    Result["locks_handled"] = nHandled;
    return Result;
}

json ConfiguratorApi::DeleteUser(const ApiCall& Call)
{
    const int Slot = Call.Number("slot");
    if (!m_System.Security().DeleteUser(Slot))
        throw ApiError(404, "not_found", "there is no user at slot " + Call.Path.at("slot"));
    m_System.NotifyWrite();
    const int nHandled = m_System.AnnounceUserSlot(Slot);
    // Whoever gets the slot next must not come into the rights of its last user.
    for (int i = 0; i < m_System.NDoorLock(COMPONENT_FILTER_ALL); ++i)
        m_System.DoorLock(i)->EnableUser(Slot + 1, 0);
    if (m_Options.UsersChanged)
        m_Options.UsersChanged();
    return {{"ok", true}, {"locks_handled", nHandled}};
}

} // namespace devhost
