#pragma once

#include "net/descriptors.h"
#include "oadd/registration.h"

#include <optional>
#include <string_view>
#include <variant>

namespace oadd {

// The file that stores the registrations. It is text with one item per line; texts are quoted, with the
// escapes of base/quoted_text.h; empty lines and lines that begin with '#' are ignored:
//
//     oadd registrations 1
//     destroy-on-unregister no
//
//     implementation
//     interface "IDL:Hello:1.0"
//     name "Anna"
//     path "/srv/hello/server"
//     policy shared
//     data "a\x00b"
//     argument "-v"
//     variable "HOME=/srv/hello"
//
//     end
//
// 'implementation' begins the next one, 'end' is the last line: a file without it was truncated. Arguments
// and variables may occur several times, in their order.

struct FileFault {
    size_t line; // from 1
    std::string what;
};

std::variant<Registry, FileFault> parseRegistry(std::string_view text);
std::string formatRegistry(const Registry& registry);

class RegistrationFile {
public:
    explicit RegistrationFile(std::string path) : path_(std::move(path)) {}

    // Reads the file and locks it against other daemons as long as this object exists. A missing file is an
    // empty registry. Returns a message when the daemon cannot run; the file is then not changed.
    std::optional<std::string> open(Registry& registry);
    // Replaces the whole file and syncs it to the disk before it returns: after a crash the file is either
    // the old or the new one. False with errno set. When only the folder cannot be synced, a warning is
    // logged: the change has been made, but a power failure may undo it.
    bool save(const Registry& registry) const;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    harbolance::Descriptor lock_;
};

} // namespace oadd
