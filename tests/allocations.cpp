#include "allocations.h"

#include <cstdlib>
#include <new>

namespace {

uint64_t count = 0;

void* counted(size_t size) {
    ++count;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

uint64_t allocationCount() { return count; }

void* operator new(size_t size) { return counted(size); }
void* operator new[](size_t size) { return counted(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
