#pragma once

#include "net/descriptors.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace oadd {

// The programs that may be started: the executable files below some folders, by absolute path. Symbolic links
// count as what they lead to.
class Programs {
public:
    // A program that may be started, held open so that it is the one that has been looked at.
    struct Program {
        std::string path; // without symbolic links
        harbolance::Descriptor file;
        bool script = false; // its interpreter opens it by its path
    };

    // A message when there is no such folder.
    std::optional<std::string> add(const std::string& folder);
    // The program, or why it may not be started.
    std::variant<Program, std::string> open(const std::string& path) const;

private:
    std::vector<std::string> folders_; // without symbolic links, '/' behind each
};

} // namespace oadd
