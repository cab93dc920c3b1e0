#pragma once

#include <cstddef>
#include <cstdint>

// How often the whole program has allocated so far. Linking allocations.cpp replaces its operator new.
uint64_t allocationCount();

// The largest allocation since the last call.
size_t takeLargestAllocation();

// The most octets of memory in use at a time since the last call, above what was in use then.
size_t takePeakOfMemory();
