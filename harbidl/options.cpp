#include "options.h"

#include <iostream>
#include <optional>

namespace harbidl {

namespace {

constexpr char usage[] =
    "usage: harbidl [options] FILE.idl\n"
    "Compiles an interface definition to C++: FILE_stub.h and FILE_stub.cpp for clients,\n"
    "FILE_skel.h and FILE_skel.cpp for servers.\n"
    "\n"
    "  -o DIR           put the outputs into DIR\n"
    "  -I DIR           look for included files in DIR\n"
    "  -D NAME[=VALUE]  define a macro\n"
    "  -U NAME          forget a macro\n"
    "  --depfile FILE   write what the outputs depend on as a rule for make\n"
    "  --client-only    no skeletons\n"
    "  --servant        also write a first servant, FILE_impl.h and FILE_impl.cpp,\n"
    "                   unless these are there\n"
    "  --dump-model     print what the definition means, and write nothing\n"
    "  -Werror          take warnings for errors\n"
    "  --help           print this\n"
    "  --version        print the version\n";

int wrongUsage(const std::string& message) {
    std::cerr << "harbidl: " << message << "\nTry 'harbidl --help'.\n";
    return 2;
}

class CommandLine {
public:
    explicit CommandLine(const std::vector<std::string>& words) : words_(words) {}

    std::variant<Options, int> parse() {
        for (; next_ < words_.size(); ++next_) {
            if (const std::optional<int> status = word(words_[next_]))
                return *status;
        }
        if (options_.file.empty())
            return wrongUsage("no file is named");
        if (options_.servant && options_.clientOnly)
            return wrongUsage("a servant needs the skeletons: --servant or --client-only");
        return options_;
    }

private:
    std::optional<int> word(const std::string& word) {
        if (word == "--help" || word == "--version") {
            std::cout << (word == "--help" ? usage : "harbidl " HARBIDL_VERSION "\n");
            return std::cout.flush() ? 0 : 1;
        }
        if (word == "--client-only" || word == "--servant" || word == "--dump-model" || word == "-Werror") {
            (word == "--client-only"  ? options_.clientOnly
             : word == "--servant"    ? options_.servant
             : word == "--dump-model" ? options_.dumpModel
                                      : options_.warningsAreErrors) = true;
            return std::nullopt;
        }
        // A "-" alone would be a file of that name; "./-x" names one that begins so.
        if (word.size() > 1 && word.front() == '-')
            return optionWithValue(word);
        if (!options_.file.empty())
            return wrongUsage("one file at a time: " + options_.file + " or " + word);
        options_.file = word;
        return std::nullopt;
    }

    // The value is the rest of the word, or the next one.
    std::optional<int> optionWithValue(const std::string& word) {
        // No option is a prefix of another one, so the first match is the right one.
        for (const std::string option : {"-o", "-I", "-D", "-U", "--depfile"}) {
            const bool isLong = option.starts_with("--");
            // The value of a long option follows '=' or is the next word, as in "--depfile=x"; "--depfilex"
            // is unknown. The value of a short option may follow directly, as in "-Ix".
            if (!word.starts_with(option) ||
                (isLong && word.size() > option.size() && word[option.size()] != '='))
                continue;
            std::string value = word.substr(option.size());
            if (isLong && !value.empty())
                value.erase(0, 1);
            else if (value.empty() && ++next_ < words_.size())
                value = words_[next_];
            // The value is missing, or empty and so not the name of a folder or macro.
            if (value.empty())
                return wrongUsage("the option " + option + " needs a value");
            take(option, value);
            return std::nullopt;
        }
        return wrongUsage("unknown option " + word);
    }

    void take(const std::string& option, const std::string& value) {
        if (option == "-o")
            options_.folder = value;
        else if (option == "--depfile")
            options_.dependencies = value;
        else
            // Kept in the order of the command line, because -D and -U cancel each other.
            options_.preprocessor.push_back(option + value);
    }

    const std::vector<std::string>& words_;
    size_t next_ = 0;
    Options options_;
};

} // namespace

std::variant<Options, int> parseOptions(const std::vector<std::string>& words) {
    return CommandLine(words).parse();
}

} // namespace harbidl
