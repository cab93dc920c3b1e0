#pragma once

#include "base/hash_table.h"

namespace locd {

// When the tables of the agent grow: nobody sees their order, they are searched for every request, and their
// slots are only pointers. So they stay half empty, which keeps every walk from slot to slot short.
using harbolance::GrowAtHalf;

} // namespace locd
