#pragma once
// The program's own operator new, which fails once where it is told to. One thread.

#include <cstdint>

namespace allocation
{

/// Counts from 0 again, and lets the allocation of that number fail, counted from 1; 0: none.
void Fail(std::int64_t number);
/// How many there were, of those that may fail.
std::int64_t Made();
bool HasFailed();

/// While it lives allocations count and may fail, or do neither, which is what they do without one.
class May
{
public:
    explicit May(bool fail);
    ~May();
    May(const May&) = delete;
    May& operator=(const May&) = delete;

private:
    bool m_before;
};

} // namespace allocation
