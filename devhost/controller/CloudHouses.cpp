// Reads the names of houses out of the replies that list them.

#include "devhost/controller/CloudHouses.h"

#include "devhost/framework/network/Exchange.h"
#include "devhost/framework/values/JsonParser.h"

#include <nlohmann/json.hpp>

namespace devhost
{

namespace
{

using nlohmann::json;

std::optional<std::vector<std::string>> ReadNames(std::string_view reply)
{
    // What the driver itself takes for no JSON is not read here either.
    const json list = reply.size() > kMaxJsonBytes ? json() : json::parse(reply, nullptr, false);
    const auto data = list.is_object() ? list.find("data") : list.end();
    if (data == list.end() || !data->is_array())
        return std::nullopt;
    const json::json_pointer name("/attributes/name");
    std::vector<std::string> names;
    for (const json& house : *data) {
        if (names.size() < CloudHouses::kMaxHouses && house.contains(name) && house[name].is_string())
            names.push_back(house[name].get_ref<const std::string&>().substr(0, CloudHouses::kMaxTextBytes));
    }
    return names;
}

} // namespace

void CloudHouses::Take(const Exchange& exchange) noexcept
try {
    if (exchange.method != "GET" || exchange.path != "/locations" || exchange.status != 200)
        return;
    auto names = ReadNames(exchange.reply);
    if (!names)
        return;
    const std::lock_guard lock(m_mutex);
    const auto known = m_names.find(exchange.account);
    if (known != m_names.end() && known->second == *names)
        return;
    m_names[exchange.account] = std::move(*names);
    m_changed.store(true);
} catch (...) {
    return; // what is learned here is for show only
}

std::optional<std::vector<std::string>> CloudHouses::Of(unsigned account) const
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_names.find(account);
    return known == m_names.end() ? std::nullopt : std::optional(known->second);
}

void CloudHouses::Forget()
{
    const std::lock_guard lock(m_mutex);
    m_names.clear();
}

} // namespace devhost
