#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace harbidl {

// The lines of the user's files as they were before the preprocessor. Each file is read once, and only if it
// is an ordinary one of a reasonable size.
class OriginalLines {
public:
    // Lines count from 1. Null when there is no such line to be had.
    const std::string* line(const std::string& file, uint32_t number);

private:
    std::map<std::string, std::vector<std::string>> files_;
};

} // namespace harbidl
