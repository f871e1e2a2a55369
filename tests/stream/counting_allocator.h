// Replaces the global allocation functions of the test program with ones
// that count calls while counting is on, so a test can show that a piece of
// code allocates nothing, or nothing large.
#pragma once

#include <atomic>
#include <cstddef>

extern std::atomic<bool> countAllocations;
extern std::atomic<long> allocationCount;
extern std::atomic<std::size_t> largestAllocation; // the largest size asked for while counting
