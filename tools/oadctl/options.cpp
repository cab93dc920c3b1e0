#include "oadctl/options.h"

#include "marshal/reference/vutil.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>

const char* const usage =
    "usage: oadctl [OPTION]... COMMAND\n"
    "  register [-n NAME] [-p POLICY] [-e VARIABLE=VALUE]... [-d DATA] INTERFACE PROGRAM [ARGUMENT]...\n"
    "  unregister INTERFACE [NAME]\n"
    "  unregister --interface INTERFACE | --all\n"
    "  list [INTERFACE [NAME]]\n"
    "  status [INTERFACE [NAME]]\n"
    "  lookup [-w SECONDS] INTERFACE [NAME]\n"
    "  destroy-on-unregister [yes|no]\n"
    "Tells the activation daemon which servers it may start, and shows what it knows of them.\n"
    "An INTERFACE is a repository id, \"IDL:Bank/Account:1.0\", or a name, \"Bank::Account\".\n"
    "A POLICY is shared, unshared or per-method.\n"
    "  --oad REFERENCE   the daemon with this stringified reference\n"
    "  --oad-file FILE   the daemon whose reference is in this file (oadd can write it)\n"
    "  --host HOST       the daemon on HOST, found through the location agents (default: this host)\n"
    "  --json            print JSON (list, status)\n"
    "  --help, --version\n";

namespace {

constexpr const char* commands[] = {"register", "unregister", "list",
                                    "status",   "lookup",     "destroy-on-unregister"};

bool isCommand(std::string_view word) {
    return std::find(std::begin(commands), std::end(commands), word) != std::end(commands);
}

std::string repositoryId(const std::string& interface) {
    if (interface.empty())
        throw UsageError("the interface is empty");
    if (interface.starts_with("IDL:") || interface == "*")
        return interface;
    const CORBA_String_var id(TRXUtil::name_to_rep_id(interface.c_str()));
    return id.in();
}

CORBA_ULong policyOf(const std::string& name) {
    constexpr const char* names[] = {"shared", "unshared", "per-method"};
    const auto* const found = std::find(std::begin(names), std::end(names), name);
    if (found == std::end(names))
        throw UsageError("'" + name + "' is none of the policies shared, unshared, per-method");
    return static_cast<CORBA_ULong>(found - std::begin(names));
}

CORBA_Long secondsOf(const std::string& text) {
    CORBA_Long value = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || last != end)
        throw UsageError("'" + text + "' is no number of seconds");
    return value;
}

// Iterates over the words of one part of the command line.
class Words {
public:
    Words(int argc, char** argv) : words_(argv, argv + argc) {}

    bool empty() const { return next_ == words_.size(); }
    std::string take(const char* what) {
        if (empty())
            throw UsageError(std::string(what) + " is missing");
        return words_[next_++];
    }
    // The value of an option: behind '=' or the next word.
    std::string value(const std::string& option) {
        const size_t equals = option.starts_with("--") ? option.find('=') : option.npos;
        return equals == option.npos ? take(("the value of " + option).c_str()) : option.substr(equals + 1);
    }
    // The next word when it is an option; '--' ends them.
    std::optional<std::string> option() {
        if (empty() || words_[next_].size() < 2 || words_[next_][0] != '-')
            return std::nullopt;
        std::string word = words_[next_++];
        return word == "--" ? std::nullopt : std::optional(std::move(word));
    }
    void end() const {
        if (!empty())
            throw UsageError("unexpected word '" + words_[next_] + "'");
    }
    std::vector<std::string> rest() {
        return {words_.begin() + static_cast<std::ptrdiff_t>(std::exchange(next_, words_.size())),
                words_.end()};
    }

private:
    std::vector<std::string> words_;
    size_t next_ = 0;
};

std::string keyOf(const std::string& option) { return option.substr(0, option.find('=')); }

[[noreturn]] void refuse(const std::string& option) { throw UsageError("unknown option '" + option + "'"); }

// Options that are allowed anywhere before the interface.
bool takeCommon(const std::string& option, Words& words, Choice& choice) {
    const std::string key = keyOf(option);
    if (key == "--oad")
        choice.reference = words.value(option);
    else if (key == "--oad-file")
        choice.referenceFile = words.value(option);
    else if (key == "--host")
        choice.host = words.value(option);
    else if (option == "--json")
        choice.json = true;
    else
        return false;
    return true;
}

void readRegister(Words& words, Choice& choice) {
    while (const auto option = words.option()) {
        const std::string key = keyOf(*option);
        if (key == "-n" || key == "--name")
            choice.name = words.value(*option);
        else if (key == "-p" || key == "--policy")
            choice.policy = policyOf(words.value(*option));
        else if (key == "-e" || key == "--env")
            choice.environment.push_back(words.value(*option));
        else if (key == "-d" || key == "--data")
            choice.data = words.value(*option);
        else if (!takeCommon(*option, words, choice))
            refuse(*option);
    }
    choice.interface = repositoryId(words.take("the interface"));
    choice.program = std::filesystem::absolute(words.take("the program")).lexically_normal();
    choice.arguments = words.rest();
}

void readObject(Words& words, Choice& choice, bool needed) {
    while (const auto option = words.option()) {
        if (choice.action == Choice::Action::unregistering && *option == "--all")
            choice.everything = true;
        else if (choice.action == Choice::Action::unregistering && *option == "--interface")
            choice.wholeInterface = true;
        else if (choice.action == Choice::Action::lookup &&
                 (keyOf(*option) == "-w" || keyOf(*option) == "--wait"))
            choice.wait = secondsOf(words.value(*option));
        else if (!takeCommon(*option, words, choice))
            refuse(*option);
    }
    if (!choice.everything && (needed || !words.empty())) {
        choice.interface = repositoryId(words.take("the interface"));
        if (!words.empty() && !choice.wholeInterface)
            choice.name = words.take("the name");
    }
}

void readCommand(const std::string& command, Words& words, Choice& choice) {
    using Action = Choice::Action;
    if (command == "register") {
        choice.action = Action::registering;
        readRegister(words, choice);
    } else if (command == "unregister" || command == "lookup") {
        choice.action = command == "lookup" ? Action::lookup : Action::unregistering;
        readObject(words, choice, true);
    } else if (command == "list" || command == "status") {
        choice.action = command == "list" ? Action::listing : Action::status;
        readObject(words, choice, false);
    } else {
        choice.action = Action::ending;
        while (const auto option = words.option()) {
            if (!takeCommon(*option, words, choice))
                refuse(*option);
        }
        const std::string value = words.empty() ? "" : words.take("");
        if (value == "yes" || value == "no")
            choice.ending = value == "yes";
        else if (!value.empty())
            throw UsageError("'" + value + "' is neither yes nor no");
    }
}

} // namespace

int wordsBeforeCommand(int argc, char** argv) {
    int count = 1;
    while (count < argc && !isCommand(argv[count]))
        ++count;
    return count;
}

Choice readOptions(int argc, char** argv) {
    Choice choice;
    Words words(argc - 1, argv + 1);
    while (const auto option = words.option()) {
        if (*option == "-h" || *option == "--help")
            return choice;
        if (*option == "--version") {
            choice.action = Choice::Action::version;
            return choice;
        }
        if (!takeCommon(*option, words, choice))
            refuse(*option);
    }
    const std::string command = words.take("the command");
    if (!isCommand(command))
        throw UsageError("'" + command + "' is no command");
    readCommand(command, words, choice);
    words.end();
    return choice;
}
