// Leads each request past time, faults and log to the service that answers it; the answers are left to the
// services.
#include "cloudsim/model/Cloud.h"

#include "cloudsim/model/Heartbeats.h"
#include "cloudsim/model/Replies.h"

namespace cloudsim
{

Cloud::Cloud(World world, Options options, RandomSource random)
    : m_options(std::move(options)), m_world(std::move(world)), m_oauth(m_options, m_world, random),
      m_rest(m_options, m_world, m_oauth, random), m_admin(m_world, m_oauth, m_faults, m_log, random)
{
}

void Cloud::Advance(TimePoint now)
{
    for (Lock& lock : m_world.locks)
        AdvanceLock(lock, now);
    m_faults.DropExpired(now);
}

Response Cloud::Dispatch(const Request& request, TimePoint now)
{
    if (request.Path() == "/oauth/authorize")
        return m_oauth.Authorize(request, now);
    if (request.Path() == "/oauth/token") {
        try {
            return m_oauth.Token(request, now);
        } catch (const Refusal& refusal) {
            return OAuthService::TokenError(refusal);
        }
    }
    try {
        return m_rest.Handle(request, now);
    } catch (const Refusal& refusal) {
        return ErrorReply(refusal);
    }
}

Response Cloud::Handle(const Request& request, TimePoint now)
{
    Advance(now);
    const auto fault = m_faults.Take(request);
    std::optional<Response> instead = fault ? ReplyInstead(*fault) : std::nullopt;
    Response response = instead ? std::move(*instead) : Dispatch(request, now);
    if (fault)
        Harm(*fault, response);
    m_log.Add(request.method, request.Path(), response, now);
    return response;
}

Response Cloud::HandleUnreadable(const Refusal& refusal, TimePoint now)
{
    Response response = ErrorReply(refusal);
    m_log.Add("", "", response, now);
    return response;
}

std::string Cloud::HandleRaw(std::string_view bytes, TimePoint now)
{
    const auto parsed = ParseRawRequest(bytes);
    if (const auto* refusal = std::get_if<Refusal>(&parsed))
        return SerializeReply(HandleUnreadable(*refusal, now));
    return SerializeReply(Handle(std::get<Request>(parsed), now));
}

Response Cloud::HandleAdmin(const Request& request, TimePoint now)
{
    Advance(now);
    try {
        return m_admin.Handle(request, now);
    } catch (const Refusal& refusal) {
        return ErrorReply(refusal);
    }
}

} // namespace cloudsim
