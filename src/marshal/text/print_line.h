#pragma once

#include "base/standard_streams.h"
#include "marshal/text/vstream.h"

#include <initializer_list>
#include <string_view>

namespace harbolance {

// The console streams, on which `operator<<` of an ORB value prints readable lines. On any other std::ostream
// it writes the text encoding of the wire form.
inline bool isConsole(const std::ostream& stream) {
    return &stream == &standardOutput() || &stream == &standardError() || &stream == &standardLog();
}

// Prints one line. Written raw, because the string operation of some streams would add quotes.
inline void printLine(TRXostream& stream, std::initializer_list<std::string_view> pieces) {
    for (std::string_view piece : pieces)
        stream.write_raw(piece.data(), static_cast<CORBA_ULong>(piece.size()));
    stream << std::endl;
}

} // namespace harbolance
