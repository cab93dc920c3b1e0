#include "base/standard_streams.h"

#if defined(__GLIBCXX__)
// Declared as in <iostream>. With this standard library the stream objects exist from the start and are
// initialised by the first ios_base::Init.
namespace std {
extern istream cin;
extern ostream cout, cerr, clog;
} // namespace std
#else
#include <iostream>
#endif

namespace harbolance {

namespace {

template <class Stream>
Stream& built(Stream& stream) {
    static const std::ios_base::Init built;
    return stream;
}

} // namespace

std::istream& standardInput() { return built(std::cin); }
std::ostream& standardOutput() { return built(std::cout); }
std::ostream& standardError() { return built(std::cerr); }
std::ostream& standardLog() { return built(std::clog); }

} // namespace harbolance
