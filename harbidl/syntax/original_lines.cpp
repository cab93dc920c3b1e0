#include "syntax/original_lines.h"

#include <filesystem>
#include <fstream>

namespace harbidl {

namespace {

constexpr uintmax_t largestFile = 64 << 20;

std::vector<std::string> linesOf(const std::string& file) {
    std::vector<std::string> lines;
    std::error_code failure;
    // A #line may name anything: a device or a pipe would be read for ever.
    if (!std::filesystem::is_regular_file(file, failure) ||
        std::filesystem::file_size(file, failure) > largestFile)
        return lines;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

const std::string* OriginalLines::line(const std::string& file, uint32_t number) {
    auto known = files_.find(file);
    if (known == files_.end())
        // A file that cannot be read is remembered as one without lines, and not tried again for each
        // message.
        known = files_.emplace(file, linesOf(file)).first;
    const std::vector<std::string>& lines = known->second;
    return number >= 1 && number <= lines.size() ? &lines[number - 1] : nullptr;
}

} // namespace harbidl
