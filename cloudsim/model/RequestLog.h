#pragma once

#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"
#include "cloudsim/model/Time.h"

#include <deque>

namespace cloudsim
{

// The last requests, without their queries, headers and bodies, since those carry secrets.
class RequestLog
{
public:
    void Add(std::string_view method, std::string_view path, const Response& response, TimePoint now);

    // The newest count entries, oldest first.
    Json Last(std::size_t count) const;

private:
    static constexpr std::size_t kKept = 500;
    std::deque<Json> m_entries;
};

} // namespace cloudsim
