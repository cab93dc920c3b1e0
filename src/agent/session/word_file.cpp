#include "agent/session/word_file.h"

#include <cstdlib>
#include <iomanip>

namespace harbolance {

std::optional<WordFile> WordFile::fromEnvironment(const char* variable, const char* name) {
    if (const char* path = std::getenv(variable))
        return WordFile(path, true);
    if (const char* directory = std::getenv("HARBOLANCE_ADM"))
        return WordFile(std::string(directory) + "/" + name, false);
    return std::nullopt;
}

std::optional<std::string> WordFile::nextWord() {
    constexpr int longestComment = 254;
    auto word = nextRawWord();
    while (word && word->front() == '#') {
        // The limit is part of the file format: what follows it on a longer line is read as words.
        file_.ignore(longestComment, '\n');
        word = nextRawWord();
    }
    return word;
}

std::optional<std::string> WordFile::nextRawWord() {
    constexpr int longestWord = 255;
    std::string word;
    // The limit keeps a file that is not text, for example a device, from filling the memory.
    if (!(file_ >> std::setw(longestWord) >> word))
        return std::nullopt;
    return word;
}

} // namespace harbolance
