#pragma once
// The worker thread of one interface.

#include "devhost/framework/network/AccountHealth.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/system/WorkerStop.h"
#include "host/DeviceInterface.h"

#include <memory>

namespace devhost
{

/// Runs an interface's Run on a thread of its own, or as the framework's runner of workers does it. An
/// exception out of it is reported, and Run is called again after a pause. Started and stopped on the host
/// thread.
class Worker
{
public:
    /// All are borrowed and outlive the worker. @param health is told of the thread's exchanges.
    Worker(CDeviceInterface& interface, CNetworkBridge& bridge, AccountHealth& health)
        : m_interface(interface), m_bridge(bridge), m_health(health)
    {
    }
    ~Worker() { Stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Starts the thread; nothing when it runs already.
    void Start();
    /// Asks the thread to end, without waiting: so several can be asked before the first is joined.
    void RequestStop();
    /// Asks the thread to end and joins it. A pause of the thread ends at once, an exchange after a short
    /// grace at the latest.
    void Stop();
    bool Running() const { return m_running != nullptr; }

private:
    CDeviceInterface& m_interface;
    CNetworkBridge& m_bridge;
    AccountHealth& m_health;
    std::unique_ptr<WorkerStop> m_stop; // one for each thread, because a raised flag stays raised
    std::unique_ptr<RunningWorker> m_running;
};

} // namespace devhost
