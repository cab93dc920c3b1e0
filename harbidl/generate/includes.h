#pragma once

#include "model/reader.h"

namespace harbidl {

// What the header of a definition includes, each with its quotes or angles: what all generated code needs,
// the headers of native types, and for each definition that the file includes its header, by the name that
// stands behind the #include. Definitions that come with the compiler, from `ownFolder`, have theirs in
// <harbolance/...>.
std::vector<std::string> includesOf(const Reading& reading, const std::string& ownFolder);

// What the header with the skeletons includes: that of the stub, and for each definition that the file
// includes and that has interfaces, directly or by what it includes, the header with their skeletons.
std::vector<std::string> skeletonIncludesOf(const Reading& reading, const std::string& ownFolder);

// The name of an output for a definition, with what leads to it: "sub/records.idl" and "_stub.h" give
// "sub/records_stub.h".
std::string outputName(std::string_view definition, std::string_view ending);

} // namespace harbidl
