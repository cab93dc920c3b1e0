#pragma once

#include "net/descriptors.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace oadd {

// The programs that may be started: executable files below some folders, by absolute path. Symbolic links are
// resolved.
class Programs {
public:
    // A program that may be started; held open, so that exactly the file that was checked is executed.
    struct Program {
        std::string path; // without symbolic links
        harbolance::Descriptor file;
        bool script = false; // a script: its interpreter opens it by its path
    };

    // Returns an error message when there is no such folder.
    std::optional<std::string> add(const std::string& folder);
    // The program, or the reason why it may not be started.
    std::variant<Program, std::string> open(const std::string& path) const;

private:
    std::vector<std::string> folders_; // without symbolic links, each ending with '/'
};

} // namespace oadd
