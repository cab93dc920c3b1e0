#include "stream/nctcpstr.h"

#include "net/descriptors.h"
#include "net/host_address.h"

#include <cstdio>
#include <iostream>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace harbolance;

// Opening and closing; messages are in nctcpmsg.cpp.

namespace {

constexpr size_t longestHostName = 100;

// 0, or an errno value. A connect that a signal interrupted goes on by itself and must not be repeated.
int connectUntil(int fd, sockaddr_in peer, const Deadline& deadline) {
    if (::connect(fd, generic(peer), sizeof peer) == 0)
        return 0;
    if (errno != EINPROGRESS && errno != EINTR)
        return errno;
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
    : queue_(queueCapacity), inBuffer_(0, std::max(bufferSize, ncFrameWord)),
      outBuffer_(std::make_unique<NCipcbuf>(bufferSize, 0)), queueLimit_(queueCapacity) {
    setStreams(std::make_unique<NCipcstream>(), std::make_unique<NCipcstream>());
}

NCtcpstream::NCtcpstream(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out,
                         uint32_t bufferSize, int queueLimit)
    : NCtcpstream(bufferSize, 16) {
    queueLimit_ = queueLimit;
    setStreams(std::move(in), std::move(out));
}

NCtcpstream::~NCtcpstream() {
    if (open_)
        ::close(fd_);
    dropQueue();
}

void NCtcpstream::setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out) {
    in_ = std::move(in);
    out_ = std::move(out);
    in_->setBuffer(&inBuffer_);
    out_->setBuffer(outBuffer_.get());
}

int NCtcpstream::done() { return status_ = 0; }

int NCtcpstream::fail(int status, const char* text) {
    if (debug_)
        std::cerr << '\n' << text << '\n';
    return status_ = status;
}

int NCtcpstream::failSystem(const char* text) {
    if (debug_)
        std::perror(text);
    return status_ = systemError;
}

int NCtcpstream::failOpening(const char* text, int fd) {
    failSystem(text);
    ::close(fd);
    return status_;
}

int NCtcpstream::open(int fd, int port) {
    fd_ = fd;
    port_ = port;
    open_ = true;
    return done();
}

// Closing never waits for the peer, and what has been written is still delivered.
void NCtcpstream::lingerOff(const char* text) {
    const linger off{0, 0};
    if (::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &off, sizeof off) == -1 && debug_)
        std::perror(text);
}

int NCtcpstream::listen(int port, const char* host) {
    if (open_)
        return fail(alreadyOpen, "NCtcpstream::listen: File in use");
    const auto found = host ? addressOfHost(host) : INADDR_ANY;
    if (!found)
        return status_ = noHost;
    sockaddr_in address = socketAddress(*found, port);
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return failSystem("NCtcpstream::listen: socket");
    if (::bind(fd, generic(address), sizeof address) == -1)
        return failOpening("NCtcpstream::listen: bind", fd);
    if (::listen(fd, 128) == -1)
        return failOpening("NCtcpstream::listen: listen", fd);
    if (!blocking_ && !setNonBlocking(fd, true))
        return failOpening("NCtcpstream::listen: fcntl", fd);
    socklen_t length = sizeof address;
    if (port == 0 && ::getsockname(fd, generic(address), &length) == -1)
        return failOpening("NCtcpstream::listen: bind", fd);
    const auto name = thisHostName();
    if (!name)
        return failOpening("NCtcpstream::listen: Error gethostname", fd);
    hostName_ = *name;
    open(fd, ntohs(address.sin_port));
    lingerOff("NCtcpstream::listen: setsockopt-linger");
    return done();
}

int NCtcpstream::accept() {
    if (!open_)
        return fail(notOpen, "NCtcpstream::accept: File not open");
    const int fd = uninterrupted([this] { return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC); });
    if (fd == -1)
        return failSystem("NCtcpstream::accept: accept");
    done();
    return fd;
}

std::unique_ptr<NCtcpstream> NCtcpstream::acceptStream() {
    const int fd = accept();
    if (fd < 0)
        return nullptr;
    auto stream = std::make_unique<NCtcpstream>(1024, 50);
    stream->setDebug(debug_);
    stream->attach(fd);
    return stream;
}

int NCtcpstream::connect(const char* host, int port, int seconds) {
    if (open_)
        return fail(alreadyOpen, "NCtcpstream::connect: File in use");
    const std::string name = host ? host : "(null)";
    const auto address = addressOfHost(host);
    if (!address)
        return fail(noHost, ("NCtcpstream::connect: No host (" + name + ")").c_str());
    hostName_ = name.substr(0, longestHostName);
    return openConnection(socketAddress(*address, port), seconds);
}

int NCtcpstream::connect(const sockaddr_in& peer, int seconds) {
    if (open_)
        return fail(alreadyOpen, "NCtcpstream::connect: File in use");
    hostName_.clear();
    return openConnection(peer, seconds);
}

int NCtcpstream::openConnection(const sockaddr_in& peer, int seconds) {
    const bool limited = seconds >= 0;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return failSystem("NCtcpstream::connect: socket");
    if (limited && !setNonBlocking(fd, true))
        return failOpening("NCtcpstream::connect: fcntl", fd);
    const int error = connectUntil(fd, peer, Deadline(seconds));
    if (error != 0) {
        errno = error;
        failOpening("NCtcpstream::connect: connect", fd);
        if (limited && error == ETIMEDOUT)
            status_ = timedOut;
        errno = error; // closing may have changed it
        return status_;
    }
    if (!setNonBlocking(fd, !blocking_))
        return failOpening("NCtcpstream::connect: fcntl", fd);
    open(fd, ntohs(peer.sin_port));
    const int on = 1;
    if (::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on) == -1)
        failSystem("NCtcpstream::connect: setsockopt-keepalive");
    lingerOff("NCtcpstream::connect: setsockopt-linger");
    return status_;
}

int NCtcpstream::attach(int fd) {
    if (open_)
        return fail(alreadyOpen, "NCtcpstream::attach: File in use");
    if (fd < 0)
        return fail(badDescriptor, "NCtcpstream::attach: Invalid file");
    if (!blocking_ && !setNonBlocking(fd, true))
        return failSystem("NCtcpstream::attach: fnctl");
    hostName_.clear();
    open(fd, 0);
    lingerOff("NCtcpstream::attach: setsockopt-linger");
    return done();
}

int NCtcpstream::close() {
    if (!open_)
        return fail(notOpen, "NCtcpstream::close: File not open");
    for (NCipcstream* stream : {in_.get(), out_.get()}) {
        stream->resetTypes();
        stream->resetObjects();
    }
    dropQueue();
    readPending_ = writePending_ = false;
    written_ = 0;
    messageLength_ = -1;
    // An interrupted close has closed.
    if (::close(fd_) == -1 && errno != EINTR)
        return failSystem("NCtcpstream::close: close");
    fd_ = -1;
    open_ = false;
    return done();
}

void NCtcpstream::dropQueue() {
    int status = 0;
    while (auto* buffer = static_cast<NCipcbuf*>(queue_.dequeue(status)))
        delete buffer;
}

int NCtcpstream::setBlocking(bool blocking) {
    blocking_ = blocking;
    if (open_ && !setNonBlocking(fd_, !blocking))
        return failSystem("NCtcpstream::blocking ");
    if (open_ && blocking && (writePending_ || !queue_.isEmpty()))
        return flush();
    return done();
}

void NCtcpstream::setQueueLimit(int limit) {
    if (limit <= queueLimit_)
        return;
    queueLimit_ = limit;
    queue_.setCapacity(limit);
}
