// Free services of the host process, handed on to the parts that the program or a test has plugged in.

#include "host/Platform.h"

#include "devhost/framework/seams/Framework.h"

void Sleep(unsigned ms)
{
    if (devhost::Sleeper* sleeper = devhost::TheFramework().sleeper)
        sleeper->Sleep(std::chrono::milliseconds(ms));
}

int SetMainLoopTrigger()
{
    const auto& wake = devhost::TheFramework().wakeMainLoop;
    return wake ? wake() : 0;
}
