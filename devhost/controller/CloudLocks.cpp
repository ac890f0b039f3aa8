// Reads the cloud's records of locks, and the outcomes of commands, out of the traffic. What of it is shown
// and kept is left to others.

#include "devhost/controller/CloudLocks.h"

#include "devhost/framework/network/Exchange.h"
#include "devhost/framework/values/JsonParser.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <ctime>

namespace devhost
{

namespace
{

using nlohmann::json;
using Readings = std::vector<std::pair<std::string, CloudLock>>;

constexpr std::string_view kDevices = "/devices";
constexpr std::chrono::seconds kMaxInterval = std::chrono::days(30);

std::string Cut(std::string text)
{
    if (text.size() <= CloudLocks::kMaxTextBytes)
        return text;
    std::size_t end = CloudLocks::kMaxTextBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) // not inside a character
        --end;
    text.resize(end);
    return text;
}

// An attribute stands in the object itself or in its "attributes".
const json* Attribute(const json& device, const char* name)
{
    for (const json* object : {&device, device.contains("attributes") ? &device["attributes"] : nullptr}) {
        if (!object || !object->is_object())
            continue;
        if (const auto found = object->find(name); found != object->end() && found->is_primitive())
            return &*found;
    }
    return nullptr;
}

// As the driver reads a value: a text, or what a number or truth value is written as. Empty for anything
// else.
std::string TextOf(const json& device, const char* name)
{
    const json* value = Attribute(device, name);
    if (!value || value->is_null())
        return {};
    return Cut(value->is_string() ? value->get<std::string>() : value->dump());
}

std::optional<int> NumberOf(const json& device, const char* name, int highest)
{
    const std::string text = TextOf(device, name);
    int value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value < 0 || value > highest)
        return std::nullopt;
    return value;
}

std::optional<bool> TruthOf(const json& device, const char* name)
{
    const std::string text = TextOf(device, name);
    if (text != "true" && text != "false")
        return std::nullopt;
    return text == "true";
}

// UTC as "2026-01-31T09:05:00Z"; a fraction is passed over. The years are those that the clock's type holds.
std::optional<CloudLock::Time> TimeOf(const json& device, const char* name)
{
    const std::string text = TextOf(device, name);
    std::tm parts = {};
    const char* rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    constexpr int kEpoch = 1900;
    if (!rest || !text.ends_with('Z') || (*rest != 'Z' && *rest != '.') || parts.tm_year < 1970 - kEpoch ||
        parts.tm_year > 2200 - kEpoch)
        return std::nullopt;
    return std::chrono::system_clock::from_time_t(timegm(&parts));
}

std::optional<std::pair<std::string, CloudLock>> ReadDevice(const json& device)
{
    std::string id = device.is_object() ? TextOf(device, "id") : "";
    if (id.empty())
        return std::nullopt;
    CloudLock lock;
    lock.online = TruthOf(device, "alive");
    lock.lastSeen = TimeOf(device, "connected_at");
    if (const auto seconds = NumberOf(device, "heartbeat_interval", kMaxInterval.count()); seconds > 0)
        lock.interval = std::chrono::seconds(*seconds);
    lock.battery = NumberOf(device, "power_level", 100);
    lock.wifi = NumberOf(device, "wifi_level", 100);
    lock.updatedAt = TimeOf(device, "updated_at");
    lock.state = TextOf(device, "state");
    lock.serial = TextOf(device, "serial_number");
    return std::pair(std::move(id), std::move(lock));
}

Readings ReadList(const json& reply)
{
    Readings read;
    const auto data = reply.is_object() ? reply.find("data") : reply.end();
    if (data == reply.end() || !data->is_array())
        return read;
    for (const json& device : *data) {
        if (read.size() == CloudLocks::kMaxLocks)
            break;
        if (!device.is_object() || TextOf(device, "type") != "lock")
            continue;
        if (auto lock = ReadDevice(device))
            read.push_back(std::move(*lock));
    }
    return read;
}

Readings ReadOne(const json& reply)
{
    Readings read;
    if (auto lock = ReadDevice(reply))
        read.push_back(std::move(*lock));
    return read;
}

std::string Refusal(const json& reply, int status)
{
    std::string number = "HTTP " + std::to_string(status);
    for (const char* name : {"messages", "message", "errorcode"}) {
        const std::string words = reply.is_object() ? TextOf(reply, name) : "";
        if (!words.empty())
            return words + " (" + number + ")";
    }
    return number;
}

// A reply that leaves a fact out says nothing about it.
CloudLock Merge(const CloudLock& old, CloudLock read, CloudLock::Time now)
{
    const auto keep = [](auto& value, const auto& before) {
        if (!value)
            value = before;
    };
    keep(read.online, old.online);
    keep(read.lastSeen, old.lastSeen);
    keep(read.interval, old.interval);
    keep(read.battery, old.battery);
    keep(read.wifi, old.wifi);
    keep(read.updatedAt, old.updatedAt);
    if (read.state.empty())
        read.state = old.state;
    if (read.serial.empty())
        read.serial = old.serial;
    read.lastCommand = old.lastCommand;
    read.readAt = now;
    read.gap = old.gap;
    if (read.lastSeen != old.lastSeen) {
        read.gap.reset();
        // Within one interval a lock has one heartbeat at most, and this is it.
        if (old.lastSeen && old.readAt && old.interval && now - *old.readAt <= *old.interval &&
            *read.lastSeen > *old.lastSeen)
            read.gap = std::chrono::duration_cast<std::chrono::seconds>(*read.lastSeen - *old.lastSeen);
    }
    if (auto& command = read.lastCommand; command && command->heardBefore &&
                                          read.lastSeen > command->heardBefore &&
                                          read.state == (command->unlocks ? "unlocked" : "locked"))
        command = {.unlocks = command->unlocks, .time = command->time, .outcome = CloudLock::Outcome::Done};
    return read;
}

} // namespace

void CloudLocks::Take(const Exchange& exchange, Time now) noexcept
{
    if (!exchange.path.starts_with(kDevices))
        return;
    try {
        std::string_view rest = exchange.path.substr(kDevices.size());
        const bool reads = exchange.method == "GET";
        // What the driver itself takes for no JSON is not read here either.
        const json reply = exchange.reply.size() > kMaxJsonBytes
                               ? json()
                               : json::parse(exchange.reply.begin(), exchange.reply.end(), nullptr, false);
        const bool good = exchange.status == 200 && !(reply.is_object() && reply.contains("messages"));
        if (reads && rest.empty()) {
            if (good)
                Store(ReadList(reply), now);
            return;
        }
        if (!rest.starts_with('/'))
            return;
        rest.remove_prefix(1);
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        const std::string id = Cut(std::string(rest.substr(0, slash)));
        const std::string_view verb = rest.substr(slash);
        const bool commands = exchange.method == "PUT" && (verb == "/lock" || verb == "/unlock");
        if (good && (commands || (reads && verb.empty())))
            Store(ReadOne(reply), now);
        if (!commands)
            return;
        CloudLock::Command command = {.unlocks = verb == "/unlock", .time = now};
        if (exchange.status == 0) {
            command.outcome = CloudLock::Outcome::Lost;
            command.text = Cut(std::string(exchange.failure));
        } else if (good || exchange.status == 204) {
            command.outcome = CloudLock::Outcome::Accepted;
        } else {
            command.outcome = CloudLock::Outcome::Refused;
            command.text = Refusal(reply, exchange.status);
        }
        Answered(id, std::move(command));
    } catch (const std::exception&) {
        // Without memory for it the exchange is not learned from; the driver's own work goes on.
    }
}

void CloudLocks::Asked(const std::string& deviceId, bool unlocks, Time time)
{
    const std::lock_guard lock(m_mutex);
    Entry& entry = m_entries[deviceId];
    if (entry.lock.lastCommand && entry.lock.lastCommand->time >= time)
        return;
    CloudLock next = entry.lock;
    next.lastCommand = {.unlocks = unlocks, .time = time};
    Change(entry, next);
    Forget();
}

void CloudLocks::GaveUp(const std::string& deviceId)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(deviceId);
    if (found == m_entries.end() || !found->second.lock.lastCommand)
        return;
    CloudLock next = found->second.lock;
    CloudLock::Outcome& outcome = next.lastCommand->outcome;
    if (outcome != CloudLock::Outcome::Sent && outcome != CloudLock::Outcome::Accepted)
        return;
    outcome = CloudLock::Outcome::Unanswered;
    Change(found->second, next);
}

CloudLock CloudLocks::Find(const std::string& deviceId) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(deviceId);
    return found == m_entries.end() ? CloudLock() : found->second.lock;
}

Readings CloudLocks::ChangedSince(std::uint64_t& number) const
{
    Readings changed;
    if (m_changes.load() == number)
        return changed;
    const std::lock_guard lock(m_mutex);
    for (const auto& [id, entry] : m_entries) {
        if (entry.change > number)
            changed.emplace_back(id, entry.lock);
    }
    number = m_changes.load();
    return changed;
}

void CloudLocks::Store(Readings read, Time now)
{
    const std::lock_guard lock(m_mutex);
    for (auto& [id, device] : read) {
        Entry& entry = m_entries[id];
        const CloudLock next = Merge(entry.lock, std::move(device), now);
        CloudLock readAgain = entry.lock;
        readAgain.readAt = now;
        if (next == readAgain && now - entry.told < kTellReadEvery)
            entry.lock.readAt = now;
        else
            Change(entry, next);
    }
    Forget();
}

void CloudLocks::Answered(const std::string& deviceId, CloudLock::Command command)
{
    const std::lock_guard lock(m_mutex);
    Entry& entry = m_entries[deviceId];
    CloudLock next = entry.lock;
    if (next.lastCommand && next.lastCommand->outcome == CloudLock::Outcome::Sent) {
        // The answer to the one before is of no interest any more.
        if (next.lastCommand->unlocks != command.unlocks)
            return;
        command.time = next.lastCommand->time;
    }
    if (command.outcome != CloudLock::Outcome::Refused)
        command.heardBefore = next.lastSeen.value_or(Time());
    next.lastCommand = std::move(command);
    Change(entry, next);
    Forget();
}

void CloudLocks::Change(Entry& entry, const CloudLock& next)
{
    entry.lock = next;
    entry.told = next.readAt.value_or(Time());
    entry.change = m_changes.load() + 1;
    m_changes.store(entry.change);
}

void CloudLocks::Forget()
{
    if (m_entries.size() <= kMaxLocks)
        return;
    std::vector<std::pair<std::optional<Time>, std::string>> byAge;
    for (const auto& [id, entry] : m_entries)
        byAge.emplace_back(entry.lock.readAt, id);
    const auto end = byAge.begin() + static_cast<std::ptrdiff_t>(byAge.size() - kMaxLocks);
    std::nth_element(byAge.begin(), end, byAge.end());
    for (auto oldest = byAge.begin(); oldest != end; ++oldest)
        m_entries.erase(oldest->second);
}

} // namespace devhost
