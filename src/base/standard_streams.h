#pragma once

#include <istream>
#include <ostream>

// The standard streams, for what the library itself prints. They are built when they are asked for first: a
// file of the library that includes <iostream> would build them, and a locale with all its facets, in every
// process that loads the library, which takes 0.5 MiB of resident memory and part of its start.

namespace harbolance {

std::istream& standardInput();  // std::cin
std::ostream& standardOutput(); // std::cout
std::ostream& standardError();  // std::cerr
std::ostream& standardLog();    // std::clog

} // namespace harbolance
