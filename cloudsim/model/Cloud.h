#pragma once

#include "cloudsim/model/AdminApi.h"
#include "cloudsim/model/Faults.h"
#include "cloudsim/model/Http.h"
#include "cloudsim/model/OAuth.h"
#include "cloudsim/model/Options.h"
#include "cloudsim/model/RequestLog.h"
#include "cloudsim/model/RestApi.h"
#include "cloudsim/model/World.h"

#include <string_view>

namespace cloudsim
{

// The whole simulated cloud as a state machine: requests and times go in, replies come out. It reads no
// clock, opens no file or socket and starts no thread. Not safe for use by several threads at once. Times
// must not run backwards.
class Cloud
{
public:
    // random makes tokens, codes and ids; a server passes a cryptographic source, tests pass SeededRandom.
    Cloud(World world, Options options, RandomSource random);
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // Answers a request to either cloud host. Never throws for a bad request: that gets an error reply.
    Response Handle(const Request& request, TimePoint now);

    // Parses the bytes of one request, answers it and gives the bytes of the reply, as a transport in the
    // same process needs it. Injected delays are not waited for. Empty when a fault closes the connection.
    std::string HandleRaw(std::string_view bytes, TimePoint now);

    // The reply to bytes that are no request.
    Response HandleUnreadable(const Refusal& refusal, TimePoint now);

    // Answers a request to the admin port.
    Response HandleAdmin(const Request& request, TimePoint now);

    // Lets everything happen that is due at or before now.
    void Advance(TimePoint now);

    const World& CurrentWorld() const { return m_world; }

private:
    Response Dispatch(const Request& request, TimePoint now);

    Options m_options;
    World m_world;
    OAuthService m_oauth;
    RestApi m_rest;
    FaultList m_faults;
    RequestLog m_log;
    AdminApi m_admin;
};

} // namespace cloudsim
