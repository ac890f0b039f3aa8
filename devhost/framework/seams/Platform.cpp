// Free services of the host process, handed on to the parts that the program or a test has plugged in.

#include "host/Platform.h"

#include "devhost/framework/seams/Framework.h"

void Sleep(unsigned uMs)
{
    if (devhost::Sleeper* pSleeper = devhost::TheFramework().pSleeper)
        pSleeper->Sleep(std::chrono::milliseconds(uMs));
}

int SetMainLoopTrigger()
{
    const auto& Wake = devhost::TheFramework().WakeMainLoop;
    return Wake ? Wake() : 0;
}
