#include "base/assertion.h"

#include <cstdio>
#include <cstdlib>

namespace harbolance {

void assertionFailed(const char* condition, const char* unit, int line) {
    std::fprintf(stderr, "Harbolance: assertion \"%s\" failed in %s at line %d\n", condition, unit, line);
    std::abort();
}

} // namespace harbolance
