// Measures how long the library takes to load into a process that exports the framework, as a controller
// does.

#include <benchmark/benchmark.h>

#include <chrono>
#include <dlfcn.h>

namespace
{

void LibraryLoad(benchmark::State& State)
{
    for (auto _ : State) {
        const auto Start = std::chrono::steady_clock::now();
        void* pLibrary = dlopen(VESTARA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        const auto End = std::chrono::steady_clock::now();
        if (!pLibrary) {
            State.SkipWithError(dlerror());
            break;
        }
        State.SetIterationTime(std::chrono::duration<double>(End - Start).count());
        dlclose(pLibrary);
        // One that stays in the process would be loaded once and only counted from then on.
        if (dlopen(VESTARA_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) {
            State.SkipWithError("the library did not leave the process");
            break;
        }
    }
}

BENCHMARK(LibraryLoad)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
