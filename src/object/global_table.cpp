#include "object/global_table.h"

[[gnu::hot]] TRXGlobalTable* TRXGlobalTable::instance() {
    // Never destroyed: servants and references in static objects still read it while the process ends.
    static auto* const table = new TRXGlobalTable;
    return table;
}
