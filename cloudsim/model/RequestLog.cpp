// Remembers the last requests for the admin routes; lines on the log are left to the server.
#include "cloudsim/model/RequestLog.h"

#include <algorithm>

namespace cloudsim
{

void RequestLog::Add(std::string_view method, std::string_view path, const Response& response, TimePoint now)
{
    if (m_entries.size() == kKept)
        m_entries.pop_front();
    m_entries.push_back({{"time", FormatTimestamp(now)},
                         {"method", std::string(method.substr(0, 16))},
                         {"path", std::string(path.substr(0, 200))},
                         {"status", response.status},
                         {"errorcode", response.errorcode.empty() ? Json() : Json(response.errorcode)}});
}

Json RequestLog::Last(std::size_t count) const
{
    Json list = Json::array();
    for (std::size_t i = m_entries.size() - std::min(count, m_entries.size()); i < m_entries.size(); ++i)
        list.push_back(m_entries[i]);
    return list;
}

} // namespace cloudsim
