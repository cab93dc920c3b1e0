#pragma once

#include <iosfwd>
#include <string_view>

namespace harbolance {

// Complaints of the stream layer about unusable messages. Any host that reaches a socket of the process can
// cause any number of them, so all go through one function: a program with a log installs a sink and limits
// their number.

// Receives one complaint, line ends included. `usual` is the stream that it would be written to: the standard
// error stream, or the standard output where the protocol says so. Must not throw.
using ComplaintSink = void (*)(std::ostream& usual, std::string_view text);

// Returns the former sink. Null, the default, means that each complaint is written to `usual`.
ComplaintSink setComplaintSink(ComplaintSink sink);

void complain(std::ostream& usual, std::string_view text);

// The status of a carrier's last operation. With debugging on, a failure is also reported as a complaint on
// the standard error stream.
class CarrierStatus {
public:
    int value() const { return value_; }
    bool debug() const { return debug_; }
    void setDebug(bool debug) { debug_ = debug; }

    // These return the status that they set.
    int set(int status) { return value_ = status; }
    int done() { return set(0); }
    // The text between two newlines.
    int fail(int status, std::string_view text);
    // The text and the meaning of errno, in the form of `perror`. Keeps errno.
    int failSystem(int status, const char* text);
    // Reports the same text without changing the status.
    void tellSystem(const char* text) const;

private:
    int value_ = 0;
    bool debug_ = false;
};

} // namespace harbolance
