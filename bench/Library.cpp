// Measures how long the library takes to load into a process that exports the framework, as a controller
// does.

#include <benchmark/benchmark.h>

#include <chrono>
#include <dlfcn.h>

namespace
{

void LibraryLoad(benchmark::State& state)
{
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        void* library = dlopen(VESTARA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        const auto end = std::chrono::steady_clock::now();
        if (!library) {
            state.SkipWithError(dlerror());
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        dlclose(library);
        // One that stays in the process would be loaded once and only counted from then on.
        if (dlopen(VESTARA_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) {
            state.SkipWithError("the library did not leave the process");
            break;
        }
    }
}

BENCHMARK(LibraryLoad)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
