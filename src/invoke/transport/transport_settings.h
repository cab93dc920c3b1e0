#pragma once

// Process-wide options of the transport, filled by the ORB's start-up. A size of 0 leaves the system's value.
struct TRXTransportSettings {
    bool tcpNoDelay = false;
    int sendBufSize = 0; // octets, at most 65535
    int rcvBufSize = 0;
};

inline constinit TRXTransportSettings transportSettings;
