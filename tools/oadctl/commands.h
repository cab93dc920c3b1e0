#pragma once

#include "oadctl/options.h"

#include <iosfwd>

// Finds the daemon and does what the command line says; the report goes to `out`. Raises std::runtime_error
// with a message for the user, whatever the daemon raises.
void execute(const Choice& choice, std::ostream& out);
