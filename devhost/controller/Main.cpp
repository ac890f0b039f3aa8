// The program: reads the command line, runs the host, and says why when it cannot.

#include "devhost/controller/Program.h"

#include <csignal>
#include <cstdlib>
#include <iostream>

int main(int nArguments, char** pArguments)
try {
    const auto Parsed = devhost::ParseCommandLine(nArguments, pArguments);
    if (const int* pStatus = std::get_if<int>(&Parsed))
        return *pStatus;
    // A browser or a server that closes its end is an error of that write, not the end of the host.
    std::signal(SIGPIPE, SIG_IGN);
    // Without the variable the C library asks the file system for the time zone's file with every conversion
    // of a local time, and a driver makes two for each lock that reports. Before there are other threads.
    setenv("TZ", ":/etc/localtime", 0);
    devhost::Program Program(std::get<devhost::Settings>(Parsed));
    return Program.Run();
} catch (const std::exception& Error) {
    std::cerr << "vestara-devhost: " << Error.what() << std::endl;
    return 1;
}
