#pragma once

#include <istream>
#include <ostream>

// The standard streams, for output of the library itself. They are initialised at the first use. A source
// file that includes <iostream> would initialise them, and a locale with all its facets, in every process
// that loads the library, which takes 0.5 MiB of resident memory and time at start.

namespace harbolance {

std::istream& standardInput();  // std::cin
std::ostream& standardOutput(); // std::cout
std::ostream& standardError();  // std::cerr
std::ostream& standardLog();    // std::clog

} // namespace harbolance
