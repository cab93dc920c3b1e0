#pragma once

#include "oadctl/options.h"

#include <iosfwd>

// Finds the daemon and executes the command; the report is written to `out`. Every failure raises
// std::runtime_error with a message for the user.
void execute(const Choice& choice, std::ostream& out);
