// In a translation unit of its own, so that no caller sees these inline.
#include "counting_allocator.h"

#include <cstdlib>
#include <new>

std::atomic<bool> countAllocations(false);
std::atomic<long> allocationCount(0);
std::atomic<std::size_t> largestAllocation(0);

void* operator new(std::size_t size) {
    if (countAllocations) {
        ++allocationCount;
        if (size > largestAllocation)
            largestAllocation = size;
    }
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
