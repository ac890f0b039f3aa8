// Replaces the global operator new and delete with ones that count; the heap itself is the C library's.

#include "bench/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace
{

std::atomic<std::uint64_t> g_allocationCount{0};
std::atomic<std::int64_t> g_bytesHeld{0};

// Separate loads and stores instead of locked additions: the measured code runs on one thread, and a locked
// addition for each allocation would be measured with it.
template <class Counter, class Difference>
void Add(Counter& target, Difference amount)
{
    target.store(target.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

} // namespace

void* operator new(std::size_t size)
{
    void* block = std::malloc(size > 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    Add(g_allocationCount, std::uint64_t{1});
    Add(g_bytesHeld, static_cast<std::int64_t>(malloc_usable_size(block)));
    return block;
}

void operator delete(void* block) noexcept
{
    if (!block)
        return;
    Add(g_bytesHeld, -static_cast<std::int64_t>(malloc_usable_size(block)));
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

std::uint64_t bench::Allocations()
{
    return g_allocationCount.load(std::memory_order_relaxed);
}

std::int64_t bench::BytesHeld()
{
    return g_bytesHeld.load(std::memory_order_relaxed);
}
