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
    // A file that cannot be read counts as different; writing it will report the error.
    return file && std::string(std::istreambuf_iterator<char>(file), {}) == content;
}

bool writeNew(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    // Closed before the check, because a full disk may be reported only when the rest is written.
    file.close();
    return !file.fail();
}

// New files beside those that they will replace. A file that was not renamed is removed in the end.
class Replacements {
public:
    Replacements() = default;
    Replacements(const Replacements&) = delete;
    Replacements& operator=(const Replacements&) = delete;
    ~Replacements() {
        // Removes files that were written but not renamed; replaceAll() removes each renamed one from the
        // list.
        for (const std::string& path : paths_)
            std::remove(fresh(path).c_str());
    }

    bool write(const std::string& path, const std::string& content) {
        std::error_code ignored; // the file then cannot be written either
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        if (!folder.empty())
            std::filesystem::create_directories(folder, ignored);
        // Entered before it is written, so that a partly written file is removed too.
        paths_.push_back(path);
        return writeNew(fresh(path), content) || failed(path);
    }
    bool replaceAll() {
        for (; !paths_.empty(); paths_.pop_back()) {
            const std::string& path = paths_.back();
            // Atomic within a file system, which is why the new file is in the same folder: a compiler that
            // reads meanwhile sees either the old or the new file.
            if (std::rename(fresh(path).c_str(), path.c_str()) != 0)
                return failed(path);
        }
        return true;
    }

private:
    // The process id keeps two parallel runs from writing to one file.
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
    // All are written before the first one replaces a file, so that a full disk leaves the old files
    // unchanged.
    Replacements replacements;
    for (const File& file : files_) {
        if (!hasContent(file.path, file.content) && !replacements.write(file.path, file.content))
            return false;
    }
    return replacements.replaceAll();
}

} // namespace harbidl
