#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <string>
#include <vector>

// Prints everything in a reference. Control characters in its texts are printed as dots. A part that cannot
// be read is printed as octets; the result names each such part, for the user.
std::vector<std::string> dump(std::ostream& stream, const IOP::IOR& ior);
