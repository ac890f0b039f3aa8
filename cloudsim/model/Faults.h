#pragma once

#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"
#include "cloudsim/model/Time.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cloudsim
{

enum class FaultKind {
    Status,   // another status; the request is not carried out
    Close,    // the connection closes without a reply; the request is not carried out
    Delay,    // the reply comes late
    Cut,      // the connection ends in the middle of the body
    Truncate, // half the body, with a length that fits
    BadJson,  // a body that is no JSON
    Body,     // a given body
};

// One fault that waits for matching requests.
struct Fault {
    FaultKind kind = FaultKind::Status;
    std::optional<std::string> method; // any when absent
    std::string pathPrefix;            // every path when empty
    int status = 503;                  // for Status; for Body too when given
    std::chrono::milliseconds delay{0};
    std::string body;                 // for Body
    int remaining = 1;                // requests that it still hits; 0 for no limit
    std::chrono::seconds duration{0}; // from when it is set; 0 for no limit
    std::optional<TimePoint> endsAt;  // when that is over, once it is set
};

// The faults in the order in which they were set; each request takes the first one that matches.
class FaultList
{
public:
    static constexpr std::size_t kMost = 1000;

    // Reads {"match": {"method", "path"}, "kind", "status", "delay_ms", "body", "count", "seconds"}. Throws
    // FieldError.
    static Fault Read(const Json& json, const std::string& path);
    // The same, with the requests and seconds that are left.
    static Json Write(const Fault& fault, TimePoint now);

    void Add(Fault fault, TimePoint now);
    void Clear() { m_faults.clear(); }
    void DropExpired(TimePoint now);
    const std::vector<Fault>& All() const { return m_faults; }

    // The fault that hits this request, counted down; nothing when none does.
    std::optional<Fault> Take(const Request& request);

private:
    std::vector<Fault> m_faults;
};

// The reply of a fault that keeps the request from being carried out; nothing for the other kinds.
std::optional<Response> ReplyInstead(const Fault& fault);

// Harms the reply to a request that was carried out.
void Harm(const Fault& fault, Response& response);

} // namespace cloudsim
