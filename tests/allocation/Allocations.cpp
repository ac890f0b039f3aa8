// Counts allocations. Apart from whoever allocates, so that no call of operator new is built in there.

#include "tests/allocation/Allocations.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace
{

bool g_counting = false;
std::int64_t g_made = 0;
std::int64_t g_failing = 0;

} // namespace

namespace allocation
{

void Fail(std::int64_t number)
{
    g_made = 0;
    g_failing = number;
}

std::int64_t Made()
{
    return g_made;
}

bool HasFailed()
{
    return g_failing > 0 && g_made >= g_failing;
}

May::May(bool fail) : m_before(std::exchange(g_counting, fail)) {}

May::~May()
{
    g_counting = m_before;
}

} // namespace allocation

void* operator new(std::size_t size)
{
    if (g_counting && ++g_made == g_failing)
        throw std::bad_alloc();
    void* block = std::malloc(size > 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t /*Size*/) noexcept
{
    std::free(block);
}
