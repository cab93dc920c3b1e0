#include "outputs.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace harbidl {

namespace {

bool hasContent(const std::string& path, const std::string& content) {
    std::ifstream file(path, std::ios::binary);
    // A file that cannot be read counts as different; writing it then tells what is wrong.
    return file && std::string(std::istreambuf_iterator<char>(file), {}) == content;
}

bool writeNew(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    // Before the check, since a full disk may show only when the rest is written.
    file.close();
    return !file.fail();
}

// Files beside those that they will replace. What has not replaced its file is removed in the end.
class Replacements {
public:
    Replacements() = default;
    Replacements(const Replacements&) = delete;
    Replacements& operator=(const Replacements&) = delete;
    ~Replacements() {
        // Only of files that were written and have not been renamed: replaceAll() takes each off the list.
        for (const std::string& path : paths_)
            std::remove(fresh(path).c_str());
    }

    bool write(const std::string& path, const std::string& content) {
        std::error_code ignored; // the file then cannot be written either
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        if (!folder.empty())
            std::filesystem::create_directories(folder, ignored);
        // Listed before it is written, so that half a file is removed too.
        paths_.push_back(path);
        return writeNew(fresh(path), content) || failed(path);
    }
    bool replaceAll() {
        for (; !paths_.empty(); paths_.pop_back()) {
            const std::string& path = paths_.back();
            // Atomic within a file system, which is why the new file stands beside the old one: a compiler
            // that reads meanwhile sees one or the other as a whole.
            if (std::rename(fresh(path).c_str(), path.c_str()) != 0)
                return failed(path);
        }
        return true;
    }

private:
    // With the process id, so that two runs in parallel do not write into one file.
    static std::string fresh(const std::string& path) { return path + "." + std::to_string(getpid()); }
    static bool failed(const std::string& path) {
        std::cerr << "harbidl: cannot write " << path << ": " << std::strerror(errno) << "\n";
        return false;
    }

    std::vector<std::string> paths_;
};

} // namespace

bool Outputs::write() const {
    std::error_code ignored;
    for (const File& file : files_) {
        if (file.existing == Existing::refused && std::filesystem::exists(file.path, ignored)) {
            std::cerr << "harbidl: " << file.path << " is there already, and is not overwritten\n";
            return false;
        }
    }
    // All are written before the first replaces anything, so that a full disk leaves the old ones as they
    // are.
    Replacements replacements;
    for (const File& file : files_) {
        if (!hasContent(file.path, file.content) && !replacements.write(file.path, file.content))
            return false;
    }
    return replacements.replaceAll();
}

} // namespace harbidl
