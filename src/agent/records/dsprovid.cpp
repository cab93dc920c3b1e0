#include "agent/records/dsprovid.h"

const NCTypeInfo DSProvider::info("DSProvider", ncCreate<DSProvider>, {&DSResource::info});

int harbolance::comparePart(NameValue a, NameValue b) {
    // Not done by compareRecords, which gives 1 when one is missing.
    return !a.value != !b.value ? -1 : compareRecords(a.value, b.value);
}
