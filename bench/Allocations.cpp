// Replaces the global operator new and delete with ones that count; the heap itself is the C library's.

#include "bench/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace
{

std::atomic<std::uint64_t> g_nAllocations{0};
std::atomic<std::int64_t> g_cbHeld{0};

// Separate loads and stores instead of locked additions: the measured code runs on one thread, and a locked
// addition for each allocation would be measured with it.
template <class Counter, class Difference>
void Add(Counter& Target, Difference Amount)
{
    Target.store(Target.load(std::memory_order_relaxed) + Amount, std::memory_order_relaxed);
}

} // namespace

void* operator new(std::size_t cb)
{
    void* pBlock = std::malloc(cb > 0 ? cb : 1);
    if (!pBlock)
        throw std::bad_alloc();
    Add(g_nAllocations, std::uint64_t{1});
    Add(g_cbHeld, static_cast<std::int64_t>(malloc_usable_size(pBlock)));
    return pBlock;
}

void operator delete(void* pBlock) noexcept
{
    if (!pBlock)
        return;
    Add(g_cbHeld, -static_cast<std::int64_t>(malloc_usable_size(pBlock)));
    std::free(pBlock);
}

void operator delete(void* pBlock, std::size_t) noexcept
{
    operator delete(pBlock);
}

std::uint64_t bench::Allocations()
{
    return g_nAllocations.load(std::memory_order_relaxed);
}

std::int64_t bench::BytesHeld()
{
    return g_cbHeld.load(std::memory_order_relaxed);
}
