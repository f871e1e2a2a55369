// Replaces the global allocation functions of the test program with ones
// that count calls while counting is on, so a test can show that a piece of
// code allocates nothing.
#pragma once

#include <atomic>

extern std::atomic<bool> countAllocations;
extern std::atomic<long> allocationCount;
