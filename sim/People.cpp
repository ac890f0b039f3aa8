// What people and chance do.

#include "sim/People.h"

#include "devhost/framework/pages/PropertyPage.h"
#include "tests/support/Probes.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace sim
{

namespace
{

using nlohmann::json;

constexpr std::uint64_t kMeanGapMs = 360'000;
constexpr int kHouseProperty = 2001;

// The part of an address behind "name=", up to the next field.
std::string Field(const std::string& url, const std::string& name)
{
    const std::size_t at = url.find(name + "=");
    if (at == std::string::npos)
        return "";
    const std::size_t begin = at + name.size() + 1;
    return url.substr(begin, url.find_first_of("&#", begin) - begin);
}

} // namespace

const std::vector<People::Kind>& People::Kinds()
{
    static const std::vector<Kind> kinds{
        {"visit", 12, Faults::None, &People::Visit},
        {"add an account", 4, Faults::None, &People::AddAccount},
        {"remove an account", 1, Faults::None, &People::RemoveAccount},
        {"authorise", 1, Faults::None, &People::Authorise},
        {"refuse consent", 1, Faults::None, &People::RefuseConsent},
        {"choose a house", 2, Faults::None, &People::Choose},
        {"reset", 1, Faults::None, &People::Reset},
        {"discover", 3, Faults::None, &People::Discover},
        {"remove a lock", 1, Faults::None, &People::RemoveLock},
        {"read pages", 6, Faults::None, &People::ReadPages},
        {"store a lock's page", 2, Faults::None, &People::LockPage},
        {"switch the trace", 1, Faults::None, &People::SwitchTrace},
        {"store a user", 16, Faults::None, &People::StoreUser},
        {"delete a user", 6, Faults::None, &People::DeleteUser},
        {"enable a user", 12, Faults::None, &People::EnableUser},
        {"lock", 20, Faults::None, &People::Lock},
        {"unlock", 20, Faults::None, &People::Unlock},
        {"restart", 2, Faults::None, &People::Restart},
        {"turn a knob", 14, Faults::None, &People::TurnKnob},
        {"enter a PIN", 10, Faults::None, &People::EnterPin},
        {"measure", 8, Faults::None, &People::Measure},
        {"kill", 1, Faults::Normal, &People::Kill},
        {"kill in a save", 1, Faults::Normal, &People::KillInSave},
        {"set the clock", 1, Faults::Normal, &People::SetClock},
        {"fill the disk", 1, Faults::Normal, &People::FillDisk},
        {"go offline", 3, Faults::Normal, &People::GoOffline},
        {"rename in the cloud", 2, Faults::Normal, &People::Rename},
        {"storm", 1, Faults::Normal, &People::Storm},
        {"change persons in the cloud", 3, Faults::Hostile, &People::ChangePersons},
        {"change locks in the cloud", 3, Faults::Hostile, &People::ChangeLocks},
        {"change houses in the cloud", 1, Faults::Hostile, &People::ChangeHouses},
        {"revoke tokens", 2, Faults::Hostile, &People::RevokeTokens},
        {"storm again", 5, Faults::Hostile, &People::Storm},
    };
    return kinds;
}

People::People(const Settings& settings, Scheduler& scheduler, Controller& controller, SimulatedCloud& cloud,
               Rules& rules, Journal& journal)
    : m_settings(settings), m_scheduler(scheduler), m_controller(controller), m_cloud(cloud), m_rules(rules),
      m_journal(journal), m_pace(Random::For(settings.seed, "pace")), m_nextMs(scheduler.NowMs() + 1000)
{
}

bool People::Act()
{
    bool acted = false;
    // By place, since an action may add others.
    for (std::size_t i = 0; i < m_later.size();) {
        if (m_later[i].atMs > m_scheduler.NowMs()) {
            ++i;
            continue;
        }
        const auto act = std::move(m_later[i].act);
        m_later.erase(m_later.begin() + static_cast<std::ptrdiff_t>(i));
        act();
        acted = true;
    }
    while (m_scheduler.NowMs() >= m_nextMs) {
        m_nextMs += m_pace.Between(1, 2 * kMeanGapMs);
        const int number = m_next++;
        const bool left =
            m_settings.someOperations && !std::ranges::binary_search(m_settings.operations, number);
        if (m_resting || left)
            continue;
        Begin(number);
        acted = true;
    }
    return acted;
}

void People::Begin(int number)
{
    Random chance = Random::For(m_settings.seed, "operation", static_cast<std::uint64_t>(number));
    std::vector<const Kind*> possible;
    for (const Kind& kind : Kinds()) {
        for (int i = 0; kind.from <= m_settings.faults && i < kind.weight; ++i)
            possible.push_back(&kind);
    }
    // The first ones make a system of it.
    const Kind& kind =
        number < 2 * m_settings.accounts ? Kinds().at(number % 2 ? 0 : 1) : *chance.Pick(possible);
    m_begun.push_back(number);
    m_journal.Event("people   #" + std::to_string(number) + " " + kind.name);
    m_journal.Count("operations");
    m_journal.Count(std::string("operation: ") + kind.name);
    (this->*kind.act)(chance);
}

void People::Later(std::uint64_t ms, std::function<void()> function)
{
    m_later.push_back({m_scheduler.NowMs() + ms, std::move(function)});
}

CVestaraInterface* People::AnyAccount(Random& chance)
{
    auto accounts = m_controller.Accounts();
    return accounts.empty() ? nullptr : chance.Pick(accounts);
}

CPortivo* People::AnyLock(Random& chance)
{
    auto locks = m_controller.Locks();
    std::erase_if(locks, [](CPortivo* lock) { return !lock->Interface(); });
    return locks.empty() ? nullptr : chance.Pick(locks);
}

CVestaraInterface* People::Master()
{
    for (CVestaraInterface* account : m_controller.Accounts()) {
        if (account->IsMaster())
            return account;
    }
    return nullptr;
}

// An installer looks for what is missing, and does it.
void People::SetUp()
{
    if (Busy())
        return;
    if (static_cast<int>(m_controller.Accounts().size()) < m_settings.accounts)
        AddAccount(m_pace);
    else
        Visit(m_pace);
}

void People::Visit(Random& chance)
{
    CVestaraInterface* const master = Master();
    if (!master)
        return;
    if (!Controller::HasUsableToken(*master)) {
        BeginConsent(*master, false, chance.Between(2'000, 60'000));
        return;
    }
    for (CVestaraInterface* account : m_controller.Accounts()) {
        if (account->LocationID().IsEmpty()) {
            ChooseHouse(*account, chance, true);
            return;
        }
    }
}

void People::AddAccount(Random& /*chance*/)
{
    if (static_cast<int>(m_controller.Accounts().size()) < m_settings.accounts)
        m_controller.System().AddInterface(kVestaraInterfaceType);
}

void People::RemoveAccount(Random& chance)
{
    if (CVestaraInterface* account = AnyAccount(chance)) {
        m_rules.OnDropped("a removal");
        m_rules.OnLocksGone();
        m_controller.System().RemoveInterface(account->BridgeID());
    }
}

// The browser takes its time; the account may have gone meanwhile.
void People::BeginConsent(CVestaraInterface& account, bool refuse, std::uint64_t afterMs)
{
    const std::string url = Plain(account.GetAuthURL());
    Later(afterMs, [this, url, refuse] {
        const std::string back =
            refuse ? "?error=access_denied&state=" + Field(url, "state") : m_cloud.Browse(url);
        CNetworkBridge* bridge = m_controller.System().TakeOAuthState(Field(back, "state"));
        const std::string code = Field(back, "code");
        m_journal.Event(std::string("people   the browser comes back ") + (!bridge        ? "to nobody"
                                                                           : code.empty() ? "without consent"
                                                                                          : "with a code"));
        if (bridge && !code.empty())
            bridge->DeviceInterface()->ProcessAuthCode(code.c_str());
    });
}

void People::Authorise(Random& chance)
{
    if (CVestaraInterface* master = Master())
        BeginConsent(*master, false, chance.Between(2'000, 60'000));
}

void People::RefuseConsent(Random& chance)
{
    if (CVestaraInterface* master = Master())
        BeginConsent(*master, true, chance.Between(2'000, 60'000));
}

// Opens the page, waits for the list, and stores a choice.
void People::ChooseHouse(CVestaraInterface& account, Random& chance, bool own)
{
    const unsigned bridgeId = account.BridgeID();
    m_controller.System().Pages().Open(bridgeId, account);
    const std::uint64_t pick = chance.Number();
    const bool extended = chance.Below(3) == 0;
    Later(chance.Between(3'000, 30'000), [this, bridgeId, pick, own, extended] {
        CNetworkBridge* bridge = m_controller.System().BridgeById(bridgeId);
        if (!bridge)
            return;
        auto& chooser = dynamic_cast<CVestaraInterface&>(*bridge->DeviceInterface());
        const auto page = m_controller.System().Pages().Open(bridgeId, chooser);
        std::vector<std::string> names = page->ChoiceNames();
        // Nobody chooses the foreign house.
        std::vector<int> places;
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (names[i] != "Foreign House")
                places.push_back(static_cast<int>(i));
        }
        if (places.empty())
            return;
        const int place = own ? places.front() : places[pick % places.size()];
        m_rules.OnDropped("a choice");
        m_rules.OnLocksGone();
        if (extended) {
            CQXMSG answer;
            answer.PutInt(place);
            chooser.SetExtBridgeConfig(&answer);
        } else {
            page->Store(chooser, {{kHouseProperty, place}});
        }
        m_journal.Event("people   chose " + names[static_cast<std::size_t>(place)]);
    });
}

void People::Choose(Random& chance)
{
    if (CVestaraInterface* account = AnyAccount(chance))
        ChooseHouse(*account, chance, false);
}

void People::Reset(Random& /*chance*/)
{
    if (CVestaraInterface* master = Master()) {
        m_rules.OnDropped("a reset");
        m_rules.OnLocksGone();
        CPropertySet set;
        master->ExecuteAction(devhost::kActionReset, &set);
    }
}

void People::Discover(Random& chance)
{
    if (CVestaraInterface* account = AnyAccount(chance)) {
        m_rules.OnDropped("a discovery");
        account->Discover();
    }
}

void People::RemoveLock(Random& chance)
{
    if (const CPortivo* lock = AnyLock(chance)) {
        m_rules.OnLocksGone();
        m_controller.System().RemoveLock(lock->ID());
    }
}

void People::ReadPages(Random& chance)
{
    CVestaraInterface* const account = AnyAccount(chance);
    if (!account)
        return;
    CQXMSG extended;
    account->GetExtBridgeConfig(&extended);
    m_controller.System().Pages().Open(account->BridgeID(), *account)->Refresh();
    if (CPortivo* lock = AnyLock(chance)) {
        CQXMSG page;
        lock->GetExtendedConfig(&page);
    }
}

void People::LockPage(Random& chance)
{
    if (CPortivo* lock = AnyLock(chance)) {
        CQXMSG page;
        for (int i = 0; i < 5; ++i)
            page.PutInt(static_cast<int>(chance.Below(3)));
        lock->SetExtendedConfig(&page);
    }
}

void People::SwitchTrace(Random& chance)
{
    m_controller.Trace(true);
    Later(chance.Between(30'000, 600'000), [this] { m_controller.Trace(false); });
}

void People::Announce(int slot)
{
    m_rules.BeforeAnnouncement(slot);
    m_controller.System().NotifyWrite();
    m_controller.OnUsersChanged();
    m_controller.System().AnnounceUserSlot(slot);
}

void People::PutUser(int slot, const devhost::UserData& user)
{
    auto& security = m_controller.System().Security();
    if (security.FindDuplicate(slot, user) || security.SetUser(slot, user))
        return;
    Announce(slot);
}

void People::StoreUser(Random& chance)
{
    const int slot =
        static_cast<int>(chance.Below(static_cast<std::uint64_t>(std::max(m_settings.users, 1))));
    const CUser* known = m_controller.System().Security().GetUserAtDoorLockSlot(slot);
    const std::string number = std::to_string(slot);
    devhost::UserData user{std::string("User ").append(number),
                           std::string("u").append(number).append("@x.example"),
                           std::to_string(1'000 + chance.Below(8'000))};
    if (known) {
        user = devhost::UserData{Plain(known->Name()), Plain(known->Email()), Plain(known->PIN_DoorLock())};
        switch (chance.Below(4)) {
        case 0:
            user.name = std::string("User ").append(number).append(" ").append(
                1, static_cast<char>('a' + chance.Below(26)));
            break;
        case 1:
            user.email =
                chance.Below(2) == 0 ? std::string() : std::to_string(chance.Below(100)).append("@x.example");
            break;
        default:
            user.pin = std::to_string(10'000 + chance.Below(80'000));
            break;
        }
    }
    PutUser(slot, user);
}

void People::DeleteUser(Random& chance)
{
    const int slot =
        static_cast<int>(chance.Below(static_cast<std::uint64_t>(std::max(m_settings.users, 1))));
    auto& system = m_controller.System();
    if (!system.Security().GetUserAtDoorLockSlot(slot))
        return;
    system.Security().DeleteUser(slot);
    Announce(slot);
    for (CPortivo* lock : m_controller.Locks())
        lock->EnableUser(slot + 1, 0);
}

void People::EnableUser(Random& chance)
{
    const int slot =
        static_cast<int>(chance.Below(static_cast<std::uint64_t>(std::max(m_settings.users, 1))));
    CPortivo* const lock = AnyLock(chance);
    if (!lock)
        return;
    lock->EnableUser(slot + 1, chance.Below(3) > 0 ? 1 : 0);
    m_rules.OnEnabled(slot);
    Announce(slot);
}

void People::Lock(Random& chance)
{
    if (CPortivo* lock = AnyLock(chance); lock && lock->ExecuteCommand(1270, 0))
        m_rules.OnLockCommand(*lock, 0);
}

void People::Unlock(Random& chance)
{
    const int user =
        static_cast<int>(chance.Between(1, static_cast<std::uint64_t>(std::max(m_settings.users, 1))));
    if (CPortivo* lock = AnyLock(chance); lock && lock->ExecuteCommand(1271, user))
        m_rules.OnLockCommand(*lock, user);
}

void People::Restart(Random& /*chance*/)
{
    m_rules.OnDropped("a restart");
    m_controller.Restart();
}

void People::Kill(Random& /*chance*/)
{
    m_rules.OnDropped("a kill");
    m_rules.OnLocksGone();
    m_controller.Kill();
}

void People::KillInSave(Random& chance)
{
    m_rules.OnDropped("a kill");
    m_rules.OnLocksGone();
    m_controller.KillAtNextSave(chance.Below(2) == 0);
    m_controller.System().NotifyWrite();
}

void People::SetClock(Random& chance)
{
    const auto off = static_cast<std::int64_t>(chance.Below(172'800)) - 86'400;
    m_journal.Event("people   set the clock off by " + std::to_string(off) + " s");
    m_controller.SetCalendar(off);
    Later(chance.Between(60'000, 3'600'000), [this] { m_controller.SetCalendar(0); });
}

void People::FillDisk(Random& chance)
{
    m_controller.DiskFull(true);
    m_controller.System().NotifyWrite();
    Later(chance.Between(10'000, 300'000), [this] { m_controller.DiskFull(false); });
}

void People::TurnKnob(Random& chance)
{
    const auto& locks = m_cloud.World().locks;
    const std::string state = chance.Below(2) == 0 ? "locked" : "unlocked";
    if (!locks.empty())
        m_cloud.Admin("POST", "locks/" + chance.Pick(locks).id + "/turn", json{{"state", state}}.dump());
}

void People::EnterPin(Random& chance)
{
    const auto& world = m_cloud.World();
    if (world.accesses.empty())
        return;
    const cloudsim::Access& access = chance.Pick(world.accesses);
    const auto person = std::ranges::find(world.persons, access.personId, &cloudsim::AccessPerson::id);
    if (person != world.persons.end())
        m_cloud.Admin("POST", "locks/" + access.lockId + "/pin", json{{"pin", person->pin}}.dump());
}

void People::Measure(Random& chance)
{
    const auto& locks = m_cloud.World().locks;
    if (locks.empty())
        return;
    const std::string lock = "locks/" + chance.Pick(locks).id;
    m_cloud.Admin("POST", lock + (chance.Below(2) == 0 ? "/battery" : "/wifi"),
                  json{{"level", chance.Below(101)}}.dump());
}

void People::GoOffline(Random& chance)
{
    const auto& locks = m_cloud.World().locks;
    if (locks.empty())
        return;
    const std::string target = "locks/" + chance.Pick(locks).id + "/online";
    m_cloud.Admin("POST", target, R"({"online":false})");
    Later(chance.Between(60'000, 3'600'000),
          [this, target] { m_cloud.Admin("POST", target, R"({"online":true})"); });
}

void People::Rename(Random& chance)
{
    const auto& world = m_cloud.World();
    const std::string mark = std::string(1, static_cast<char>('a' + chance.Below(26)));
    switch (chance.Below(3)) {
    case 0:
        if (!world.locks.empty()) {
            const std::string id = chance.Pick(world.locks).id;
            if (id != kForeignLock)
                m_cloud.Admin("PUT", "locks/" + id, json{{"name", "Door " + mark}}.dump());
        }
        break;
    case 1: {
        const std::string id = chance.Pick(world.locations).id;
        if (id != kForeignHouse)
            m_cloud.Admin("PUT", "locations/" + id, json{{"name", "House " + mark}}.dump());
        break;
    }
    default: {
        const cloudsim::AccessPerson& person = chance.Pick(world.persons);
        if (person.name.starts_with(kStranger))
            break;
        m_rules.OnCloudPersonChanged(person.name);
        m_cloud.Admin("PUT", "access_persons/" + person.id, json{{"name", "Person " + mark}}.dump());
        break;
    }
    }
}

void People::ChangePersons(Random& chance)
{
    const auto& world = m_cloud.World();
    const cloudsim::AccessPerson& person = chance.Pick(world.persons);
    if (chance.Below(2) == 0 && !person.name.starts_with(kStranger)) {
        m_rules.OnCloudPersonChanged(person.name);
        m_cloud.Admin("DELETE", "access_persons/" + person.id, "");
        return;
    }
    const int slot = static_cast<int>(chance.Below(30));
    const std::string name = "User " + std::to_string(slot);
    m_rules.OnCloudPersonChanged("");
    m_cloud.Admin(
        "POST", "access_persons",
        json{{"name", name}, {"pin", std::to_string(20'000'000 + chance.Below(10'000'000))}}.dump());
}

void People::ChangeLocks(Random& chance)
{
    const auto& world = m_cloud.World();
    const std::string house =
        "house-" + std::to_string(chance.Below(static_cast<std::uint64_t>(m_settings.accounts)));
    if (chance.Below(2) == 0 && !world.locks.empty()) {
        const std::string id = chance.Pick(world.locks).id;
        if (id != kForeignLock) {
            m_rules.OnLocksGone();
            m_cloud.Admin("DELETE", "locks/" + id, "");
        }
        return;
    }
    m_cloud.Admin("POST", "locks",
                  json{{"name", "New door"}, {"location_id", house}, {"heartbeat_interval", 120}}.dump());
}

void People::ChangeHouses(Random& chance)
{
    const auto& world = m_cloud.World();
    // One for each account, and the foreign one: the driver takes a single house that is left by itself.
    const auto least = static_cast<std::size_t>(m_settings.accounts) + 1;
    const std::string id = chance.Pick(world.locations).id;
    if (world.locations.size() < least + 2 && chance.Below(2) == 0) {
        m_cloud.Admin("POST", "locations", json{{"name", "New house"}}.dump());
        m_cloud.Admin("POST", "locks",
                      json{{"name", "New door"},
                           {"location_id", world.locations.back().id},
                           {"heartbeat_interval", 120}}
                          .dump());
    } else if (world.locations.size() > least && id != kForeignHouse) {
        m_rules.OnLocksGone();
        std::vector<std::string> gone;
        for (const cloudsim::Lock& lock : world.locks) {
            if (lock.locationId == id)
                gone.push_back(lock.id);
        }
        for (const std::string& lock : gone)
            m_cloud.Admin("DELETE", "locks/" + lock, "");
        m_cloud.Admin("DELETE", "locations/" + id, "");
    }
}

void People::RevokeTokens(Random& chance)
{
    m_cloud.Admin("POST", "tokens/revoke", json{{"refresh", chance.Below(3) == 0}}.dump());
}

void People::Storm(Random& chance)
{
    m_cloud.Storm(chance.Between(10'000, 900'000));
}

} // namespace sim
