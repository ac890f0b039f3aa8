// The network's chance. What the cloud answers is the model's.

#include "sim/SimulatedCloud.h"

#include "cloudsim/model/Fixture.h"
#include "devhost/framework/network/HttpReplyReader.h"
#include "devhost/framework/system/WorkerStop.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace sim
{

namespace
{

using nlohmann::json;

// 2026-01-01T00:00:00Z, the cloud's calendar at the start of each run.
constexpr std::int64_t kStartS = 1'767'225'600;

constexpr std::uint64_t kExchangeLimitMs = 30'000; // the transport's, for a whole exchange
constexpr std::array kStatuses{400, 401, 403, 404, 409, 422, 429, 500, 502, 503, 504};

std::uint64_t FaultsPerMillion(Faults faults)
{
    switch (faults) {
    case Faults::None:
        return 0;
    case Faults::Normal:
        return 5'000;
    case Faults::Hostile:
        return 60'000;
    }
    return 0;
}

// Bodies that are JSON and what nobody expects.
const std::vector<std::string>& HostileBodies()
{
    static const std::vector<std::string> bodies{
        "{}",
        "[]",
        "null",
        "0",
        R"("data")",
        R"({"data":null})",
        R"({"data":[[[[]]]],"meta":{}})",
        R"({"data":[{"type":"lock"},{"type":"location","id":"x"},{"type":"access_user"}],"meta":{}})",
        R"({"data":{"type":"access_user","id":"","name":"","pin":"","email":"NULL"}})",
        R"({"data":[{"type":"access_user","id":"%s%n","name":"%s%s%s%n","pin":"%d","email":"null"}],"meta":1})",
        R"({"id":"lock-0-0","state":"unlocked","alive":"maybe","connected_at":"99999999999-1-1T"})",
        R"({"messages":[{"text":"%n%n"}]})",
        R"({"data":[],"meta":{"messages":"down for %s%n"}})",
        R"({"messages":{"messages":{"messages":{}}}})",
        R"({"access_token":"a b","refresh_token":"","expires_in":"-1"})",
        R"({"access_token":"x\r\nX-Header: y","refresh_token":"z","expires_in":"0"})",
        R"({"data":[{"type":"lock","id":"lock-0-0","name":"\u0000","location_id":"house-0"}],"meta":{}})",
        std::string(70, '[') + std::string(70, ']'),
        R"({"data":")" + std::string(100'000, 'x') + R"("})"};
    return bodies;
}

// Every other seed has a cloud that bears a refresh token a second time.
cloudsim::Options CloudOptions(const Settings& settings)
{
    cloudsim::Options options;
    options.autoApprove = true;
    options.refreshGrace = std::chrono::seconds(settings.seed % 2 == 0 ? 120 : 0);
    return options;
}

std::string Reply(int status, const std::string& body)
{
    return "HTTP/1.1 " + std::to_string(status) +
           " Chance\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

std::string BodyOf(const std::string& reply)
{
    const std::size_t end = reply.find("\r\n\r\n");
    return end == std::string::npos ? "" : reply.substr(end + 4);
}

int StatusOf(const std::string& reply)
{
    return reply.size() > 12 ? std::atoi(reply.c_str() + 9) : 0;
}

std::string Hex(Random& chance, std::size_t bytes)
{
    std::string text;
    for (std::size_t i = 0; i < bytes * 2; ++i)
        text += "0123456789abcdef"[chance.Below(16)];
    return text;
}

} // namespace

std::string FixtureText(const Settings& settings)
{
    json world{{"account", {{"name", "Robin"}, {"email", "robin@x.example"}}},
               {"locations", json::array()},
               {"locks", json::array()},
               {"access_persons", json::array()}};
    const auto addLock = [&](const std::string& id, const std::string& house, int number) {
        world["locks"].push_back({{"id", id},
                                  {"name", "Door " + id.substr(5)},
                                  {"location_id", house},
                                  {"serial_number", "S" + std::to_string(number)},
                                  {"programming_code", std::to_string(700'000 + number)},
                                  {"power_source", "battery"},
                                  {"heartbeat_interval", 60 + 60 * (number % 10)},
                                  {"state", number % 3 ? "locked" : "unlocked"},
                                  {"power_level", 40 + number % 60},
                                  {"wifi_level", 30 + number % 70}});
    };
    int number = 0;
    for (int house = 0; house < settings.accounts; ++house) {
        const std::string id = "house-" + std::to_string(house);
        world["locations"].push_back({{"id", id}, {"name", "House " + std::to_string(house)}});
        for (int lock = 0; lock < settings.locks; ++lock)
            addLock("lock-" + std::to_string(house) + "-" + std::to_string(lock), id, number++);
    }
    world["locations"].push_back({{"id", kForeignHouse}, {"name", "Foreign House"}});
    addLock(kForeignLock, kForeignHouse, number);
    for (int i = 0; i < 2; ++i)
        world["access_persons"].push_back({{"id", "stranger-" + std::to_string(i)},
                                           {"name", kStranger + std::string(" ") + std::to_string(i)},
                                           {"email", "s" + std::to_string(i) + "@x.example"},
                                           {"pin", "9000" + std::to_string(i)}});
    return world.dump();
}

// One request and its reply. Nothing of it goes on when it is destroyed.
class SimulatedCloud::Link : public devhost::Connection
{
public:
    Link(SimulatedCloud& cloud, Fault fault) : m_cloud(cloud), m_fault(fault) {}
    std::optional<devhost::HttpReply> Exchange(std::string_view request) override
    {
        return m_cloud.Carry(request, m_fault);
    }

private:
    SimulatedCloud& m_cloud;
    Fault m_fault;
};

SimulatedCloud::SimulatedCloud(const Settings& settings, Scheduler& scheduler, Journal& journal)
    : m_settings(settings), m_scheduler(scheduler), m_journal(journal),
      m_chance(Random::For(settings.seed, "network")), m_ids(Random::For(settings.seed, "ids")),
      m_model(cloudsim::LoadWorld(FixtureText(settings), cloudsim::TimePoint(std::chrono::seconds(kStartS))),
              CloudOptions(settings), [this](std::size_t bytes) { return Hex(m_ids, bytes); }),
      m_startMs(scheduler.NowMs())
{
}

cloudsim::TimePoint SimulatedCloud::Now() const
{
    return cloudsim::TimePoint(std::chrono::seconds(kStartS) +
                               std::chrono::milliseconds(m_scheduler.NowMs() - m_startMs));
}

const char* SimulatedCloud::Name(Fault fault)
{
    constexpr std::array kNames{
        "",         "refused",  "no answer", "lost request",  "lost reply", "late request", "cut reply",
        "slow",     "too slow", "status",    "other success", "no JSON",    "hostile JSON", "duplicates",
        "reordered"};
    static_assert(kNames.size() == static_cast<std::size_t>(Fault::Last) + 1);
    return kNames[static_cast<std::size_t>(fault)];
}

void SimulatedCloud::Calm(bool calm)
{
    m_calm = calm;
    m_storm = Fault::None;
    CarryLate(true);
}

void SimulatedCloud::Storm(std::uint64_t lengthMs)
{
    m_storm = static_cast<Fault>(m_chance.Between(1, static_cast<std::uint64_t>(Fault::Last)));
    m_stormEndsMs = m_scheduler.NowMs() + lengthMs;
    m_journal.Event(std::string("network  storm of \"") + Name(m_storm) + "\" for " +
                    std::to_string(lengthMs / 1000) + " s");
}

void SimulatedCloud::Force(Fault fault, int status)
{
    m_forced = fault;
    m_forcedStatus = status;
}

SimulatedCloud::Fault SimulatedCloud::Draw()
{
    if (m_forced != Fault::None)
        return m_forced;
    if (m_calm)
        return Fault::None;
    if (m_storm != Fault::None && m_scheduler.NowMs() < m_stormEndsMs && m_chance.Happens(800'000))
        return m_storm;
    if (!m_chance.Happens(FaultsPerMillion(m_settings.faults)))
        return Fault::None;
    const auto fault = static_cast<Fault>(m_chance.Between(1, static_cast<std::uint64_t>(Fault::Last)));
    // A cloud that means no harm sends no hostile JSON.
    return fault == Fault::HostileJson && m_settings.faults != Faults::Hostile ? Fault::NoJson : fault;
}

std::unique_ptr<devhost::Connection> SimulatedCloud::Connect(const std::string& host, int port,
                                                             std::chrono::milliseconds timeout)
{
    if (m_scheduler.OnHostThread()) {
        m_journal.Break("idle-never-waits", "a connection to " + host + " was asked for on the host thread");
        return nullptr;
    }
    if (onConnect)
        onConnect();
    if (port != 443 || (host != VESTARA_API_HOST && host != VESTARA_OAUTH_HOST))
        m_journal.Break("sent-once", "a connection to " + host + ":" + std::to_string(port));
    m_scheduler.Wait(m_chance.Between(1, 60));
    const Fault fault = Draw();
    if (fault != Fault::None) {
        m_journal.Count("faults");
        m_journal.Count(std::string("fault: ") + Name(fault));
        m_lastTroubleMs = m_scheduler.NowMs();
    }
    if (m_cut || fault == Fault::Refused || fault == Fault::NoAnswer) {
        if (fault == Fault::NoAnswer)
            m_scheduler.Wait(static_cast<std::uint64_t>(timeout.count()));
        m_failure = "no connection";
        m_lastTroubleMs = m_scheduler.NowMs();
        m_journal.Event("network  no connection (" + std::string(Name(fault)) + ")");
        return nullptr;
    }
    return std::make_unique<Link>(*this, fault);
}

std::optional<devhost::HttpReply> SimulatedCloud::Lost(Delivery& delivery, const char* why)
{
    m_failure = why;
    m_lastTroubleMs = m_scheduler.NowMs();
    m_journal.Event("network  " + delivery.line + " -> nothing (" + why + ")");
    onDelivery(delivery);
    return std::nullopt;
}

void SimulatedCloud::CarryLate(bool all)
{
    std::erase_if(m_late, [&](const Late& late) {
        if (!all && late.atMs > m_scheduler.NowMs())
            return false;
        m_model.HandleRaw(late.bytes, Now());
        m_lastTroubleMs = m_scheduler.NowMs();
        m_journal.Event("network  a request came late: " + late.bytes.substr(0, late.bytes.find(" HTTP/")));
        return true;
    });
}

std::optional<devhost::HttpReply> SimulatedCloud::Carry(std::string_view bytes, Fault fault)
{
    Delivery delivery;
    const std::size_t lineEnd = bytes.find(" HTTP/1.1\r\n");
    delivery.line = bytes.substr(0, lineEnd == std::string_view::npos ? 0 : lineEnd);
    delivery.body = BodyOf(std::string(bytes));
    delivery.command = Commands::MarkSent(delivery.line);
    delivery.harmed = fault != Fault::None;
    m_journal.Count("requests");
    if (!delivery.command)
        m_journal.Break("sent-once", "\"" + delivery.line + "\" was sent, and no command of it is waiting");

    m_scheduler.Wait(m_chance.Between(1, 80));
    if (m_cut || m_scheduler.Stopping() || fault == Fault::LostRequest)
        return Lost(delivery, "the request was lost");
    CarryLate(false);
    if (fault == Fault::LateRequest) {
        // Whoever sent it may have sent others by then.
        m_late.push_back(
            {m_scheduler.NowMs() + kExchangeLimitMs + m_chance.Between(0, 60'000), std::string(bytes)});
        m_scheduler.Wait(kExchangeLimitMs);
        return Lost(delivery, "the request comes late");
    }
    std::string reply;
    if (fault == Fault::Status) {
        reply = StatusReply();
    } else {
        reply = m_model.HandleRaw(bytes, Now());
        delivery.acted = StatusOf(reply) / 100 == 2;
        reply = Harmed(fault, reply);
    }
    std::uint64_t wait = m_chance.Between(5, 150);
    if (fault == Fault::Slow)
        wait = m_chance.Between(1'000, kExchangeLimitMs - 1'000);
    if (fault == Fault::TooSlow)
        wait = kExchangeLimitMs;
    m_scheduler.Wait(wait);
    if (m_cut || fault == Fault::LostReply || fault == Fault::TooSlow)
        return Lost(delivery, "the reply was lost");

    devhost::HttpReplyReader reader;
    reader.Feed(reply);
    if (reader.EndOfStream() != devhost::HttpReplyReader::State::Complete)
        return Lost(delivery, "the reply was cut");
    devhost::HttpReply page = reader.Take();
    delivery.status = StatusOf(page.head);
    delivery.reply = page.body;
    NoteTokens(page.body);
    if (delivery.harmed)
        m_lastTroubleMs = m_scheduler.NowMs();
    m_journal.Event("network  " + delivery.line + " -> " + std::to_string(delivery.status) +
                    (delivery.harmed ? std::string(" (") + Name(fault) + ")" : ""));
    onDelivery(delivery);
    m_scheduler.GiveWay();
    return page;
}

std::string SimulatedCloud::StatusReply()
{
    const int status = m_forcedStatus != 0 ? m_forcedStatus : m_chance.Pick(kStatuses);
    return Reply(status, m_chance.Below(2) == 0 ? R"({"messages":[{"text":"chance"}]})"
                                                : R"({"errorcode":"chance","message":"by chance"})");
}

std::string SimulatedCloud::Harmed(Fault fault, const std::string& reply)
{
    switch (fault) {
    case Fault::CutReply:
        return reply.substr(0, static_cast<std::size_t>(m_chance.Below(reply.size())));
    case Fault::OtherSuccess:
        return Reply(m_chance.Below(2) == 0 ? 201 : 204, "");
    case Fault::NoJson:
        return Reply(200, BodyOf(reply).substr(0, BodyOf(reply).size() / 2) + "<html>");
    case Fault::HostileJson:
        return Reply(200, m_chance.Pick(HostileBodies()));
    case Fault::Duplicates:
    case Fault::Reordered:
        break;
    default:
        return reply;
    }
    json body = json::parse(BodyOf(reply), nullptr, false);
    if (!body.is_object() || !body.contains("data") || !body["data"].is_array() || body["data"].empty())
        return reply;
    json& list = body["data"];
    if (fault == Fault::Duplicates) {
        list.push_back(m_chance.Pick(list));
    } else {
        for (std::size_t i = list.size(); i > 1; --i)
            std::swap(list[i - 1], list[static_cast<std::size_t>(m_chance.Below(i))]);
    }
    return Reply(StatusOf(reply), body.dump());
}

void SimulatedCloud::NoteTokens(const std::string& body)
{
    if (body.find("_token") == std::string::npos)
        return;
    const json reply = json::parse(body, nullptr, false);
    if (!reply.is_object())
        return;
    for (const char* name : {"access_token", "refresh_token"}) {
        if (const auto found = reply.find(name); found != reply.end() && found->is_string())
            m_tokens.insert(found->get<std::string>());
    }
}

std::string SimulatedCloud::Browse(const std::string& url)
{
    const std::size_t host = url.find("://") + 3;
    const std::size_t target = url.find('/', host);
    cloudsim::Request request;
    request.method = "GET";
    request.target = url.substr(target);
    request.headers = {{"Host", url.substr(host, target - host)}, {"Accept", "text/html"}};
    const cloudsim::Response response = m_model.Handle(request, Now());
    for (const cloudsim::Header& header : response.headers) {
        if (header.name == "Location")
            return header.value;
    }
    return "";
}

bool SimulatedCloud::Admin(const std::string& method, const std::string& target, const std::string& body)
{
    cloudsim::Request request;
    request.method = method;
    request.target = "/admin/" + target;
    request.headers = {{"Host", "127.0.0.1"}};
    if (!body.empty())
        request.headers.push_back({"Content-Type", "application/json"});
    request.body = body;
    const int status = m_model.HandleAdmin(request, Now()).status;
    m_journal.Event("cloud    " + method + " " + request.target + " -> " + std::to_string(status));
    return status == 200;
}

} // namespace sim
