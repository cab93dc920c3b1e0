#pragma once

#include <string>
#include <variant>
#include <vector>

namespace harbidl {

struct Options {
    std::string file;
    std::string folder = ".";              // for the outputs
    std::vector<std::string> preprocessor; // the -I, -D and -U
    std::string dependencies;              // the file for them; empty for none
    bool clientOnly = false;
    bool servant = false;
    bool warningsAreErrors = false;
    bool dumpModel = false;
};

// The command line, or the status to end with: 0 after what --help and --version print, 2 after a message
// about wrong usage.
std::variant<Options, int> parseOptions(const std::vector<std::string>& words);

} // namespace harbidl
