#include "allocations.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <utility>

namespace {

uint64_t count = 0;
size_t largest = 0;
size_t inUse = 0;
size_t start = 0;
size_t peak = 0;

// Null without memory.
void* counted(size_t size) noexcept {
    ++count;
    largest = std::max(largest, size);
    void* memory = std::malloc(size);
    inUse += malloc_usable_size(memory);
    peak = std::max(peak, inUse);
    return memory;
}

void* countedOrThrow(size_t size) {
    void* memory = counted(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void discounted(void* memory) {
    if (memory)
        inUse -= malloc_usable_size(memory);
    std::free(memory);
}

} // namespace

uint64_t allocationCount() { return count; }

size_t takeLargestAllocation() { return std::exchange(largest, 0); }

size_t takePeakOfMemory() {
    const size_t above = peak - start;
    start = peak = inUse;
    return above;
}

void* operator new(size_t size) { return countedOrThrow(size); }
void* operator new[](size_t size) { return countedOrThrow(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void operator delete(void* memory) noexcept { discounted(memory); }
void operator delete[](void* memory) noexcept { discounted(memory); }
void operator delete(void* memory, size_t) noexcept { discounted(memory); }
void operator delete[](void* memory, size_t) noexcept { discounted(memory); }
