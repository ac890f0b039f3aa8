// Watches commands come and go. What they stand for is the driver's.

#include "sim/Commands.h"

#include "devhost/framework/network/AccountHealth.h"
#include "interface/VestaraInterface.h"

#include <array>
#include <cstdlib>
#include <map>
#include <new>
#include <utility>

namespace
{

std::uint64_t g_allocations = 0;
std::uint64_t g_made = 0;

// How many living commands lie at addresses of each kind, so that most deletions are told apart at once.
std::array<std::uint16_t, 4096> g_filter{};

std::size_t FilterPlace(const void* address)
{
    return reinterpret_cast<std::uintptr_t>(address) / 16 % g_filter.size();
}

std::map<const void*, sim::CommandSeen>& Living()
{
    static std::map<const void*, sim::CommandSeen> living;
    return living;
}

// By account, whose worker sends it.
std::map<unsigned, const void*>& InHands()
{
    static std::map<unsigned, const void*> hands;
    return hands;
}

unsigned PresentAccount()
{
    const devhost::AccountHealth* health = devhost::AccountHealth::Current();
    return health ? health->Account() : 0;
}

std::function<void(const sim::CommandSeen&)>& EndFunction()
{
    static std::function<void(const sim::CommandSeen&)> function;
    return function;
}

std::string LineOf(VestaraMethod method, CommandID id, const std::string& device, const std::string& user,
                   const std::string& access)
{
    switch (id) {
    case CMD_TOKEN_AUTHORIZE:
    case CMD_TOKEN_REFRESH:
        return "POST /oauth/token";
    case CMD_LOCATIONS_LIST:
        return "GET /locations";
    case CMD_DEVICES_STATUS:
    case CMD_DEVICES_DISCOVER:
        return "GET /devices";
    case CMD_ACCESS_PERSONS_LIST:
        return "GET /access_persons";
    case CMD_ACCESS_PERSON_CREATE:
        return "POST /access_persons";
    case CMD_ACCESS_PERSON_UPDATE:
        return "PUT /access_persons/" + user;
    case CMD_ACCESS_PERSON_DELETE:
        return "DELETE /access_persons/" + user;
    case CMD_ACCESSES_LIST:
        return "GET /access_persons/" + user + "/accesses";
    case CMD_ACCESS_GRANT:
        return "POST /access_persons/" + user + "/accesses";
    case CMD_ACCESS_REVOKE:
        return "DELETE /access_persons/" + user + "/accesses/" + access;
    case CMD_DEVICE_LOCK:
        return "PUT /devices/" + device + "/lock";
    case CMD_DEVICE_UNLOCK:
        return "PUT /devices/" + device + "/unlock";
    case CMD_LOCATION_GET:
    case CMD_DEVICE_GET:
    case CMD_ACCESSES_QUERY:
    case CMD_ACCESS_PERSON_NOTIFY:
        break; // nothing sends these
    }
    return method == METHOD_READ ? "" : "?";
}

void OnDelete(const void* block)
{
    if (g_filter[FilterPlace(block)] == 0)
        return;
    const auto found = Living().find(block);
    if (found == Living().end())
        return;
    const sim::CommandSeen seen = std::move(found->second);
    Living().erase(found);
    --g_filter[FilterPlace(block)];
    if (EndFunction())
        EndFunction()(seen);
}

} // namespace

// What is redirected, by its name for the linker.
#define VESTARA_COMMAND_CONSTRUCTOR _ZN15CVestaraCommandC1E13VestaraMethod9CommandID9CQXStringS2_S2_S2_
#define VESTARA_SEND_COMMAND                                                                                 \
    _ZN17CVestaraInterface11SendCommandESt10unique_ptrI15CVestaraCommandSt14default_deleteIS1_EE
#define VESTARA_REDIRECTED(prefix, name) VESTARA_JOINED(prefix, name)
#define VESTARA_JOINED(prefix, name) prefix##name

// Objects passed by value come as addresses of the caller's copies.
extern "C" {
using OwnedCommand = std::unique_ptr<CVestaraCommand>;
void VESTARA_REDIRECTED(__real_, VESTARA_COMMAND_CONSTRUCTOR)(CVestaraCommand*, VestaraMethod, CommandID,
                                                              CQXString&, CQXString&, CQXString&, CQXString&);
void VESTARA_REDIRECTED(__wrap_, VESTARA_COMMAND_CONSTRUCTOR)(CVestaraCommand*, VestaraMethod, CommandID,
                                                              CQXString&, CQXString&, CQXString&, CQXString&);
int VESTARA_REDIRECTED(__real_, VESTARA_SEND_COMMAND)(CVestaraInterface*, OwnedCommand&);
int VESTARA_REDIRECTED(__wrap_, VESTARA_SEND_COMMAND)(CVestaraInterface*, OwnedCommand&);

void VESTARA_REDIRECTED(__wrap_, VESTARA_COMMAND_CONSTRUCTOR)(CVestaraCommand* self, VestaraMethod method,
                                                              CommandID id, CQXString& location,
                                                              CQXString& device, CQXString& user,
                                                              CQXString& access)
{
    sim::CommandSeen seen;
    seen.number = ++g_made;
    seen.id = id;
    seen.line = LineOf(method, id, std::string(device), std::string(user), std::string(access));
    seen.userId = std::string(user);
    Living()[self] = std::move(seen);
    ++g_filter[FilterPlace(self)];
    VESTARA_REDIRECTED(__real_, VESTARA_COMMAND_CONSTRUCTOR)
    (self, method, id, location, device, user, access);
}

int VESTARA_REDIRECTED(__wrap_, VESTARA_SEND_COMMAND)(CVestaraInterface* self, OwnedCommand& command)
{
    const unsigned account = PresentAccount();
    InHands()[account] = command.get();
    const int result = VESTARA_REDIRECTED(__real_, VESTARA_SEND_COMMAND)(self, command);
    InHands().erase(account);
    return result;
}
}

void* operator new(std::size_t size)
{
    ++g_allocations;
    void* block = std::malloc(size > 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept
{
    if (!block)
        return;
    OnDelete(block);
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

namespace sim
{

std::size_t Commands::Living()
{
    return ::Living().size();
}

std::uint64_t Commands::Made()
{
    return g_made;
}

std::size_t Commands::InHands()
{
    return ::InHands().size();
}

std::optional<CommandSeen> Commands::MarkSent(const std::string& line)
{
    const auto held = ::InHands().find(PresentAccount());
    const auto found = held == ::InHands().end() ? ::Living().end() : ::Living().find(held->second);
    if (found == ::Living().end() || found->second.sent || found->second.line != line)
        return std::nullopt;
    found->second.sent = true;
    return found->second;
}

void Commands::OnEnd(std::function<void(const CommandSeen&)> function)
{
    EndFunction() = std::move(function);
}

std::uint64_t Allocations()
{
    return g_allocations;
}

} // namespace sim
