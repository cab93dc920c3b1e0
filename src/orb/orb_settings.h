#pragma once

#include <cstdint>

// Process-wide options of this layer and those above it, filled by the start-up. It also fills the options of
// the layers below: marshal_settings.h, transport_settings.h and object/global_table.h.
struct TRXOrbSettings {
    bool cacheDSQuery = true; // answers of the agents are kept
    uint16_t agentPort = 0;   // the domain's port as given on the command line, 0 when none was
};

inline constinit TRXOrbSettings orbSettings;
