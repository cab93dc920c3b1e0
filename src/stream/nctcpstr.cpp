#include "stream/nctcpstr.h"

#include "net/host_address.h"

#include <poll.h>
#include <sys/socket.h>

#include <utility>

using namespace harbolance;

// Opening and closing; messages are in nctcpstr_messages.cpp.

namespace {

constexpr size_t longestHostName = 100;

// Connects: 0, or an errno value. An interrupted connect continues in the background and must not be
// repeated.
int connectUntil(int fd, sockaddr_in peer, const Deadline& deadline) {
    if (::connect(fd, generic(peer), sizeof peer) == 0)
        return 0;
    if (errno != EINPROGRESS && errno != EINTR)
        return errno;
    // The socket becomes writable when the connect has succeeded or failed; SO_ERROR tells which.
    const int ready = pollUntil(fd, POLLOUT, deadline);
    if (ready == 0)
        return ETIMEDOUT;
    int error = 0;
    socklen_t length = sizeof error;
    if (ready == -1 || ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == -1)
        return errno;
    return error;
}

} // namespace

NCtcpstream::NCtcpstream(uint32_t bufferSize, int queueCapacity)
    : queue_(queueCapacity), inBuffer_(0, std::max(bufferSize, ncFrameWord)), outBuffer_(bufferSize, 0),
      queueLimit_(queueCapacity) {
    setStreams(std::make_unique<NCipcstream>(), std::make_unique<NCipcstream>());
}

NCtcpstream::NCtcpstream(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out,
                         uint32_t bufferSize, int queueLimit)
    : NCtcpstream(bufferSize, 16) {
    queueLimit_ = queueLimit;
    setStreams(std::move(in), std::move(out));
}

NCtcpstream::~NCtcpstream() { dropQueue(); }

void NCtcpstream::dropQueue() {
    // The queue has plain pointers. nextQueued() returns an owner, which frees the message.
    while (nextQueued())
        ;
}

void NCtcpstream::setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out) {
    in_ = std::move(in);
    out_ = std::move(out);
    in_->setBuffer(&inBuffer_);
    out_->setBuffer(&outBuffer_);
}

int NCtcpstream::open(Descriptor socket, int port) {
    socket_ = std::move(socket);
    port_ = port;
    return status_.done();
}

// Makes closing never wait for the peer; data already written is still delivered by the system.
void NCtcpstream::lingerOff(const char* text) {
    const linger off{0, 0};
    if (::setsockopt(fd(), SOL_SOCKET, SO_LINGER, &off, sizeof off) == -1)
        status_.tellSystem(text);
}

int NCtcpstream::listen(int port, const char* host) {
    if (isOpen())
        return status_.fail(alreadyOpen, "NCtcpstream::listen: File in use");
    const auto found = host ? addressOfHost(host) : INADDR_ANY;
    if (!found) {
        // The error value of the look-up equals the broadcast address, on which the system would listen.
        errno = EADDRNOTAVAIL;
        return failSystem("NCtcpstream::listen: bind");
    }
    sockaddr_in address = socketAddress(*found, port);
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen())
        return failSystem("NCtcpstream::listen: socket");
    if (::bind(socket.get(), generic(address), sizeof address) == -1)
        return failSystem("NCtcpstream::listen: bind");
    if (::listen(socket.get(), 128) == -1)
        return failSystem("NCtcpstream::listen: listen");
    if (!blocking_ && !setNonBlocking(socket.get(), true))
        return failSystem("NCtcpstream::listen: fcntl");
    socklen_t length = sizeof address;
    if (port == 0 && ::getsockname(socket.get(), generic(address), &length) == -1)
        return failSystem("NCtcpstream::listen: bind");
    const auto name = thisHostName();
    if (!name)
        return failSystem("NCtcpstream::listen: Error gethostname");
    hostName_ = *name;
    // Only here, because a failure above closes the socket again.
    open(std::move(socket), ntohs(address.sin_port));
    lingerOff("NCtcpstream::listen: setsockopt-linger");
    return status();
}

int NCtcpstream::accept() {
    if (!isOpen())
        return status_.fail(notOpen, "NCtcpstream::accept: File not open");
    // The peer's address is not needed by this protocol.
    const int accepted = uninterrupted([this] { return ::accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC); });
    if (accepted == -1)
        return failSystem("NCtcpstream::accept: accept");
    status_.done();
    return accepted;
}

std::unique_ptr<NCtcpstream> NCtcpstream::acceptStream() {
    const int accepted = accept();
    if (accepted < 0)
        return nullptr;
    auto stream = std::make_unique<NCtcpstream>(1024, 50);
    stream->setDebug(debug());
    // A new stream is closed and blocking, so attach cannot fail, and the stream owns the descriptor.
    stream->attach(accepted);
    return stream;
}

int NCtcpstream::connect(const char* host, int port, int seconds) {
    if (isOpen())
        return status_.fail(alreadyOpen, "NCtcpstream::connect: File in use");
    const std::string name = host ? host : "(null)";
    const auto address = addressOfHost(host);
    if (!address)
        return status_.fail(noHost, "NCtcpstream::connect: No host (" + name + ")");
    hostName_ = name.substr(0, longestHostName);
    return openConnection(socketAddress(*address, port), seconds);
}

int NCtcpstream::connect(in_addr_t address, int port, int seconds) {
    if (isOpen())
        return status_.fail(alreadyOpen, "NCtcpstream::connect: File in use");
    hostName_.clear();
    return openConnection(socketAddress(address, port), seconds);
}

int NCtcpstream::openConnection(const sockaddr_in& peer, int seconds) {
    const bool limited = seconds >= 0;
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen())
        return failSystem("NCtcpstream::connect: socket");
    // A blocking connect may take minutes, as the system decides. With a limit it is started without blocking
    // and waited for.
    if (limited && !setNonBlocking(socket.get(), true))
        return failSystem("NCtcpstream::connect: fcntl");
    // Stored in errno, from where the complaint takes the reason.
    errno = connectUntil(socket.get(), peer, Deadline(seconds));
    if (errno != 0) {
        failSystem("NCtcpstream::connect: connect");
        return limited && errno == ETIMEDOUT ? status_.set(timedOut) : status();
    }
    // Set in both cases: a limit has made the socket non-blocking, whatever mode the stream has.
    if (!setNonBlocking(socket.get(), !blocking_))
        return failSystem("NCtcpstream::connect: fcntl");
    open(std::move(socket), ntohs(peer.sin_port));
    const int on = 1;
    // A peer whose host has failed sends nothing; without keep-alive the connection would never end.
    if (::setsockopt(fd(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on) == -1)
        failSystem("NCtcpstream::connect: setsockopt-keepalive");
    lingerOff("NCtcpstream::connect: setsockopt-linger");
    return status();
}

int NCtcpstream::attach(int fd) {
    if (isOpen())
        return status_.fail(alreadyOpen, "NCtcpstream::attach: File in use");
    if (fd < 0)
        return status_.fail(badDescriptor, "NCtcpstream::attach: Invalid file");
    if (!blocking_ && !setNonBlocking(fd, true))
        return failSystem("NCtcpstream::attach: fnctl");
    hostName_.clear();
    // Ownership is taken last, so that on failure the caller keeps the descriptor.
    open(Descriptor(fd), 0);
    lingerOff("NCtcpstream::attach: setsockopt-linger");
    return status();
}

int NCtcpstream::close() {
    if (!isOpen())
        return status_.fail(notOpen, "NCtcpstream::close: File not open");
    // Class ids are valid for the connection that ends; the next peer does not know them.
    for (NCipcstream* stream : {in_.get(), out_.get()}) {
        stream->resetTypes();
        stream->resetObjects();
    }
    dropQueue();
    readPending_ = writePending_ = false;
    written_ = 0;
    messageLength_ = -1;
    return socket_.close() ? status_.done() : failSystem("NCtcpstream::close: close");
}

int NCtcpstream::setBlocking(bool blocking) {
    blocking_ = blocking;
    if (isOpen() && !setNonBlocking(fd(), !blocking))
        return failSystem("NCtcpstream::blocking ");
    // A blocking stream keeps no unsent data, so it is written now.
    if (isOpen() && blocking && (writePending_ || !queue_.isEmpty()))
        return flush();
    return status_.done();
}

void NCtcpstream::setQueueLimit(int limit) {
    if (limit <= queueLimit_)
        return;
    queueLimit_ = limit;
    queue_.setCapacity(limit);
}
