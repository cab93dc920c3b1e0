#pragma once

#include "marshal/text/vstream.h"

#include <initializer_list>
#include <iostream>
#include <string_view>

namespace harbolance {

// `operator<<` of a value of the ORB prints readable lines on these, and on any other stream what `<<` to a
// TRXostream writes.
inline bool isConsole(const std::ostream& stream) {
    return &stream == &std::cout || &stream == &std::cerr || &stream == &std::clog;
}

// One line of a print form. Its pieces go past the string operation, which would quote them on some streams.
inline void printLine(TRXostream& stream, std::initializer_list<std::string_view> pieces) {
    for (std::string_view piece : pieces)
        stream.write_raw(piece.data(), static_cast<CORBA_ULong>(piece.size()));
    stream << std::endl;
}

} // namespace harbolance
