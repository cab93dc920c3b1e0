#include "stream/complaints.h"

#include "base/standard_streams.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace harbolance {

namespace {

void write(std::ostream& usual, std::string_view text) { usual << text; }

ComplaintSink currentSink = write;

} // namespace

ComplaintSink setComplaintSink(ComplaintSink sink) {
    const ComplaintSink before = std::exchange(currentSink, sink ? sink : write);
    // The default shows as null outside, so that what comes out of here can be put back in.
    return before == write ? nullptr : before;
}

void complain(std::ostream& usual, std::string_view text) { currentSink(usual, text); }

int CarrierStatus::fail(int status, std::string_view text) {
    if (debug_)
        complain(standardError(), "\n" + std::string(text) + "\n");
    return set(status);
}

int CarrierStatus::failSystem(int status, const char* text) {
    tellSystem(text);
    return set(status);
}

void CarrierStatus::tellSystem(const char* text) const {
    // A sink may write files; the caller still has to tell errors apart by errno.
    const int error = errno;
    if (debug_)
        complain(standardError(), std::string(text) + ": " + std::strerror(error) + "\n");
    errno = error;
}

} // namespace harbolance
