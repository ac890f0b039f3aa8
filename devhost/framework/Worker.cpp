// Starts, stops and joins the worker thread of one interface.

#include "devhost/framework/Worker.h"

namespace devhost
{

void Worker::Start()
{
    if (Running())
        return;
    m_Bridge.ShuttingDown(0);
    m_pStop = std::make_unique<WorkerStop>();
    m_Thread = std::thread([pInterface = &m_Interface, pStop = m_pStop.get()] {
        const WorkerStop::Scope Scope(*pStop);
        pInterface->Run();
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
