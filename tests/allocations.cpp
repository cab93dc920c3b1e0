#include "allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

uint64_t count = 0;
size_t largest = 0;

void* counted(size_t size) {
    ++count;
    largest = std::max(largest, size);
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

uint64_t allocationCount() { return count; }

size_t takeLargestAllocation() { return std::exchange(largest, 0); }

void* operator new(size_t size) { return counted(size); }
void* operator new[](size_t size) { return counted(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
