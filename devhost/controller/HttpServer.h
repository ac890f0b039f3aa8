#pragma once
// The HTTP server of the configurator.

#include "devhost/controller/RequestGuard.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace devhost
{

/// Serves HTTP/1.1 on one loopback address with one thread of its own: requests of at most 64 KiB (a
/// backup: 4 MiB) to a handler, and an event stream at /api/v1/events. At most 64 connections are open, 32 of
/// them for events; a further one ends the one whose peer has been idle longest.
class HttpServer
{
public:
    static constexpr std::size_t kMaxBody = std::size_t{64} * 1024;
    /// Of a backup that is restored: room for the records of thousands of locks.
    static constexpr std::size_t kMaxRestoreBody = std::size_t{4} * 1024 * 1024;
    static constexpr const char* kRestorePath = "/api/v1/restore";
    static constexpr const char* kEventsPath = "/api/v1/events";

    /// Serves one request that passed the guard. Called on the server's thread, and may block. What it throws
    /// is answered with status 500.
    using Handler = std::function<ApiResponse(const ApiRequest&)>;

    /// Binds and listens; requests are served from Start on.
    /// @param address "127.0.0.1", "localhost" or "::1"; @param port 0 for a free one.
    /// @throws std::runtime_error for another address, or when it cannot be bound.
    HttpServer(const std::string& address, std::uint16_t port, Handler serve);
    ~HttpServer(); // stops

    std::uint16_t Port() const;
    void Start();
    /// Ends all connections and joins the thread. A handler that is under way must end by itself.
    void Stop();

    /// Sends an event to everybody who listens. Any thread; never waits.
    /// @param type of the event, letters only; @param data one line of text.
    void Publish(const std::string& type, const std::string& data);

    /// Sets what tells a new reader of the events the state that they change: a text of one line, sent as the
    /// event "snapshot". Called on the server's thread, and may block; one that throws ends the stream.
    /// Before Start.
    void OnNewReader(std::function<std::string()> snapshot);

    /// Lets only requests in that bear the token (see CheckRequest). Before Start.
    void RequireToken(WantedToken wanted);

    /// Serves the routes below SimulatorRelay::kPrefix from the simulator at an address. Before Start.
    /// @throws std::runtime_error for what is no address of SimulatorRelay's.
    void RelaySimulator(const std::string& address);

    /// Calls a function, on the server's thread, for SIGINT and SIGTERM, and for SIGHUP unless the program
    /// was started with that one ignored (nohup). Before Start: a signal that comes before the thread runs is
    /// kept until then.
    void OnSignal(std::function<void()> function);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace devhost
