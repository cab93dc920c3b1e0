#include "iordump/dump.h"
#include "marshal/reference/vutil.h"

#include <getopt.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace {

constexpr char usage[] =
    "usage: iordump [REFERENCE]\n"
    "       iordump -f FILE\n"
    "       iordump --version | --help\n"
    "Shows what is in a stringified object reference (\"IOR:...\"), given as an argument,\n"
    "in a file or on the standard input.\n";

// The reason why a text is not a reference; `what()` is shown to the user.
struct BadReference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr std::string_view prefix = "IOR:";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
constexpr size_t longestText = 64 << 20;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view space = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(space);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::string quoted(char c) {
    if (c >= ' ' && c <= '~')
        return std::string{'\'', c, '\''};
    constexpr char digits[] = "0123456789abcdef";
    const auto octet = static_cast<unsigned char>(c);
    return std::string("octet 0x") + digits[octet >> 4] + digits[octet & 15];
}

// The whole contents of the stream. Raises BadReference when they are longer than any reference.
std::string readText(std::istream& stream) {
    std::string text;
    char part[4096];
    // The last block is shorter than requested: read() then fails, but has stored it.
    while (stream.read(part, sizeof part) || stream.gcount() > 0) {
        text.append(part, static_cast<size_t>(stream.gcount()));
        // Without a limit a device such as /dev/zero would fill the memory.
        if (text.size() > longestText)
            throw BadReference("the text is too long for a reference");
    }
    return text;
}

// White space around the reference is dropped. Raises BadReference.
IOP::IOR readReference(std::string_view text) {
    const std::string reference(trimmed(text));
    if (reference.empty())
        throw BadReference("there is no reference");
    // string_to_ior() would only report that the text is wrong. The digits are checked here, to report the
    // position.
    if (!reference.starts_with(prefix))
        throw BadReference("it does not begin with \"IOR:\"");
    const size_t wrong = reference.find_first_not_of(hexDigits, prefix.size());
    if (wrong != reference.npos)
        throw BadReference(quoted(reference[wrong]) + " at character " + std::to_string(wrong + 1) +
                           " is no hexadecimal digit");
    try {
        const std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(reference.c_str()));
        return std::move(*ior);
    } catch (const CORBA_INV_OBJREF&) {
        throw BadReference("its octets are cut short or damaged");
    }
}

int fail(const std::string& message) {
    std::cerr << "iordump: " << message << "\n";
    return 1;
}

int show(std::string_view text) {
    const std::vector<std::string> complaints = dump(std::cout, readReference(text));
    // Tested before the complaints are printed: an incomplete report is the more important failure.
    if (!std::cout.flush())
        return fail("cannot write the report");
    // On standard error, so that the report itself can be piped on.
    for (const std::string& complaint : complaints)
        fail(complaint);
    return complaints.empty() ? 0 : 1;
}

// `name` is the name of the stream for messages.
int showStream(std::istream& stream, const char* name) {
    const std::string text = stream ? readText(stream) : std::string();
    // The end of the file sets `fail` as well. A file that could not be opened has it without `eof`.
    if (stream.bad() || (stream.fail() && !stream.eof()))
        return fail(std::string(name) + ": " + std::strerror(errno));
    return show(text);
}

int showFile(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return showStream(file, name);
}

int say(const char* text) {
    std::cout << text;
    return std::cout.flush() ? 0 : fail("cannot write");
}

int run(int argc, char** argv) {
    constexpr option longOptions[] = {{"help", no_argument, nullptr, 'h'},
                                      {"version", no_argument, nullptr, 'V'},
                                      {nullptr, 0, nullptr, 0}};
    std::ios::sync_with_stdio(false); // else a failing standard input looks like an empty one
    const char* file = nullptr;
    for (int option; (option = getopt_long(argc, argv, "f:h", longOptions, nullptr)) != -1;) {
        switch (option) {
        case 'f': file = optarg; break;
        case 'h': return say(usage);
        case 'V': return say("iordump " IORDUMP_VERSION "\n");
        default: std::cerr << usage; return 1;
        }
    }
    const int words = argc - optind;
    // One reference at a time, from one place.
    if (words > 1 || (file && words > 0)) {
        std::cerr << usage;
        return 1;
    }
    if (file)
        return showFile(file);
    return words == 1 ? show(argv[optind]) : showStream(std::cin, "standard input");
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is reported like any other failure to write
    try {
        return run(argc, argv);
    } catch (const BadReference& error) {
        return fail(std::string("not a reference: ") + error.what());
    }
}
