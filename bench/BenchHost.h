#pragma once
// One account on the development host's system, without threads, cloud or log, and the replies that the cloud
// would send it.

#include "devhost/controller/MainLoop.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "interface/VestaraInterface.h"

#include <ctime>
#include <functional>
#include <memory>
#include <string>

namespace bench
{

/// There may be one at a time. The account has tokens and a location and is the master; nothing is queued.
class BenchHost : private devhost::Sleeper
{
public:
    BenchHost();
    ~BenchHost() override;
    BenchHost(const BenchHost&) = delete;
    BenchHost& operator=(const BenchHost&) = delete;

    CVestaraInterface& Account() { return *m_account; }

    /// Installs the first Count of the locks that StatusBody names.
    void InstallLocks(int count);

    /// Runs the worker's loop on this thread for a number of passes.
    /// @param onPass called instead of each pause of the loop.
    void RunWorker(int passes, std::function<void()> onPass);

    /// What happens to a reply: parsed, processed, and what it has routed to the account taken in by idle
    /// calls. The ids are those of the request that it answers.
    void TakeReply(CommandID commandId, const std::string& body, const char* deviceId = "",
                   const char* userId = "");
    /// The same, with the main loop in place of the idle calls.
    void TakeReplyInLoop(CommandID commandId, const std::string& body, const char* deviceId = "",
                         const char* userId = "");

    /// Drops the commands that wait to be sent. @return how many there were.
    int DropCommands();

private:
    void Process(CommandID commandId, const std::string& body, const char* deviceId, const char* userId);
    void Sleep(std::chrono::milliseconds time) override;

    std::unique_ptr<devhost::MainLoop> m_loop = std::make_unique<devhost::MainLoop>();
    devhost::MemoryStore m_store;
    std::unique_ptr<devhost::System> m_system;
    CVestaraInterface* m_account = nullptr;
    int m_passesLeft = 0;
    std::function<void()> m_onPass;
};

/// Bodies of replies in the cloud's shape. Ids are as long as the cloud's and differ at their end only, as
/// ids of one cloud do.

/// @param connectedAt calendar seconds of every lock's last heartbeat.
std::string StatusBody(int locks, std::time_t connectedAt);
/// Locks of which the status says nothing.
std::string BareLocksBody(int locks);
std::string PersonsBody(int persons);
/// Houses by what the driver reads of them, and nothing else.
std::string LocationsBody(int locations);
/// Accesses of one person, all of them to the lock of the ids below.
std::string AccessesBody(int accesses);
constexpr const char* kAccessDevice = "lock-00000000-0000-0000-000000000000";
constexpr const char* kAccessPerson = "person-00000000-0000-0000-000000000000";
/// A list of entries that all are the same.
std::string ListBody(int entries, const std::string& entry);

} // namespace bench
