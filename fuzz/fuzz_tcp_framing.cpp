// The first octet of the input is the size of the pieces in which the rest is sent on one connection. The
// size must not matter.

#include "fuzzing.h"

#include "stream/nctcpstr.h"

#include <algorithm>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t longestInput = 16 * 1024; // a socket pair takes it at once

// A receiver's results for the octets: a status per message, with the message encoded again.
class Receiver {
public:
    Receiver() {
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds_) == 0, "there are sockets");
        stream_.setBlocking(false);
        require(stream_.attach(fds_[0]) == 0, "a stream takes a socket");
        copyStream_.setBuffer(&copyBuffer_);
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    ~Receiver() { hangUp(); }

    void feed(const uint8_t* data, size_t size) {
        require(::send(fds_[1], data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size), "octets leave");
        drain();
    }

    void hangUp() {
        if (fds_[1] >= 0)
            ::close(fds_[1]);
        fds_[1] = -1;
        drain();
    }

    bool broken() const { return broken_; }
    const std::vector<std::string>& outcomes() const { return outcomes_; }

private:
    void drain() {
        while (!broken_) {
            const std::unique_ptr<NCTransObject> object(stream_.receive());
            const int status = stream_.status();
            if (status == NCtcpstream::noData || status == NCtcpstream::partlyRead)
                return;
            require(status == 0 || status == NCtcpstream::badObject || status == NCtcpstream::broken,
                    "receiving gives a status that input can cause");
            broken_ = status == NCtcpstream::broken;
            outcomes_.push_back(std::to_string(status));
            if (!object)
                continue;
            copyStream_.resetTypes();
            require(ncEncodeMessage(copyStream_, object.get()), "what was received can be sent on");
            outcomes_.back().append(reinterpret_cast<const char*>(copyBuffer_.wbuf()),
                                    copyBuffer_.bytesWritten());
        }
    }

    int fds_[2] = {-1, -1};
    NCtcpstream stream_{1024, 4};
    NCipcbuf copyBuffer_{1024, 0};
    NCipcstream copyStream_;
    bool broken_ = false;
    std::vector<std::string> outcomes_;
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    if (size < 1 || size > longestInput)
        return 0;
    const size_t piece = 1 + size_t{data[0]};
    ++data;
    --size;

    Receiver whole;
    whole.feed(data, size);
    whole.hangUp();

    Receiver pieces;
    for (size_t at = 0; at < size && !pieces.broken(); at += piece)
        pieces.feed(data + at, std::min(piece, size - at));
    pieces.hangUp();

    require(whole.broken() && pieces.broken(), "the end of the connection is noticed");
    require(whole.outcomes() == pieces.outcomes(), "messages do not depend on how they come");
    return 0;
}
