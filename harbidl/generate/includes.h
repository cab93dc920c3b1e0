#pragma once

#include "model/reader.h"

namespace harbidl {

// What the header of a definition includes, each with its quotes or angles: what all generated code needs,
// the headers of native types, and for each definition that the file includes its header, by the name that
// stands behind the #include. Definitions that come with the compiler, from `ownFolder`, have theirs in
// <harbolance/...>.
std::vector<std::string> includesOf(const Reading& reading, const std::string& ownFolder);

// The name of the header for a definition, with what leads to it: "sub/records.idl" has "sub/records_stub.h".
std::string stubHeaderName(std::string_view definition);

} // namespace harbidl
