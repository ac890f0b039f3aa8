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

    CVestaraInterface& Account() { return *m_pAccount; }

    /// Installs the first Count of the locks that StatusBody names.
    void InstallLocks(int Count);

    /// Runs the worker's loop on this thread for a number of passes.
    /// @param OnPass called instead of each pause of the loop.
    void RunWorker(int Passes, std::function<void()> OnPass);

    /// What happens to a reply: parsed, processed, and what it has routed to the account taken in by idle
    /// calls. The ids are those of the request that it answers.
    void TakeReply(CommandID Command, const std::string& Body, const char* DeviceID = "",
                   const char* UserID = "");
    /// The same, with the main loop in place of the idle calls.
    void TakeReplyInLoop(CommandID Command, const std::string& Body, const char* DeviceID = "",
                         const char* UserID = "");

    /// Drops the commands that wait to be sent. @return how many there were.
    int DropCommands();

private:
    void Process(CommandID Command, const std::string& Body, const char* DeviceID, const char* UserID);
    void Sleep(std::chrono::milliseconds Time) override;

    std::unique_ptr<devhost::MainLoop> m_pLoop = std::make_unique<devhost::MainLoop>();
    devhost::MemoryStore m_Store;
    std::unique_ptr<devhost::System> m_pSystem;
    CVestaraInterface* m_pAccount = nullptr;
    int m_PassesLeft = 0;
    std::function<void()> m_OnPass;
};

/// Bodies of replies in the cloud's shape. Ids are as long as the cloud's and differ at their end only, as
/// ids of one cloud do.

/// @param ConnectedAt calendar seconds of every lock's last heartbeat.
std::string StatusBody(int Locks, std::time_t ConnectedAt);
/// Locks of which the status says nothing.
std::string BareLocksBody(int Locks);
std::string PersonsBody(int Persons);
/// Houses by what the driver reads of them, and nothing else.
std::string LocationsBody(int Locations);
/// Accesses of one person, all of them to the lock of the ids below.
std::string AccessesBody(int Accesses);
constexpr const char* kAccessDevice = "lock-00000000-0000-0000-000000000000";
constexpr const char* kAccessPerson = "person-00000000-0000-0000-000000000000";
/// A list of entries that all are the same.
std::string ListBody(int Entries, const std::string& Entry);

} // namespace bench
