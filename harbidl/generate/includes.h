#pragma once

#include "model/reader.h"

namespace harbidl {

// The operands of the #include lines in the header of a definition: the headers that all generated code
// needs, the headers of native types, and for each definition that the file includes its header, under the
// name in the #include. The headers of definitions that come with the compiler, in `ownFolder`, are in
// <harbolance/...>.
std::vector<std::string> includesOf(const Reading& reading, const std::string& ownFolder);

// The same for the header with the skeletons: the header of the stub, and for each included definition that
// has interfaces, itself or by what it includes, the header with their skeletons.
std::vector<std::string> skeletonIncludesOf(const Reading& reading, const std::string& ownFolder);

// The path of an output for a definition: "sub/records.idl" and "_stub.h" give "sub/records_stub.h".
std::string outputName(std::string_view definition, std::string_view ending);

} // namespace harbidl
