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
    // The default sink is reported as null, so that the result can be passed to this function again.
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
    // Keeps errno: a sink may write files, and the caller still tests errno.
    const int error = errno;
    if (debug_)
        complain(standardError(), std::string(text) + ": " + std::strerror(error) + "\n");
    errno = error;
}

} // namespace harbolance
