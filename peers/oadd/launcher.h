#pragma once

#include "net/descriptors.h"
#include "oadd/programs.h"
#include "oadd/registration.h"

#include <sys/types.h>

namespace oadd {

// What a server needs to come to this daemon and into its domain.
struct ServerSetting {
    std::string reference;                 // of the daemon
    std::vector<std::string> orbArguments; // that the daemon itself was started with
};

// The words behind the program, and the whole environment. The last word is a place for the number of the
// process, which the launcher fills in.
std::vector<std::string> argumentsFor(const Registration& registration, const ServerSetting& setting);
std::vector<std::string> environmentFor(const Registration& registration);

struct Launched {
    pid_t pid; // of a new process group of the same number
    // Ends without a word when the program runs; else the number of the error comes first, an int.
    harbolance::Descriptor failure;
};

// Starts a program without a shell: no descriptor of the daemon but its standard error stream, to which both
// output streams of the program go; no signal blocked or ignored; working directory "/". When the daemon
// dies, the system sends the process SIGTERM. Null with errno set when there cannot be a new process.
std::optional<Launched> launch(const Programs::Program& program, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment);

// How a server tells which process it is, by -OAoad_uid: less than 0, unlike the user id that a server tells
// which was started by hand.
inline CORBA_Long uidOf(pid_t pid) { return -pid; }

} // namespace oadd
