#include "oadd/programs.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace harbolance;

namespace oadd {

namespace {

// The path without symbolic links; empty with errno set.
std::string resolved(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr), &std::free);
    return text ? text.get() : "";
}

// Opens without following symbolic links, because one may have been made since the path was checked.
Descriptor openWithoutLinks(const std::string& path) {
    open_how how{};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    long fd = ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how);
    if (fd == -1 && (errno == ENOSYS || errno == EPERM)) // the kernel or a filter does not support the call
        fd = ::open(path.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW);
    return Descriptor(static_cast<int>(fd));
}

std::string pathOf(const Descriptor& file) { return "/proc/self/fd/" + std::to_string(file.get()); }

bool isScript(const Descriptor& file) {
    const Descriptor content(::open(pathOf(file).c_str(), O_RDONLY | O_CLOEXEC));
    char start[2] = {};
    return content.isOpen() && ::read(content.get(), start, sizeof start) == 2 && start[0] == '#' &&
           start[1] == '!';
}

} // namespace

std::optional<std::string> Programs::add(const std::string& folder) {
    std::string path = resolved(folder);
    struct stat status {};
    if (path.empty() || ::stat(path.c_str(), &status) != 0)
        return "--programs " + folder + ": " + std::strerror(errno);
    if (!S_ISDIR(status.st_mode))
        return "--programs " + folder + ": this is no folder";
    folders_.push_back(path == "/" ? path : path + "/");
    return std::nullopt;
}

std::variant<Programs::Program, std::string> Programs::open(const std::string& path) const {
    const std::string quoted = "'" + path + "'";
    if (folders_.empty())
        return "no program may be started: oadd was started without --programs FOLDER";
    if (!path.starts_with('/'))
        return "the path " + quoted + " does not begin with '/'";
    const std::string real = resolved(path);
    if (real.empty())
        return "the program " + quoted + ": " + std::strerror(errno);
    bool inside = false;
    for (const std::string& folder : folders_)
        inside = inside || real.starts_with(folder);
    if (!inside)
        return "the program " + quoted + " is not below a folder given with --programs";
    Descriptor file = openWithoutLinks(real);
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return "the program " + quoted + ": " + std::strerror(errno);
    if (!S_ISREG(status.st_mode))
        return "the program " + quoted + " is no file";
    if (::faccessat(AT_FDCWD, pathOf(file).c_str(), X_OK, AT_EACCESS) != 0)
        return "the program " + quoted + " is not executable for this user";
    const bool script = isScript(file);
    return Program{real, std::move(file), script};
}

} // namespace oadd
