// Looks up host names on a thread of its own, because the system's resolver can neither be timed nor stopped.

#include "devhost/framework/network/NameLookup.h"

#include "devhost/framework/system/WorkerStop.h"

#include <boost/asio/io_context.hpp>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace devhost
{

namespace
{

using Tcp = boost::asio::ip::tcp;

// Shared by the caller and the look-up's thread, which may outlast the caller's patience.
struct Lookup {
    std::mutex Mutex;
    std::condition_variable Changed;
    bool bDone = false;
    bool bStopped = false;
    LookupResult Result;

    void Finish(LookupResult Found)
    {
        const std::lock_guard Lock(Mutex);
        Result = std::move(Found);
        bDone = true;
        Changed.notify_all();
    }

    void Stop()
    {
        const std::lock_guard Lock(Mutex);
        bStopped = true;
        Changed.notify_all();
    }
};

LookupResult Resolve(const std::string& Name, std::uint16_t uPort)
{
    boost::asio::io_context Io;
    boost::system::error_code Error;
    LookupResult Found;
    for (const auto& Entry : Tcp::resolver(Io).resolve(Name, std::to_string(uPort), Error))
        Found.Endpoints.push_back(Entry.endpoint());
    Found.Failure = Error.message();
    return Found;
}

} // namespace

LookupResult LookUpName(const std::string& Name, std::uint16_t uPort,
                        std::chrono::steady_clock::time_point Deadline)
{
    boost::system::error_code NoAddress;
    const auto Address = boost::asio::ip::make_address(Name, NoAddress);
    if (!NoAddress)
        return {{Tcp::endpoint(Address, uPort)}, {}};

    const auto pLookup = std::make_shared<Lookup>();
    std::thread([pLookup, Name, uPort] {
        try {
            pLookup->Finish(Resolve(Name, uPort));
        } catch (const std::exception&) {
            pLookup->Finish({{}, "out of memory"}); // a text so short needs none
        }
    }).detach();
    WorkerStop* pStop = WorkerStop::Current();
    const WorkerStop::Wake Wake(pStop, [pLookup] { pLookup->Stop(); });
    std::unique_lock Lock(pLookup->Mutex);
    pLookup->Changed.wait_until(Lock, Deadline, [&] { return pLookup->bDone || pLookup->bStopped; });
    if (!pLookup->bDone && pLookup->bStopped) {
        // The flag is asked without the look-up's lock, because it takes that lock under its own.
        Lock.unlock();
        const auto End = std::min(Deadline, pStop->GraceEnd());
        Lock.lock();
        pLookup->Changed.wait_until(Lock, End, [&] { return pLookup->bDone; });
    }
    if (pLookup->bDone)
        return std::move(pLookup->Result);
    return {{}, pLookup->bStopped ? "stopped" : "timed out"};
}

} // namespace devhost
