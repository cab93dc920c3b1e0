#include "base/assertion.h"

#include <cstdio>
#include <cstdlib>

namespace harbolance {

void assertionFailed(const char* condition, const char* unit, int line) {
    std::fprintf(stderr, "Harbolance: assertion \"%s\" failed in %s at line %d\n", condition, unit, line);
    // Not `exit`, which would run exit functions on a state that is known to be broken.
    std::abort();
}

} // namespace harbolance
