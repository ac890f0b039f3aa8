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
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    bool stopped = false;
    LookupResult result;

    void Finish(LookupResult found)
    {
        const std::lock_guard lock(mutex);
        result = std::move(found);
        done = true;
        changed.notify_all();
    }

    void Stop()
    {
        const std::lock_guard lock(mutex);
        stopped = true;
        changed.notify_all();
    }
};

LookupResult Resolve(const std::string& name, std::uint16_t port)
{
    boost::asio::io_context io;
    boost::system::error_code error;
    LookupResult found;
    for (const auto& entry : Tcp::resolver(io).resolve(name, std::to_string(port), error))
        found.endpoints.push_back(entry.endpoint());
    found.failure = error.message();
    return found;
}

} // namespace

LookupResult LookUpName(const std::string& name, std::uint16_t port,
                        std::chrono::steady_clock::time_point deadline)
{
    boost::system::error_code noAddress;
    const auto address = boost::asio::ip::make_address(name, noAddress);
    if (!noAddress)
        return {{Tcp::endpoint(address, port)}, {}};

    const auto lookup = std::make_shared<Lookup>();
    std::thread([lookup, name, port] {
        try {
            lookup->Finish(Resolve(name, port));
        } catch (const std::exception&) {
            lookup->Finish({{}, "out of memory"}); // a text so short needs none
        }
    }).detach();
    WorkerStop* stop = WorkerStop::Current();
    const WorkerStop::Wake wake(stop, [lookup] { lookup->Stop(); });
    std::unique_lock lock(lookup->mutex);
    lookup->changed.wait_until(lock, deadline, [&] { return lookup->done || lookup->stopped; });
    if (!lookup->done && lookup->stopped) {
        // The flag is asked without the look-up's lock, because it takes that lock under its own.
        lock.unlock();
        const auto end = std::min(deadline, stop->GraceEnd());
        lock.lock();
        lookup->changed.wait_until(lock, end, [&] { return lookup->done; });
    }
    if (lookup->done)
        return std::move(lookup->result);
    return {{}, lookup->stopped ? "stopped" : "timed out"};
}

} // namespace devhost
