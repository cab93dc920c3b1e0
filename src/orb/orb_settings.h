#pragma once

#include <cstdint>

// Process-wide options that the ORB and what stands on it read. Those of the layers below lie with their
// readers: marshal/settings.h and invoke/settings.h. The start-up fills all three.
struct TRXOrbSettings {
    bool cacheDSQuery = true; // answers of the agents are kept
    uint16_t agentPort = 0;   // the domain's port as given on the command line, 0 when none was
    bool shuttingDown = false;
};

inline constinit TRXOrbSettings orbSettings;
