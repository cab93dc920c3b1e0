#pragma once

#include <cstdint>

// Process-wide options of this layer and those above it. The start-up sets them, as well as the options of
// the lower layers: marshal_settings.h, transport_settings.h and object/global_table.h.
struct TRXOrbSettings {
    bool cacheDSQuery = true; // cache the answers of the agents
    uint16_t agentPort = 0;   // the domain's port from the command line, 0 for none
};

inline constinit TRXOrbSettings orbSettings;
