// Starts, stops and joins the worker thread of one interface.

#include "devhost/framework/system/Worker.h"

#include "devhost/framework/diagnostics/ExceptionText.h"
#include "host/Trace.h"

#include <pthread.h>
#include <string>

namespace devhost
{

namespace
{

constexpr int kReportThrown = 1;

} // namespace

void Worker::Start()
{
    if (Running())
        return;
    m_bridge.ShuttingDown(0);
    m_stop = std::make_unique<WorkerStop>();
    m_thread = std::thread([interface = &m_interface, stop = m_stop.get(), health = &m_health,
                            name = "account-" + std::to_string(m_bridge.ID() % 1000000)] {
        pthread_setname_np(pthread_self(), name.c_str()); // the log shows it; at most 15 characters
        const WorkerStop::Scope scope(*stop);
        const AccountHealth::Scope watched(*health);
        try {
            interface->Run();
        } catch (...) {
            AssertWrap("worker", kReportThrown, ("the worker ended by an error: " + ExceptionText()).c_str());
        }
    });
}

void Worker::RequestStop()
{
    m_bridge.ShuttingDown(1);
    if (m_stop)
        m_stop->RequestStop();
}

void Worker::Stop()
{
    if (!Running())
        return;
    RequestStop();
    m_thread.join();
}

} // namespace devhost
