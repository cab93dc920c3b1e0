#pragma once

// Prints the hosts on which object activation daemons run. Ends the process when there is no agent to ask.
void listOADs(bool hostNames);
