#pragma once

#include <cerrno>
#include <fcntl.h>

// Makes a system call again for as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR)
            return result;
    }
}

// False, with errno set, when the descriptor's flags cannot be read or changed.
inline bool setNonBlocking(int fd, bool on) {
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags == -1)
        return false;
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return wanted == flags || ::fcntl(fd, F_SETFL, wanted) != -1;
}
