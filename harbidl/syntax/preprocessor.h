#pragma once

#include <optional>
#include <string>
#include <vector>

namespace harbidl {

// Runs the C preprocessor over a file: the words of $CPP, or else "c++ -E". It keeps comments and knows no
// macros but those of `options` (the -I, -D and -U of the command line, in their order) and of the file.
// Folders of `lastFolders` are looked at after those of the options. What the preprocessor complains about
// goes to standard error. Nothing when it fails.
std::optional<std::string> preprocessed(const std::string& file, const std::vector<std::string>& options,
                                        const std::vector<std::string>& lastFolders);

} // namespace harbidl
