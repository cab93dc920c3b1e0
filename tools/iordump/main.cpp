#include "iordump/dump.h"
#include "iordump/reference_text.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

constexpr char usage[] =
    "usage: iordump [REFERENCE]\n"
    "       iordump -f FILE\n"
    "Shows what is in a stringified object reference (\"IOR:...\"), given as an argument,\n"
    "in a file or on the standard input.\n";

int fail(const std::string& message) {
    std::cerr << "iordump: " << message << "\n";
    return 1;
}

int show(std::string_view text) {
    const std::vector<std::string> complaints = dump(std::cout, readReference(text));
    if (!std::cout.flush())
        return fail("cannot write the report");
    for (const std::string& complaint : complaints)
        fail(complaint);
    return complaints.empty() ? 0 : 1;
}

// `name` is what the user knows the stream by.
int showStream(std::istream& stream, const char* name) {
    const std::string text = stream ? readText(stream) : std::string();
    if (stream.bad() || (stream.fail() && !stream.eof()))
        return fail(std::string(name) + ": " + std::strerror(errno));
    return show(text);
}

int showFile(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return showStream(file, name);
}

int run(int argc, char** argv) {
    std::ios::sync_with_stdio(false); // else a failing standard input looks like an empty one
    const char* file = nullptr;
    for (int option; (option = getopt(argc, argv, "f:h")) != -1;) {
        switch (option) {
        case 'f': file = optarg; break;
        case 'h': std::cout << usage; return std::cout.flush() ? 0 : fail("cannot write the usage");
        default: std::cerr << usage; return 1;
        }
    }
    const int words = argc - optind;
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
    try {
        return run(argc, argv);
    } catch (const BadReference& error) {
        return fail(std::string("not a reference: ") + error.what());
    }
}
