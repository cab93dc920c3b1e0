#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <string>
#include <vector>

// Prints the whole contents of a reference. Characters other than printing ASCII ones become dots, because a
// terminal could interpret them as commands. Data that cannot be decoded are printed as octets; the result
// has a message for each such place.
std::vector<std::string> dump(std::ostream& stream, const IOP::IOR& ior);
