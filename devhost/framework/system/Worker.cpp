// Starts, stops and joins the worker thread of one interface.

#include "devhost/framework/system/Worker.h"

#include "devhost/framework/diagnostics/ExceptionText.h"
#include "host/Platform.h"
#include "host/Trace.h"

#include <pthread.h>
#include <string>
#include <thread>
#include <utility>

namespace devhost
{

namespace
{

constexpr int kReportThrown = 1;
constexpr unsigned kPauseAfterErrorMs = 10000;

// The driver's loop, which knows no exceptions. What is thrown through it, when memory runs out, costs what
// it was at; the account goes on after a pause.
void RunLoop(CDeviceInterface& interface, const WorkerStop& stop)
{
    while (!stop.StopRequested()) {
        try {
            interface.Run();
            return;
        } catch (...) {
            AssertWrap(
                "worker", kReportThrown,
                ("the worker was stopped by an error and goes on in 10 s: " + ExceptionText()).c_str());
        }
        Sleep(kPauseAfterErrorMs);
    }
}

class WorkerThread : public RunningWorker
{
public:
    WorkerThread(const std::string& name, std::function<void()> work)
        : m_thread([name, work = std::move(work)] {
              pthread_setname_np(pthread_self(), name.c_str()); // the log shows it
              work();
          })
    {
    }
    void Join() override { m_thread.join(); }

private:
    std::thread m_thread;
};

} // namespace

void Worker::Start()
{
    if (Running())
        return;
    m_bridge.ShuttingDown(0);
    m_stop = std::make_unique<WorkerStop>();
    const std::string name = "account-" + std::to_string(m_bridge.ID() % 1000000);
    auto work = [interface = &m_interface, stop = m_stop.get(), health = &m_health] {
        const WorkerStop::Scope scope(*stop);
        const AccountHealth::Scope watched(*health);
        RunLoop(*interface, *stop);
    };
    WorkerRunner* runner = TheFramework().workers;
    m_running = runner ? runner->Start(name, work) : std::make_unique<WorkerThread>(name, work);
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
    m_running->Join();
    m_running.reset();
}

} // namespace devhost
