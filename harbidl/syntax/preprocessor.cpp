#include "syntax/preprocessor.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

namespace harbidl {

namespace {

constexpr size_t longestText = size_t{1} << 30;

std::vector<std::string> commandWords() {
    const char* const chosen = std::getenv("CPP");
    std::istringstream words(chosen ? chosen : "");
    std::vector<std::string> result;
    // Split at spaces only, as make does for its variable of this name before the shell sees it; quotes have
    // no meaning.
    for (std::string word; words >> word;)
        result.push_back(word);
    return result.empty() ? std::vector<std::string>{"c++", "-E"} : result;
}

std::vector<std::string> wholeCommand(const std::string& file, const std::vector<std::string>& options,
                                      const std::vector<std::string>& lastFolders) {
    std::vector<std::string> command = commandWords();
    // As C, because an unknown suffix would be treated as an object file; without the macros and headers of
    // the machine; with comments; without warnings, because the text is not C.
    for (const char* word : {"-x", "c", "-undef", "-nostdinc", "-C", "-w"})
        command.push_back(word);
    command.insert(command.end(), options.begin(), options.end());
    for (const std::string& folder : lastFolders) {
        // A folder behind all others: the user's own file of the same name is found first.
        command.push_back("-idirafter");
        command.push_back(folder);
    }
    // A name that begins with '-' is no option.
    command.push_back(file.starts_with('-') ? "./" + file : file);
    return command;
}

// Starts the command with its standard output in a pipe. Gives the end to read; -1 after a message.
int start(const std::vector<std::string>& command, pid_t& child) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command)
        // posix_spawn takes pointers to char and changes nothing behind them. `command` outlives the call.
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    int ends[2];
    if (pipe(ends) != 0) {
        std::cerr << "harbidl: " << std::strerror(errno) << "\n";
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // Makes the pipe the child's standard output and closes both ends in the child. If another process had
    // the write end open, reading would never end.
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    const int failure = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    // Also when nothing was started, for the same reason.
    close(ends[1]);
    if (failure == 0)
        return ends[0];
    std::cerr << "harbidl: cannot start the preprocessor " << words[0] << ": " << std::strerror(failure)
              << "\n";
    close(ends[0]);
    return -1;
}

bool readAll(int descriptor, std::string& text) {
    char part[65536];
    for (;;) {
        const ssize_t count = read(descriptor, part, sizeof part);
        if (count < 0 && errno == EINTR)
            continue;
        // 0 is the end: the child has closed its side. It may still fail, which its status tells.
        if (count <= 0)
            return count == 0;
        // Offsets in the text have 32 bits. A file that includes itself twice would otherwise grow until
        // memory is used up.
        if (text.size() + static_cast<size_t>(count) > longestText) {
            std::cerr << "harbidl: the preprocessed definition is too long\n";
            return false;
        }
        text.append(part, static_cast<size_t>(count));
    }
}

} // namespace

std::optional<std::string> preprocessed(const std::string& file, const std::vector<std::string>& options,
                                        const std::vector<std::string>& lastFolders) {
    pid_t child = 0;
    const int output = start(wholeCommand(file, options, lastFolders), child);
    if (output < 0)
        return std::nullopt;
    std::string text;
    const bool whole = readAll(output, text);
    // Closed before waiting: a child that still writes to the pipe would otherwise block for ever. Now it
    // gets SIGPIPE.
    close(output);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!whole)
        return std::nullopt;
    // An incomplete text would only cause errors that are not the user's.
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return text;
    std::cerr << "harbidl: the preprocessor " << commandWords().front() << " failed\n";
    return std::nullopt;
}

} // namespace harbidl
