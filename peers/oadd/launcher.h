#pragma once

#include "net/descriptors.h"
#include "oadd/programs.h"
#include "oadd/registration.h"

#include <sys/types.h>

namespace oadd {

// The data by which a server finds this daemon and its domain.
struct ServerSetting {
    std::string reference;                 // of the daemon
    std::vector<std::string> orbArguments; // that the daemon itself was started with
};

// The command line after the program's name, and the whole environment. The last word is reserved for the
// process number, which the launcher fills in.
std::vector<std::string> argumentsFor(const Registration& registration, const ServerSetting& setting);
std::vector<std::string> environmentFor(const Registration& registration);

struct Launched {
    pid_t pid; // also the number of its new process group
    // Reaches its end without data when the program runs; otherwise contains errno as an int.
    harbolance::Descriptor failure;
};

// Starts a program without a shell. It inherits no descriptor of the daemon except the standard error stream,
// which is also its standard output; no signal is blocked or ignored; the working directory is "/". When the
// daemon dies, the system sends it SIGTERM. Null with errno set when no process can be made.
std::optional<Launched> launch(const Programs::Program& program, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment);

// The number by which a server identifies its process, in -OAoad_uid. It is negative, unlike the user id that
// a server started by hand reports.
inline CORBA_Long uidOf(pid_t pid) { return -pid; }

} // namespace oadd
