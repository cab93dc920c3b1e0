#include "outputs.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace harbidl {

namespace {

bool hasContent(const std::string& path, const std::string& content) {
    std::ifstream file(path, std::ios::binary);
    return file && std::string(std::istreambuf_iterator<char>(file), {}) == content;
}

bool writeNew(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    return !file.fail();
}

bool replace(const std::string& path, const std::string& content) {
    std::error_code ignored; // the file then cannot be written either
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty())
        std::filesystem::create_directories(folder, ignored);
    const std::string fresh = path + "." + std::to_string(getpid());
    if (writeNew(fresh, content) && std::rename(fresh.c_str(), path.c_str()) == 0)
        return true;
    std::cerr << "harbidl: cannot write " << path << ": " << std::strerror(errno) << "\n";
    std::remove(fresh.c_str());
    return false;
}

} // namespace

bool Outputs::write() const {
    std::error_code ignored;
    for (const File& file : files_) {
        if (file.existing == Existing::refused && std::filesystem::exists(file.path, ignored)) {
            std::cerr << "harbidl: " << file.path << " is there already, and is not overwritten\n";
            return false;
        }
    }
    for (const File& file : files_) {
        if (!hasContent(file.path, file.content) && !replace(file.path, file.content))
            return false;
    }
    return true;
}

} // namespace harbidl
