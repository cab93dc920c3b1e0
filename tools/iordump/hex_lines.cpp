#include "iordump/hex_lines.h"

#include "base/printable.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

using namespace harbolance;

void printHexLines(std::ostream& stream, std::span<const CORBA_Octet> octets, std::string_view indent) {
    constexpr size_t width = 16;
    for (size_t offset = 0; offset < octets.size(); offset += width) {
        const auto line = octets.subspan(offset, std::min(width, octets.size() - offset));
        char text[24];
        std::snprintf(text, sizeof text, "%04zx ", offset);
        stream << indent << text;
        for (CORBA_Octet octet : line) {
            std::snprintf(text, sizeof text, " %02x", octet);
            stream << text;
        }
        stream << std::string(3 * (width - line.size()) + 2, ' ') << printable(line) << "\n";
    }
}
