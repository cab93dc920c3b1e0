#pragma once

#include "marshal/reference/vior.h"

#include <iosfwd>
#include <string>
#include <vector>

// Shows everything in a reference. Texts of the reference come out with dots for what a terminal would act
// on. What cannot be read is shown as octets; the result names each such place, for the user.
std::vector<std::string> dump(std::ostream& stream, const IOP::IOR& ior);
