// The configurator's routes for accounts, locks and users. Pages and actions are PageRoutes.cpp's, the host
// itself is SystemRoutes.cpp's, the OAuth redirect is OAuthRedirect.cpp's.

#include "devhost/controller/ConfiguratorApi.h"

#include "devhost/controller/HttpServer.h"
#include "devhost/controller/RequestGuard.h"
#include "devhost/controller/StatusPage.h"

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

constexpr const char* kActivityTable = "/api/v1/activity.csv";

json Done()
{
    return {{"ok", true}};
}

std::string TextMember(const json& body, const char* name, const std::string& fallback)
{
    const auto found = body.find(name);
    if (found == body.end())
        return fallback;
    if (!found->is_string())
        throw ApiError(400, "bad_body", std::string("\"") + name + "\" must be a text");
    return found->get<std::string>();
}

bool FlagMember(const json& body, const char* name)
{
    const auto found = body.find(name);
    if (found == body.end() || !found->is_boolean())
        throw ApiError(400, "bad_body", std::string("\"") + name + "\" must be true or false");
    return found->get<bool>();
}

} // namespace

ConfiguratorApi::ConfiguratorApi(System& host, Options parts)
    : m_system(host), m_options(std::move(parts)), m_access(host, *m_options.persons),
      m_guide(host, *m_options.persons, m_access, GuideActions())
{
    AddInterfaceRoutes();
    AddPageRoutes();
    AddLockRoutes();
    AddUserRoutes();
    AddAccessRoutes();
    AddSystemRoutes();
}

ApiResponse ConfiguratorApi::Serve(const ApiRequest& request)
{
    if (request.path == kRedirectPath && request.method == "GET")
        return OAuthRedirect(request);
    if (request.path == kActivityTable && request.method == "GET") {
        try {
            return {200,
                    "text/csv; charset=utf-8",
                    ActivityCsv(ReadActivity(request, Activity::kMaxEntries)),
                    {}};
        } catch (const ApiError& error) {
            return ErrorResponse(error.status, error.code, error.what());
        }
    }
    // The transport serves the event stream, and leaves what is no GET.
    if (request.path == kRedirectPath || request.path == HttpServer::kEventsPath)
        return MethodNotAllowed(request.path, "GET");
    return m_router.Serve(request);
}

CNetworkBridge& ConfiguratorApi::Bridge(const ApiCall& call)
{
    CNetworkBridge* bridge = m_system.BridgeById(static_cast<unsigned>(call.Number("id")));
    if (!bridge)
        throw ApiError(404, "not_found", "there is no interface " + call.path.at("id"));
    return *bridge;
}

CDoorLock& ConfiguratorApi::Lock(const ApiCall& call)
{
    CDoorLock* lock = m_system.LockById(static_cast<unsigned>(call.Number("id")));
    if (!lock)
        throw ApiError(404, "not_found", "there is no lock " + call.path.at("id"));
    return *lock;
}

json ConfiguratorApi::InterfaceWithMaster(CNetworkBridge& shown) const
{
    const auto known = m_masters.find(shown.ID());
    json result = InterfaceJson(m_system, shown);
    result["master"] = known == m_masters.end() ? json(nullptr) : json(known->second);
    const auto houses = m_options.houses ? m_options.houses->Of(shown.ID()) : std::nullopt;
    result["houses"] = houses ? json(*houses) : json(nullptr);
    return result;
}

// A route for PUT or POST whose body may have these members only: one that is misspelt would be passed over,
// and with it what was meant.
void ConfiguratorApi::AddChange(std::string method, std::string pattern, std::vector<std::string> members,
                                ApiHandler handler)
{
    m_router.Add(std::move(method), std::move(pattern),
                 [members = std::move(members), handler = std::move(handler)](const ApiCall& call) {
                     for (const auto& [name, value] : call.body.items()) {
                         if (std::ranges::find(members, name) == members.end())
                             throw ApiError(400, "bad_body", "this request takes no \"" + name + "\"");
                     }
                     return handler(call);
                 });
}

void ConfiguratorApi::Note(ActivityEntry entry) const
{
    if (m_options.activity)
        m_options.activity->Add(std::move(entry));
}

void ConfiguratorApi::NoteAccount(const CNetworkBridge& account, const std::string& what) const
{
    Note({.kind = "account", .account = account.ID(), .text = static_cast<char*>(account.Name()) + what});
}

void ConfiguratorApi::NoteLock(const CDoorLock& lock, const std::string& kind, int user,
                               const std::string& what) const
{
    Note({.kind = kind, .lock = lock.ID(), .user = user, .text = static_cast<char*>(lock.Name()) + what});
}

std::string ConfiguratorApi::NameOfUser(int user)
{
    const CUser* known = m_system.Security().GetUserAtDoorLockSlot(user - 1);
    return known ? std::string(static_cast<char*>(known->Name())) : "user " + std::to_string(user);
}

json ConfiguratorApi::Snapshot()
{
    return {{"status", Status()},    {"interfaces", Interfaces()}, {"locks", Locks()},
            {"users", Users(false)}, {"access", Access()},         {"guide", GuideJson()}};
}

json ConfiguratorApi::Interfaces()
{
    json interfaces = json::array();
    for (int i = 0; i < m_system.NBridges(); ++i)
        interfaces.push_back(InterfaceWithMaster(*m_system.BridgeById(m_system.Bridge(i)->ID())));
    return interfaces;
}

void ConfiguratorApi::AddInterfaceRoutes()
{
    m_router.Add("GET", "/api/v1/interfaces", [this](const ApiCall&) {
        return json{{"interfaces", Interfaces()}};
    });
    AddChange("POST", "/api/v1/interfaces", {"type"}, [this](const ApiCall& call) {
        const auto definitions = m_system.InterfaceDefinitions();
        if (definitions.empty())
            throw ApiError(409, "no_definition", "the library offers no interface");
        const json type = call.body.value("type", json(definitions.front()->Type()));
        const auto number = ToInt(type);
        const CNetworkBridge* added = number ? m_system.AddInterface(*number) : nullptr;
        if (!added)
            throw ApiError(400, "bad_type", "the library offers no interface of type " + Text(type));
        NoteAccount(*added, " was added");
        return InterfaceWithMaster(*m_system.BridgeById(added->ID()));
    });
    m_router.Add("GET", "/api/v1/interfaces/{id}",
                 [this](const ApiCall& call) { return InterfaceWithMaster(Bridge(call)); });
    m_router.Add("DELETE", "/api/v1/interfaces/{id}", [this](const ApiCall& call) {
        const unsigned id = Bridge(call).ID();
        NoteAccount(Bridge(call), " was removed");
        m_system.RemoveInterface(id);
        m_extendedPages.erase(id);
        m_shownLists.erase(id);
        m_masters.clear(); // another interface may be the master now
        return Done();
    });
    AddChange("POST", "/api/v1/interfaces/{id}/discover", {}, [this](const ApiCall& call) {
        Interface(call).Discover();
        return Done();
    });
    m_router.Add("GET", "/api/v1/counters", [this](const ApiCall&) {
        json counters = json::object();
        for (int i = 0; i < m_system.NBridges(); ++i) {
            const unsigned id = m_system.Bridge(i)->ID();
            counters[std::to_string(id)] = CountersJson(m_system, *m_system.BridgeById(id));
        }
        return json{{"counters", counters}};
    });
}

json ConfiguratorApi::Locks()
{
    json locks = json::array();
    for (int i = 0; i < m_system.NDoorLock(COMPONENT_FILTER_ALL); ++i)
        locks.push_back(ShowLock(*m_system.DoorLock(i)));
    return locks;
}

json ConfiguratorApi::ShowLock(CDoorLock& shown) const
{
    CloudLock cloud;
    if (const auto* client = dynamic_cast<const CBridgeClient*>(&shown); client && m_options.cloudLocks)
        cloud = m_options.cloudLocks->Find(static_cast<char*>(client->DeviceID()));
    if (cloud.lastCommand && m_options.log)
        cloud.lastCommand->text = m_options.log->Secrets().Hide(cloud.lastCommand->text);
    return LockJson(shown, cloud);
}

json ConfiguratorApi::LockOrGone(unsigned id)
{
    CDoorLock* lock = m_system.LockById(id);
    return lock ? ShowLock(*lock) : json{{"id", id}, {"gone", true}};
}

json ConfiguratorApi::ShowHistory(const ApiCall& call)
{
    const auto* client = dynamic_cast<const CBridgeClient*>(&Lock(call));
    constexpr auto kMostDays = static_cast<std::uint64_t>(LockHistory::kMaxAge.count());
    const std::uint64_t days = call.request.Number("days", kMostDays);
    if (days < 1 || days > kMostDays)
        throw ApiError(400, "bad_parameter", "days must be 1 to " + std::to_string(kMostDays));
    json points = json::array();
    if (client && m_options.history) {
        const auto since = std::chrono::system_clock::now() - std::chrono::days(days);
        for (const Heartbeat& heartbeat :
             m_options.history->Read(static_cast<char*>(client->DeviceID()), since))
            points.push_back(HeartbeatJson(heartbeat));
    }
    return {{"points", points}};
}

void ConfiguratorApi::AddLockRoutes()
{
    m_router.Add("GET", "/api/v1/locks", [this](const ApiCall&) { return json{{"locks", Locks()}}; });
    m_router.Add("GET", "/api/v1/locks/{id}", [this](const ApiCall& call) { return ShowLock(Lock(call)); });
    m_router.Add("GET", "/api/v1/locks/{id}/history",
                 [this](const ApiCall& call) { return ShowHistory(call); });
    m_router.Add("DELETE", "/api/v1/locks/{id}", [this](const ApiCall& call) {
        m_system.RemoveLock(Lock(call).ID()); // the activity tells of it with every other removal
        return Done();
    });
    AddChange("POST", "/api/v1/locks/{id}/commands", {"command", "user"},
              [this](const ApiCall& call) { return RunCommand(call); });
    m_router.Add("GET", "/api/v1/locks/{id}/status-page",
                 [this](const ApiCall& call) { return ShowStatusPage(call); });
    AddChange("PUT", "/api/v1/locks/{id}/status-page", {"items", "fields"},
              [this](const ApiCall& call) { return StoreStatusPage(call); });
    AddChange("PUT", "/api/v1/locks/{id}/users/{user}", {"enabled"},
              [this](const ApiCall& call) { return EnableUser(call); });
}

json ConfiguratorApi::RunCommand(const ApiCall& call)
{
    CDoorLock& target = Lock(call);
    const std::string command = TextMember(call.body, "command", "");
    if (command != "lock" && command != "unlock")
        throw ApiError(400, "bad_command", "\"command\" must be \"lock\" or \"unlock\"");
    int user = 0;
    if (command == "unlock") {
        // Users are numbered from one, and a number above the slots would be credited to nobody.
        const auto given = call.body.find("user");
        if (given == call.body.end() || !given->is_number_unsigned() || given->get<std::uint64_t>() < 1 ||
            given->get<std::uint64_t>() > SecurityServer::kSlots)
            throw ApiError(400, "bad_user", "\"user\" must be a user's number from 1 to 30");
        user = given->get<int>();
        if (!m_system.Security().GetUserAtDoorLockSlot(user - 1))
            throw ApiError(409, "no_user",
                           "there is no user " + std::to_string(user) + ": slot " + std::to_string(user - 1) +
                               " is empty");
    }
    const auto* client = dynamic_cast<const CBridgeClient*>(&target);
    if (client && !client->Bridge())
        throw ApiError(409, "refused", "the lock has no account");
    const auto before = std::chrono::system_clock::now(); // the cloud may answer before this goes on
    if (!target.ExecuteCommand(command == "lock" ? kCommandLock : kCommandUnlock, user))
        throw ApiError(409, "refused",
                       target.State() ==
                               (command == "lock" ? CDoorLock::STATE_SECURED : CDoorLock::STATE_UNSECURED)
                           ? "the lock is " + command + "ed already"
                           : "the lock's driver did not take the command");
    NoteLock(target, "command", user,
             command == "lock" ? ": lock was sent" : ": unlock was sent for " + NameOfUser(user));
    if (client && m_options.cloudLocks)
        m_options.cloudLocks->Asked(static_cast<char*>(client->DeviceID()), command == "unlock", before);
    return ShowLock(target);
}

json ConfiguratorApi::ShowStatusPage(const ApiCall& call)
{
    CDoorLock& target = Lock(call);
    CQXMSG message;
    target.GetExtendedConfig(&message);
    json fields = StatusFieldsJson(message, call.Secrets());
    if (call.Secrets())
        NoteLock(target, "lock", 0, ": the programming code was shown");
    return {{"items", MessageJson(message, call.Secrets())}, {"fields", std::move(fields)}};
}

json ConfiguratorApi::StoreStatusPage(const ApiCall& call)
{
    CDoorLock& target = Lock(call);
    CQXMSG current;
    target.GetExtendedConfig(&current);
    if (current.Items().empty())
        throw ApiError(409, "no_page", "this lock has no page");
    const auto page = LockPage::Read(current);
    if (!page)
        throw ApiError(502, "bad_page", "the driver's page cannot be read");
    CQXMSG message = StatusAnswer(*page, call.body);
    target.SetExtendedConfig(&message);
    m_system.NotifyWrite(); // a driver may leave its record for the next save
    m_system.MarkLockChanged(target.ID());
    NoteLock(target, "lock", 0, ": settings were stored");
    return Done();
}

json ConfiguratorApi::EnableUser(const ApiCall& call)
{
    CDoorLock& target = Lock(call);
    const int user = call.Number("user");
    if (user < 1 || user > SecurityServer::kSlots)
        throw ApiError(404, "not_found", "users have the numbers 1 to 30");
    RefuseHeld(user - 1);
    const bool enabled = FlagMember(call.body, "enabled");
    target.EnableUser(user, enabled);
    m_system.NotifyWrite();
    m_system.MarkLockChanged(target.ID());
    NoteLock(target, "user", user,
             (enabled ? ": may be used by " : ": may no longer be used by ") + NameOfUser(user));
    const int handledCount = AnnounceSlot(user - 1);
    return {{"enabled", enabled}, {"handled", handledCount != 0}};
}

json ConfiguratorApi::Users(bool showPins)
{
    json users = json::array();
    for (int slot = 0; slot < SecurityServer::kSlots; ++slot) {
        if (const CUser* user = m_system.Security().GetUserAtDoorLockSlot(slot))
            users.push_back(UserJson(slot, *user, showPins));
    }
    return users;
}

json ConfiguratorApi::UserOrGone(int slot)
{
    const CUser* user = m_system.Security().GetUserAtDoorLockSlot(slot);
    return user ? UserJson(slot, *user, false) : json{{"slot", slot}, {"gone", true}};
}

void ConfiguratorApi::AddUserRoutes()
{
    m_router.Add("GET", "/api/v1/users", [this](const ApiCall& call) {
        return json{{"users", Users(call.Secrets())}};
    });
    m_router.Add("GET", "/api/v1/users/{slot}", [this](const ApiCall& call) {
        const CUser* user = m_system.Security().GetUserAtDoorLockSlot(call.Number("slot"));
        if (!user)
            throw ApiError(404, "not_found", "there is no user at slot " + call.path.at("slot"));
        return UserJson(call.Number("slot"), *user, call.Secrets());
    });
    AddChange("PUT", "/api/v1/users/{slot}", {"name", "email", "pin"},
              [this](const ApiCall& call) { return StoreUser(call); });
    m_router.Add("DELETE", "/api/v1/users/{slot}", [this](const ApiCall& call) { return DeleteUser(call); });
}

json ConfiguratorApi::StoreUser(const ApiCall& call)
{
    const int slot = call.Number("slot");
    if (slot >= SecurityServer::kSlots)
        throw ApiError(404, "not_found", "slots have the numbers 0 to 29");
    RefuseHeld(slot);
    // A change may leave out what stays, above all the PIN, which a reader is not shown.
    const CUser* old = m_system.Security().GetUserAtDoorLockSlot(slot);
    const auto oldText = [&](CQXString value) { return std::string(static_cast<char*>(value)); };
    UserData user;
    user.name = TextMember(call.body, "name", old ? oldText(old->Name()) : "");
    user.email = TextMember(call.body, "email", old ? oldText(old->Email()) : "");
    user.pin = TextMember(call.body, "pin", old ? oldText(old->PIN_DoorLock()) : "");
    if (const auto fault = CheckNewName(user.name))
        throw ApiError(400, "bad_user", *fault);
    if (const auto fault = m_system.Security().FindDuplicate(slot, user))
        throw ApiError(409, "duplicate_user", *fault);
    if (const UserData* held = m_guide.Held(); held && (held->name == user.name || held->pin == user.pin))
        throw ApiError(409, "duplicate_user",
                       "name or pin is that of the user to whom access is being given");
    const int handledCount = PutUser(slot, user);
    json result = UserJson(slot, *m_system.Security().GetUserAtDoorLockSlot(slot), call.Secrets());
    result["locks_handled"] = handledCount;
    return result;
}

int ConfiguratorApi::PutUser(int slot, const UserData& user)
{
    if (const auto fault = m_system.Security().SetUser(slot, user))
        throw ApiError(400, "bad_user", *fault);
    if (m_options.userChanged)
        m_options.userChanged(slot);
    Note({.kind = "user", .user = slot + 1, .text = user.name + " was stored"});
    m_system.NotifyWrite();
    return AnnounceSlot(slot);
}

json ConfiguratorApi::DeleteUser(const ApiCall& call)
{
    const int slot = call.Number("slot");
    RefuseHeld(slot);
    if (!m_system.Security().GetUserAtDoorLockSlot(slot))
        throw ApiError(404, "not_found", "there is no user at slot " + call.path.at("slot"));
    return {{"ok", true}, {"locks_handled", RemoveUser(slot)}};
}

int ConfiguratorApi::RemoveUser(int slot)
{
    const std::string name = NameOfUser(slot + 1);
    m_access.Leaving(slot);
    m_system.Security().DeleteUser(slot);
    Note({.kind = "user", .user = slot + 1, .text = name + " was deleted"});
    m_system.NotifyWrite();
    const int handledCount = AnnounceSlot(slot);
    // Whoever gets the slot next must not come into the rights of its last user.
    for (int i = 0; i < m_system.NDoorLock(COMPONENT_FILTER_ALL); ++i) {
        m_system.DoorLock(i)->EnableUser(slot + 1, 0);
        m_system.MarkLockChanged(m_system.DoorLock(i)->ID());
    }
    if (m_options.userChanged)
        m_options.userChanged(slot);
    return handledCount;
}

} // namespace devhost
