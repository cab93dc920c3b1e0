#pragma once

// Process-wide options of the transport, filled by the ORB's start-up. A size of 0 leaves the system's value.
struct TRXTransportSettings {
    bool tcpNoDelay = false;
    int sendBufSize = 0; // octets, at most 65535
    int rcvBufSize = 0;
    // Seconds that a peer may make no progress in the middle of a message, or while output waits for it,
    // before the connection is closed; 0 for no limit.
    unsigned stallLimit = 60;
};

inline constinit TRXTransportSettings transportSettings;
