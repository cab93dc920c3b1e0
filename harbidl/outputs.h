#pragma once

#include <string>
#include <vector>

namespace harbidl {

// Files that are written together, after everything has succeeded. Each is replaced atomically, and not
// changed when its content is the same, so that files that depend on it need not be rebuilt.
class Outputs {
public:
    // What to do with a file that exists. When one is refused, nothing is written.
    enum class Existing { replaced, refused };
    void add(std::string path, std::string content, Existing existing = Existing::replaced) {
        files_.push_back({std::move(path), std::move(content), existing});
    }
    // False, after a message, when one could not be written.
    bool write() const;

private:
    struct File {
        std::string path;
        std::string content;
        Existing existing;
    };
    std::vector<File> files_;
};

} // namespace harbidl
