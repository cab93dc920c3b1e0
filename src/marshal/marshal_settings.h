#pragma once

namespace harbolance {

// Process-wide options for what is written and accepted. They have their defaults until the ORB's start-up
// sets them from its command line.
struct MarshalSettings {
    bool backDII = false;      // flat TypeCodes
    bool nullString = false;   // a null string is sent as length 0 and is not an error
    bool tcIndirection = true; // an encapsulated TypeCode may point back at an earlier one
};

inline constinit MarshalSettings marshalSettings;

} // namespace harbolance
