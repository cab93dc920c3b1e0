#pragma once

#include <fstream>
#include <optional>
#include <string>

namespace harbolance {

// A configuration file of words: spaces and newlines separate them, and a word that begins with # starts a
// comment to the end of its line.
class WordFile {
public:
    // Opens the file named by `variable`, else `name` in the directory HARBOLANCE_ADM; nothing when neither
    // variable is set.
    static std::optional<WordFile> fromEnvironment(const char* variable, const char* name);

    bool isOpen() const { return file_.is_open(); }
    const std::string& path() const { return path_; }
    // Whether the file was named by the variable.
    bool isNamedByVariable() const { return namedByVariable_; }
    // The next word; nothing at the end.
    std::optional<std::string> nextWord();
    // The same, in places where no comment can begin.
    std::optional<std::string> nextRawWord();

private:
    WordFile(std::string path, bool namedByVariable)
        : path_(std::move(path)), namedByVariable_(namedByVariable), file_(path_) {}

    std::string path_;
    bool namedByVariable_;
    std::ifstream file_;
};

} // namespace harbolance
