// The program: reads the command line, runs the host, and says why when it cannot.

#include "devhost/controller/Program.h"
#include "devhost/framework/diagnostics/ExceptionText.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <sys/prctl.h>

namespace
{

// Where nothing may throw, as while a library is being loaded: an end with the reason and the status of a
// failure.
[[noreturn]] void Terminate()
{
    if (std::current_exception())
        std::cerr << "vestara-devhost: ended by an error: " << devhost::ExceptionText() << std::endl;
    std::_Exit(1);
}

} // namespace

int main(int argumentCount, char** arguments)
try {
    const auto parsed = devhost::ParseCommandLine(argumentCount, arguments);
    if (const int* status = std::get_if<int>(&parsed))
        return *status;
    std::set_terminate(Terminate);
    // A core file would hold tokens and PINs. Not a limit of its size, which a core collector ignores.
    prctl(PR_SET_DUMPABLE, 0);
    // A browser or a server that closes its end is an error of that write, not the end of the host; so is a
    // file that has reached its greatest size.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // Without the variable the C library asks the file system for the time zone's file with every conversion
    // of a local time, and a driver makes two for each lock that reports. Before there are other threads.
    setenv("TZ", ":/etc/localtime", 0);
    devhost::Program program(std::get<devhost::Settings>(parsed));
    return program.Run();
} catch (...) {
    std::cerr << "vestara-devhost: " << devhost::ExceptionText() << std::endl;
    return 1;
}
