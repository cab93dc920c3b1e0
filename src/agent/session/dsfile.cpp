#include "agent/session/dsfile.h"

#include <cstdlib>
#include <iomanip>

std::optional<DSWordFile> DSWordFile::fromEnvironment(const char* variable, const char* name) {
    if (const char* path = std::getenv(variable))
        return DSWordFile(path, true);
    if (const char* directory = std::getenv("HARBOLANCE_ADM"))
        return DSWordFile(std::string(directory) + "/" + name, false);
    return std::nullopt;
}

std::optional<std::string> DSWordFile::nextWord() {
    constexpr int longestComment = 254;
    auto word = nextRawWord();
    while (word && word->front() == '#') {
        file_.ignore(longestComment, '\n');
        word = nextRawWord();
    }
    return word;
}

std::optional<std::string> DSWordFile::nextRawWord() {
    constexpr int longestWord = 255;
    std::string word;
    if (!(file_ >> std::setw(longestWord) >> word))
        return std::nullopt;
    return word;
}
