#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <string>
#include <vector>

// Prints everything in a reference. Characters other than printing ASCII ones become dots, since a terminal
// could take them for commands. What cannot be decoded is printed as octets; the result names each such
// place.
std::vector<std::string> dump(std::ostream& stream, const IOP::IOR& ior);
