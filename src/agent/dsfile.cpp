#include "agent/dsfile.h"

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
    constexpr int longestWord = 256;
    constexpr int longestComment = 254;
    std::string word;
    while (file_ >> std::setw(longestWord) >> word) {
        if (word.front() != '#')
            return word;
        file_.ignore(longestComment, '\n');
    }
    return std::nullopt;
}
