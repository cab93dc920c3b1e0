#include "fuzzing.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

void replay(const fs::path& file) {
    std::fprintf(stderr, "%s\n", file.c_str());
    std::ifstream in(file, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(in), {}};
    inputRefused = false;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    require(inputRefused || !file.filename().string().starts_with("refused-"), "the input is refused");
}

} // namespace

// Runs the target over the files and the files in the directories of the command line. Fails when there are
// none.
int main(int argc, char** argv) {
    size_t count = 0;
    for (const char* argument : std::vector<const char*>(argv + 1, argv + argc)) {
        if (!fs::is_directory(argument)) {
            replay(argument);
            ++count;
            continue;
        }
        for (const auto& entry : fs::directory_iterator(argument)) {
            replay(entry.path());
            ++count;
        }
    }
    return count > 0 ? 0 : 1;
}
