#pragma once

// Prints the agents of the domain. Ends the process when there is none.
void listAgents(bool hostNames);
