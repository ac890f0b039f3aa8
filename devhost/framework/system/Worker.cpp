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
    m_Bridge.ShuttingDown(0);
    m_pStop = std::make_unique<WorkerStop>();
    m_Thread = std::thread([pInterface = &m_Interface, pStop = m_pStop.get(),
                            Name = "account-" + std::to_string(m_Bridge.ID() % 1000000)] {
        pthread_setname_np(pthread_self(), Name.c_str()); // the log shows it; at most 15 characters
        const WorkerStop::Scope Scope(*pStop);
        try {
            pInterface->Run();
        } catch (...) {
            AssertWrap("worker", kReportThrown, ("the worker ended by an error: " + ExceptionText()).c_str());
        }
    });
}

void Worker::RequestStop()
{
    m_Bridge.ShuttingDown(1);
    if (m_pStop)
        m_pStop->RequestStop();
}

void Worker::Stop()
{
    if (!Running())
        return;
    RequestStop();
    m_Thread.join();
}

} // namespace devhost
