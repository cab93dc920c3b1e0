#pragma once

#include "base/standard_streams.h"
#include "marshal/text/vstream.h"

#include <initializer_list>
#include <string_view>

namespace harbolance {

// The standard streams, on which `operator<<` of an ORB value prints readable lines. On any other
// std::ostream it writes the text form of the wire data.
inline bool isConsole(const std::ostream& stream) {
    return &stream == &standardOutput() || &stream == &standardError() || &stream == &standardLog();
}

// Prints one line. Written raw: the stream's string operation would quote the pieces on some streams.
inline void printLine(TRXostream& stream, std::initializer_list<std::string_view> pieces) {
    for (std::string_view piece : pieces)
        stream.write_raw(piece.data(), static_cast<CORBA_ULong>(piece.size()));
    stream << std::endl;
}

} // namespace harbolance
