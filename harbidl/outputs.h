#pragma once

#include <string>
#include <vector>

namespace harbidl {

// Files that are written together, once all is well. Each is replaced at once, and left alone when it has the
// content already, so that what depends on it need not be built again.
class Outputs {
public:
    void add(std::string path, std::string content) {
        files_.push_back({std::move(path), std::move(content)});
    }
    // False, after a message, when one could not be written.
    bool write() const;

private:
    struct File {
        std::string path;
        std::string content;
    };
    std::vector<File> files_;
};

} // namespace harbidl
