#pragma once
// The seams of the framework: the parts that a program or a test plugs in behind the host services.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class CEventServer;
class CIDServer;
class CSecurityServer;
class CSystem;
class CTraceProducer;
class CTraceServer;

namespace devhost
{

struct Exchange;

/// One HTTP reply as it came: the head (status line and header lines, ending with the empty line) and the
/// decoded body.
struct HttpReply {
    std::string head;
    std::string body;
};

/// An open connection to a cloud host. Used by one thread; destroying it closes it.
class Connection
{
public:
    virtual ~Connection() = default;
    /// Sends the request bytes as they are and reads one reply. Nothing when no complete, well-formed reply
    /// within the limits came back. Blocks; a worker that is asked to stop waits a short grace at most.
    virtual std::optional<HttpReply> Exchange(std::string_view request) = 0;
};

/// Opens connections. Called from any worker thread. It and its connections may throw std::exception when
/// memory, sockets or threads run out; whoever calls them for a driver turns that into a refusal.
class Transport
{
public:
    virtual ~Transport() = default;
    /// Null when the connection could not be made in time.
    virtual std::unique_ptr<Connection> Connect(const std::string& host, int port,
                                                std::chrono::milliseconds timeout) = 0;
    /// Why the last connection of the calling thread could not be made, or its last exchange brought nothing,
    /// for people.
    virtual std::string LastFailure() const { return "no reply came"; }
};

/// Receives trace lines and reports. Called from any thread.
class DiagnosticSink
{
public:
    virtual ~DiagnosticSink() = default;
    virtual void OnTrace(const std::string& producer, std::string_view line) = 0;
    virtual void OnReport(const std::string& source, int line, std::string_view message) = 0;
};

/// Blocks the calling thread. A worker's sleeper ends early at shut-down; a test moves its clock instead.
class Sleeper
{
public:
    virtual ~Sleeper() = default;
    virtual void Sleep(std::chrono::milliseconds time) = 0;
};

/// A worker under way. Whoever started it joins it before it is destroyed.
class RunningWorker
{
public:
    virtual ~RunningWorker() = default;
    /// Waits until the worker's function has returned. Host thread.
    virtual void Join() = 0;
};

/// Runs workers beside the host thread. A simulation runs them in turns on the host's own thread.
class WorkerRunner
{
public:
    virtual ~WorkerRunner() = default;
    /// Starts a function that runs until it returns by itself; it throws nothing. Host thread.
    /// @param name of at most 15 characters, for people.
    /// @throws std::exception when no thread can be started.
    virtual std::unique_ptr<RunningWorker> Start(const std::string& name, std::function<void()> work) = 0;
};

/// What stands behind the host services. Borrowed pointers and functions; whoever sets one keeps it alive and
/// takes it out again. Set on the host thread while no driver code runs.
struct Framework {
    Transport* transport = nullptr;        // null: no connection can be made
    DiagnosticSink* diagnostics = nullptr; // null: lines and reports are dropped
    Sleeper* sleeper = nullptr;            // null: Sleep returns at once
    WorkerRunner* workers = nullptr;       // null: each worker is a thread
    CSystem* system = nullptr;
    CIDServer* idServer = nullptr;
    CEventServer* eventServer = nullptr;
    CSecurityServer* securityServer = nullptr;
    CTraceServer* traceServer = nullptr;
    std::function<void(const Exchange&)> onExchange;    // a worker's thread; told after its account's health
    std::function<int()> wakeMainLoop;                  // any thread
    std::function<std::string(int schema)> redirectUri; // any thread
};

/// The one set of parts of this process.
Framework& TheFramework();

} // namespace devhost
