// Keeps the injected faults and applies them to replies; closing and waiting are left to the transport.
#include "cloudsim/model/Faults.h"

#include "cloudsim/model/Replies.h"

#include <algorithm>
#include <array>

namespace cloudsim
{
namespace
{

struct KindName {
    FaultKind kind;
    std::string_view name;
};

constexpr std::array<KindName, 7> kKindNames = {{{FaultKind::Status, "status"},
                                                 {FaultKind::Close, "close"},
                                                 {FaultKind::Delay, "delay"},
                                                 {FaultKind::Cut, "cut"},
                                                 {FaultKind::Truncate, "truncate"},
                                                 {FaultKind::BadJson, "bad_json"},
                                                 {FaultKind::Body, "body"}}};
static_assert(std::ranges::is_sorted(kKindNames, {}, &KindName::kind) &&
              kKindNames.size() == static_cast<std::size_t>(FaultKind::Body) + 1);

FaultKind ReadKind(ObjectReader& reader)
{
    const std::string text = reader.Text("kind");
    if (const auto known = std::ranges::find(kKindNames, text, &KindName::name); known != kKindNames.end())
        return known->kind;
    std::string names;
    for (const KindName& entry : kKindNames)
        names.append(names.empty() ? "" : &entry == &kKindNames.back() ? " or " : ", ").append(entry.name);
    throw FieldError("bad_value", reader.Path("kind"), "must be " + names);
}

} // namespace

Fault FaultList::Read(const Json& json, const std::string& path)
{
    ObjectReader reader(json, path);
    Fault fault;
    fault.kind = ReadKind(reader);
    if (reader.Has("match")) {
        ObjectReader match = reader.Object("match");
        fault.method = match.OptionalText("method");
        if (match.Has("path"))
            fault.pathPrefix = match.Text("path");
        match.Finish();
    }
    const int usualStatus = fault.kind == FaultKind::Body ? 200 : 503;
    fault.status = static_cast<int>(reader.Integer("status", 200, 599, usualStatus));
    fault.delay = std::chrono::milliseconds(reader.Integer("delay_ms", 0, 600000, 0));
    if (reader.Has("body"))
        fault.body = reader.Text("body");
    fault.remaining = static_cast<int>(reader.Integer("count", 0, 1000000, 1));
    fault.duration = std::chrono::seconds(reader.Integer("seconds", 0, 86400, 0));
    reader.Finish();
    return fault;
}

void FaultList::Add(Fault fault, TimePoint now)
{
    if (fault.duration.count() > 0)
        fault.endsAt = now + fault.duration;
    m_faults.push_back(std::move(fault));
}

void FaultList::DropExpired(TimePoint now)
{
    std::erase_if(m_faults, [now](const Fault& fault) { return fault.endsAt && *fault.endsAt <= now; });
}

Json FaultList::Write(const Fault& fault, TimePoint now)
{
    // Rounded up: a fault that has no second left is gone.
    const auto left =
        fault.endsAt ? std::chrono::ceil<std::chrono::seconds>(*fault.endsAt - now) : std::chrono::seconds(0);
    return {{"match", {{"method", fault.method ? Json(*fault.method) : Json()}, {"path", fault.pathPrefix}}},
            {"kind", kKindNames[static_cast<std::size_t>(fault.kind)].name},
            {"status", fault.status},
            {"delay_ms", fault.delay.count()},
            {"body", fault.body},
            {"count", fault.remaining},
            {"seconds", left.count()}};
}

std::optional<Fault> FaultList::Take(const Request& request)
{
    for (auto fault = m_faults.begin(); fault != m_faults.end(); ++fault) {
        if (fault->method && *fault->method != request.method)
            continue;
        if (!request.Path().starts_with(fault->pathPrefix))
            continue;
        const Fault taken = *fault;
        if (fault->remaining > 0 && --fault->remaining == 0)
            m_faults.erase(fault);
        return taken;
    }
    return std::nullopt;
}

std::optional<Response> ReplyInstead(const Fault& fault)
{
    if (fault.kind != FaultKind::Status && fault.kind != FaultKind::Close)
        return std::nullopt;
    Response response =
        fault.status == 204
            ? NoContentReply()
            : ErrorReply(Refusal(fault.status, "injected_fault", "a fault was injected here"));
    response.closeWithoutReply = fault.kind == FaultKind::Close;
    response.delay = fault.delay;
    return response;
}

void Harm(const Fault& fault, Response& response)
{
    response.delay = fault.delay;
    switch (fault.kind) {
    case FaultKind::Status:
    case FaultKind::Close:
    case FaultKind::Delay:
        break;
    case FaultKind::Cut:
        response.cutAfterBytes = response.body.size() / 2;
        break;
    case FaultKind::Truncate:
        response.body.resize(response.body.size() / 2);
        break;
    case FaultKind::BadJson:
        response.body = "{\"data\": [{\"type\": \"lock\", \"id\": ]";
        break;
    case FaultKind::Body:
        response.status = fault.status;
        response.body = fault.body;
        break;
    }
}

} // namespace cloudsim
