#pragma once

// Checks an invariant of this system's own code. It must not be used on input from a peer, a file or a
// command line, which is answered with statuses and exceptions.
//
// TRX_ASSERT(condition, unit) ends the process with one line on the standard error stream that names the
// condition, the unit and the line. It is compiled into every build.
#define TRX_ASSERT(condition, unit)                                                                          \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            harbolance::assertionFailed(#condition, unit, __LINE__);                                         \
    } while (false)

namespace harbolance {
[[noreturn]] void assertionFailed(const char* condition, const char* unit, int line);
}
