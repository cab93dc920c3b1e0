#pragma once

#include "base/hash_table.h"

namespace locd {

// When the tables of the agent grow: nobody sees their order, they are searched for every request, and their
// slots are only pointers. So they stay half empty, which keeps every walk from slot to slot short.
struct GrowAtHalf {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity / 2; }
};

} // namespace locd
