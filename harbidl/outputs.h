#pragma once

#include <string>
#include <vector>

namespace harbidl {

// Files that are written together, once all is well. Each is replaced at once, and left alone when it has the
// content already, so that what depends on it need not be built again.
class Outputs {
public:
    // What becomes of a file that is there already. When one is refused, nothing is written.
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
