#pragma once

#include <unistd.h>

// For the child of a death test: what it prints on the standard output joins the standard error stream, whose
// text the test compares.
inline void joinOutputs() { ::dup2(STDERR_FILENO, STDOUT_FILENO); }
