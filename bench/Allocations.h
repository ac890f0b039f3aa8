#pragma once
// What this program takes from the heap, counted in operator new and delete.

#include <cstdint>

namespace bench
{

/// Calls of operator new since the start of the program, on all threads.
std::uint64_t Allocations();

/// Bytes that are held at this moment through operator new, as the heap rounds them up.
std::int64_t BytesHeld();

} // namespace bench
