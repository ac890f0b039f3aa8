// The configurator's routes for who has access, and the guided step that gives it.

#include "devhost/controller/ConfiguratorApi.h"

#include <algorithm>
#include <utility>

namespace devhost
{

namespace
{

using nlohmann::json;

const char* SyncName(AccessMatrix::Sync sync)
{
    switch (sync) {
    case AccessMatrix::Sync::Agrees:
        return "agrees";
    case AccessMatrix::Sync::Waiting:
        return "waiting";
    case AccessMatrix::Sync::Refused:
        return "refused";
    case AccessMatrix::Sync::Lost:
        return "lost";
    case AccessMatrix::Sync::NotSent:
        return "not_sent";
    case AccessMatrix::Sync::Unknown:
        break;
    }
    return "unknown";
}

const char* PhaseName(AccessGuide::Phase phase)
{
    switch (phase) {
    case AccessGuide::Phase::Deleting:
        return "deleting";
    case AccessGuide::Phase::Reading:
        return "reading";
    case AccessGuide::Phase::Giving:
        return "giving";
    case AccessGuide::Phase::Done:
        return "done";
    case AccessGuide::Phase::Failed:
        break;
    }
    return "failed";
}

// @param hide for the cloud's words, which may quote what they refuse.
json VerdictJson(const AccessMatrix::Verdict& verdict, const std::function<std::string(std::string)>& hide)
{
    return {{"sync", SyncName(verdict.sync)},
            {"in_cloud", verdict.inCloud ? json(*verdict.inCloud) : json(nullptr)},
            {"since", TimeText(verdict.since)},
            {"cause", hide(verdict.cause)},
            {"advice", verdict.advice},
            {"give_access", verdict.giveAccess}};
}

} // namespace

json ConfiguratorApi::AccessJson(const AccessMatrix::Row& row) const
{
    const auto hide = [this](std::string text) {
        return m_options.log ? m_options.log->Secrets().Hide(text) : text;
    };
    json locks = json::array();
    for (const AccessMatrix::Cell& cell : row.locks) {
        json entry = VerdictJson(cell.verdict, hide);
        entry["lock"] = cell.lock;
        entry["wanted"] = cell.wanted;
        locks.push_back(std::move(entry));
    }
    return {{"slot", row.slot},
            {"name", row.name},
            {"wanted", row.wanted},
            {"person", VerdictJson(row.person, hide)},
            {"locks", locks}};
}

json ConfiguratorApi::GuideJson() const
{
    const auto& last = m_guide.Last();
    if (!last)
        return nullptr;
    const std::string text = m_options.log ? m_options.log->Secrets().Hide(last->text) : last->text;
    return {{"slot", last->slot}, {"name", last->name}, {"phase", PhaseName(last->phase)}, {"text", text}};
}

json ConfiguratorApi::Access()
{
    json rows = json::array();
    for (const AccessMatrix::Row& row : m_access.Rows())
        rows.push_back(AccessJson(row));
    return rows;
}

void ConfiguratorApi::Publish(const char* type, const json& data) const
{
    if (m_options.publish)
        m_options.publish(type, Text(data));
}

AccessGuide::Actions ConfiguratorApi::GuideActions()
{
    return {.deleteUser = [this](int slot) { RemoveUser(slot); },
            .storeUser = [this](int slot, const UserData& user) { PutUser(slot, user); },
            .enable =
                [this](int slot, const std::set<unsigned>& locks) {
                    for (int i = 0; i < m_system.NDoorLock(COMPONENT_FILTER_ALL); ++i) {
                        CDoorLock& lock = *m_system.DoorLock(i);
                        lock.EnableUser(slot + 1, locks.contains(lock.ID()) ? 1 : 0);
                        m_system.MarkLockChanged(lock.ID());
                    }
                },
            .discover =
                [this] {
                    for (int i = 0; i < m_system.NBridges(); ++i)
                        m_system.BridgeById(m_system.Bridge(i)->ID())->DeviceInterface()->Discover();
                },
            .changed =
                [this] {
                    const AccessGuide::Progress& now = *m_guide.Last();
                    if (!now.Runs())
                        Note({.kind = "user", .user = now.slot + 1, .text = now.name + ": " + now.text});
                    Publish("guide", GuideJson());
                }};
}

void ConfiguratorApi::FollowAccess()
{
    m_guide.GoOn();
    const int changes = m_options.persons->Now()->changes;
    if (changes == m_shownChanges && !m_accessChanged)
        return;
    m_shownChanges = changes;
    m_accessChanged = false;
    std::map<int, json> now;
    for (const AccessMatrix::Row& row : m_access.Rows()) {
        m_accessChanged = m_accessChanged || row.Waits(); // which ends by itself
        now[row.slot] = AccessJson(row);
    }
    for (const auto& [slot, row] : now) {
        const auto shown = m_shownAccess.find(slot);
        if (shown == m_shownAccess.end() || shown->second != row)
            Publish("access", row);
    }
    for (const auto& [slot, row] : m_shownAccess) {
        if (!now.contains(slot))
            Publish("access", {{"slot", slot}, {"gone", true}});
    }
    m_shownAccess = std::move(now);
}

int ConfiguratorApi::AnnounceSlot(int slot)
{
    const auto news = m_system.AnnounceUserSlot(slot);
    m_access.Told(slot, news);
    m_accessChanged = true;
    return static_cast<int>(std::ranges::count(news, true, &System::SlotNews::handled));
}

void ConfiguratorApi::RefuseHeld(int slot) const
{
    if (m_guide.Holds(slot))
        throw ApiError(409, "busy", "access is being given to this user; wait until that has ended");
}

json ConfiguratorApi::GiveAccess(const ApiCall& call)
{
    const int slot = call.Number("slot");
    if (!m_system.Security().GetUserAtDoorLockSlot(slot) && !m_guide.Holds(slot))
        throw ApiError(404, "not_found", "there is no user at slot " + call.path.at("slot"));
    if (m_guide.Last() && m_guide.Last()->Runs())
        throw ApiError(409, "busy", "access is being given to a user; wait until that has ended");
    const auto wanted = call.body.find("locks");
    if (wanted == call.body.end() || !wanted->is_array())
        throw ApiError(400, "bad_body",
                       "\"locks\" must be the ids of the locks that the user shall have access to");
    std::set<unsigned> locks;
    for (const json& id : *wanted) {
        if (!id.is_number_unsigned() || !std::in_range<unsigned>(id.get<std::uint64_t>()) ||
            !m_system.LockById(id.get<unsigned>()))
            throw ApiError(400, "bad_lock", "there is no lock " + Text(id));
        locks.insert(id.get<unsigned>());
    }
    if (m_system.NDoorLock(COMPONENT_FILTER_ALL) == 0)
        throw ApiError(409, "no_lock", "there is no lock yet, and only locks bring users into the cloud");
    m_guide.Begin(slot, std::move(locks));
    return GuideJson();
}

void ConfiguratorApi::AddAccessRoutes()
{
    m_router.Add("GET", "/api/v1/access", [this](const ApiCall&) {
        return json{{"access", Access()}, {"guide", GuideJson()}};
    });
    m_router.Add("GET", "/api/v1/users/{slot}/access", [this](const ApiCall& call) {
        const auto row = m_access.RowOf(call.Number("slot"));
        if (!row)
            throw ApiError(404, "not_found", "there is no user at slot " + call.path.at("slot"));
        return AccessJson(*row);
    });
    AddChange("POST", "/api/v1/users/{slot}/access", {"locks"},
              [this](const ApiCall& call) { return GiveAccess(call); });
}

} // namespace devhost
