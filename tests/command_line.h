#pragma once

#include <string>
#include <vector>

// A command line to be parsed, and the words left after that.
class CommandLine {
public:
    CommandLine(std::initializer_list<const char*> words) : words_(words.begin(), words.end()) {
        for (std::string& word : words_)
            argv_.push_back(word.data());
        argc = static_cast<int>(argv_.size());
    }

    char** argv() { return argv_.data(); }
    std::vector<std::string> left() const { return {argv_.begin(), argv_.begin() + argc}; }

    int argc = 0;

private:
    std::vector<std::string> words_;
    std::vector<char*> argv_;
};

using Words = std::vector<std::string>;
