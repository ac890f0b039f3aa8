#pragma once
// One account on the development host's system, without threads, cloud or log, and the replies that the cloud
// would send it.

#include "devhost/controller/MainLoop.h"
#include "devhost/framework/System.h"
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

    /// What happens to a status reply: parsed, its locks routed, and each of them applied by an idle call.
    void TakeStatusReply(const std::string& Body);

private:
    void Process(CommandID Command, const std::string& Body);
    void Sleep(std::chrono::milliseconds Time) override;

    devhost::MainLoop m_Loop; // woken by the driver, never run
    std::unique_ptr<devhost::System> m_pSystem;
    CVestaraInterface* m_pAccount = nullptr;
    int m_PassesLeft = 0;
    std::function<void()> m_OnPass;
};

/// The body of a status reply in the cloud's shape.
/// @param ConnectedAt calendar seconds of every lock's last heartbeat.
std::string StatusBody(int Locks, std::time_t ConnectedAt);

} // namespace bench
