#pragma once

namespace harbolance {

// Process-wide options that change what is written and accepted. They start as the defaults; the ORB's
// start-up fills them from its command line.
struct MarshalSettings {
    bool backDII = false;      // flat TypeCodes
    bool nullString = false;   // a null string is the length 0, not an error
    bool tcIndirection = true; // an encapsulated TypeCode may point back at an earlier one
};

inline constinit MarshalSettings marshalSettings;

} // namespace harbolance
