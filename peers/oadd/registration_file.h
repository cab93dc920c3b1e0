#pragma once

#include "net/descriptors.h"
#include "oadd/registration.h"

#include <optional>
#include <string_view>
#include <variant>

namespace oadd {

// The file in which registrations outlive the daemon. It is text, a fact a line; texts stand in quotes, with
// the escapes of base/quoted_text.h; empty lines and those that begin with '#' count as nothing:
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
// 'implementation' begins the next one, 'end' is the last line: a file without it has been cut short.
// Arguments and variables may come several times, in their order.

struct FileFault {
    size_t line; // from 1
    std::string what;
};

std::variant<Registry, FileFault> parseRegistry(std::string_view text);
std::string formatRegistry(const Registry& registry);

class RegistrationFile {
public:
    explicit RegistrationFile(std::string path) : path_(std::move(path)) {}

    // Reads the file and keeps other daemons from it for as long as this object exists. No file is an empty
    // registry. What keeps the daemon from running is returned as a message; the file stays as it is then.
    std::optional<std::string> open(Registry& registry);
    // Replaces the file as a whole, on the disk before it returns: whatever happens meanwhile, the file is
    // the old one or the new one. False with errno set. A folder that cannot be synced is only warned of in
    // the log: the change is made, but a power cut may still undo it.
    bool save(const Registry& registry) const;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    harbolance::Descriptor lock_;
};

} // namespace oadd
