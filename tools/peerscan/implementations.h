#pragma once

// Prints the implementations whose repository id matches the expression: those registered with activation
// daemons, then those started by hand. `backCompat` asks the agents also where the location service answers.
// Ends the process when there is no agent to ask, or for an invalid expression.
void listImplementations(const char* expression, bool backCompat, bool hostNames);
