#pragma once

#include <cstdint>

// How often the whole program has allocated so far. Linking allocations.cpp replaces its operator new.
uint64_t allocationCount();
