// Reads requests about persons and what the cloud replied to them.

#include "devhost/controller/CloudPersons.h"

#include "devhost/framework/values/JsonParser.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace devhost
{

namespace
{

using nlohmann::json;

constexpr std::string_view kPersonsPath = "/access_persons";

// A bounded copy of a text member, empty for what is none.
std::string TextOf(const json& object, const char* name)
{
    if (!object.is_object())
        return {};
    const auto found = object.find(name);
    if (found == object.end() || !found->is_string())
        return {};
    return found->get_ref<const std::string&>().substr(0, CloudPersons::kMaxTextBytes);
}

// A member that is an object, or an empty one.
const json& ObjectOf(const json& object, const char* name)
{
    static const json kNone = json::object();
    if (!object.is_object())
        return kNone;
    const auto found = object.find(name);
    return found != object.end() && found->is_object() ? *found : kNone;
}

// What the driver itself takes for no JSON is not read here either.
json ReadJson(std::string_view text)
{
    return text.size() > kMaxJsonBytes ? json() : json::parse(text, nullptr, false);
}

// The parts of a path of persons behind its first.
struct Target {
    std::string person;
    std::string access;
    bool isRights = false;
    bool isOther = false; // something that is not followed
};

Target ReadTarget(std::string_view path)
{
    std::vector<std::string> parts;
    while (!path.empty()) {
        path.remove_prefix(1); // the slash
        const std::size_t end = std::min(path.find('/'), path.size());
        parts.emplace_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    Target result;
    if (!parts.empty())
        result.person = parts[0];
    result.isRights = parts.size() > 1 && parts[1] == "accesses";
    if (parts.size() == 3)
        result.access = parts[2];
    result.isOther = parts.size() > 3 || (parts.size() > 1 && !result.isRights);
    return result;
}

std::optional<CloudPersons::Step> StepOf(std::string_view method, const Target& target)
{
    using Step = CloudPersons::Step;
    if (target.isOther)
        return std::nullopt;
    if (target.person.empty())
        return method == "POST" ? std::optional(Step::Create) : std::nullopt;
    if (!target.isRights) {
        if (method == "PUT")
            return Step::Change;
        return method == "DELETE" ? std::optional(Step::Delete) : std::nullopt;
    }
    if (target.access.empty()) {
        if (method == "GET")
            return Step::ReadRights;
        return method == "POST" ? std::optional(Step::Grant) : std::nullopt;
    }
    return method == "DELETE" ? std::optional(Step::Revoke) : std::nullopt;
}

CloudPersons::Person ReadPerson(const json& entry)
{
    const json& attributes = ObjectOf(entry, "attributes");
    return {TextOf(attributes, "name"), TextOf(attributes, "pin"), TextOf(attributes, "email")};
}

void TakeList(CloudPersons::Knowledge& known, const json& reply, CloudPersons::Time now)
{
    const auto data = reply.is_object() ? reply.find("data") : reply.end();
    if (!reply.is_object() || data == reply.end() || !data->is_array())
        return;
    std::map<std::string, CloudPersons::Person> persons;
    for (const json& entry : *data) {
        const std::string id = TextOf(entry, "id");
        if (!id.empty() && persons.size() < CloudPersons::kMaxPersons)
            persons.emplace(id, ReadPerson(entry));
    }
    if (!known.listed || persons != known.persons)
        ++known.changes;
    known.listed = now;
    known.persons = std::move(persons);
    std::erase_if(known.rights, [&](const auto& entry) { return !known.persons.contains(entry.first); });
}

void TakeRights(CloudPersons::Rights& rights, const json& reply)
{
    const auto data = reply.is_object() ? reply.find("data") : reply.end();
    if (!reply.is_object() || data == reply.end() || !data->is_array())
        return;
    rights = {.complete = true, .byDevice = {}, .accesses = {}};
    for (const json& entry : *data) {
        const std::string device = TextOf(ObjectOf(entry, "attributes"), "accessible_id");
        if (rights.accesses.size() >= CloudPersons::kMaxRights)
            break;
        rights.byDevice[device] = true;
        rights.accesses[TextOf(entry, "id")] = device;
    }
}

// Puts in what a request has brought about.
void TakeEffect(CloudPersons::Knowledge& known, CloudPersons::Outcome& outcome, const Target& target,
                const json& reply)
{
    using Step = CloudPersons::Step;
    const json& data = ObjectOf(reply, "data");
    const bool isFull = known.persons.size() >= CloudPersons::kMaxPersons;
    switch (outcome.step) {
    case Step::Create:
        outcome.person = TextOf(data, "id");
        if (outcome.person.empty() || isFull)
            return;
        known.persons[outcome.person] = ReadPerson(data);
        known.rights[outcome.person] = {.complete = true, .byDevice = {}, .accesses = {}};
        return;
    case Step::Change:
        if (known.persons.contains(target.person))
            known.persons[target.person] = ReadPerson(data);
        return;
    case Step::Delete:
        known.persons.erase(target.person);
        known.rights.erase(target.person);
        return;
    case Step::ReadRights:
        if (!isFull || known.rights.contains(target.person))
            TakeRights(known.rights[target.person], reply);
        return;
    case Step::Grant: {
        CloudPersons::Rights& rights = known.rights[target.person];
        if (rights.byDevice.size() < CloudPersons::kMaxRights) {
            rights.byDevice[outcome.device] = true;
            rights.accesses[TextOf(data, "id")] = outcome.device;
        }
        return;
    }
    case Step::Revoke:
        known.rights[target.person].byDevice[outcome.device] = false;
        known.rights[target.person].accesses.erase(target.access);
        return;
    }
}

// Whether the cloud refused a request because what it asks for is so already.
bool IsSoAlready(CloudPersons::Step step, int status)
{
    using Step = CloudPersons::Step;
    if (step == Step::Grant)
        return status == 409;
    return status == 404 && (step == Step::Delete || step == Step::Revoke);
}

} // namespace

void CloudPersons::Take(const Exchange& exchange) noexcept
try {
    const Time now = Clock::now();
    if (exchange.method.empty()) {
        const std::lock_guard lock(m_mutex);
        auto known = std::make_shared<Knowledge>(*m_known);
        known->noConnection = now;
        ++known->changes;
        m_known = std::move(known);
        return;
    }
    if (!exchange.path.starts_with(kPersonsPath))
        return;
    const Target target = ReadTarget(exchange.path.substr(kPersonsPath.size()));
    const auto step = StepOf(exchange.method, target);
    const bool isGood = exchange.status >= 200 && exchange.status < 300;
    const bool isList = exchange.method == "GET" && target.person.empty() && isGood;
    if (!step && !isList)
        return;
    const json reply = ReadJson(exchange.reply);
    const json body = step ? ReadJson(exchange.body) : json();

    const std::lock_guard lock(m_mutex);
    auto known = std::make_shared<Knowledge>(*m_known);
    if (isList) {
        TakeList(*known, reply, now);
        m_known = std::move(known);
        return;
    }
    Outcome outcome{.step = *step,
                    .result = Result::Accepted,
                    .time = now,
                    .account = exchange.account,
                    .person = target.person,
                    .name = TextOf(ObjectOf(body, "attributes"), "name"),
                    .device = TextOf(ObjectOf(body, "attributes"), "accessible_id"),
                    .status = exchange.status,
                    .words = {}};
    if (*step == Step::Revoke) {
        const auto& accesses = known->rights[target.person].accesses;
        const auto access = accesses.find(target.access);
        if (access != accesses.end())
            outcome.device = access->second;
    }
    if (isGood || IsSoAlready(*step, exchange.status)) {
        TakeEffect(*known, outcome, target, reply);
    } else {
        outcome.result = exchange.status == 0 ? Result::Lost : Result::Refused;
        outcome.words = exchange.status == 0 ? std::string(exchange.failure.substr(0, kMaxTextBytes))
                                             : TextOf(reply, "message");
    }
    known->outcomes.push_back(std::move(outcome));
    if (known->outcomes.size() > kMaxOutcomes)
        known->outcomes.pop_front();
    ++known->changes;
    m_known = std::move(known);
} catch (...) {
    return; // what is learned here is for show only
}

void CloudPersons::Forget()
{
    const std::lock_guard guard(m_mutex);
    m_known = std::make_shared<Knowledge>();
}

std::shared_ptr<const CloudPersons::Knowledge> CloudPersons::Now() const
{
    const std::lock_guard lock(m_mutex);
    return m_known;
}

} // namespace devhost
