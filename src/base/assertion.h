#pragma once

// A broken invariant of our own code. Never used on anything that comes from a peer, a file or a command
// line: those have statuses and exceptions.
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
