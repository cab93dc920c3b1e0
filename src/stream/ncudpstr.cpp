#include "stream/ncudpstr.h"

#include "net/descriptors.h"
#include "net/host_address.h"
#include "stream/ncframe.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace harbolance;

namespace {

NCBroadcastTableMaker tableMaker = nullptr;

} // namespace

NCudpstream::NCudpstream() : NCudpstream(std::make_unique<NCipcstream>(), std::make_unique<NCipcstream>()) {}

NCudpstream::NCudpstream(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out)
    : inBuffer_(0, datagramSize), outBuffer_(datagramSize, 0) {
    setStreams(std::move(in), std::move(out));
}

NCudpstream::~NCudpstream() {
    if (open_)
        ::close(fd_);
}

void NCudpstream::setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out) {
    in_ = std::move(in);
    out_ = std::move(out);
    in_->setBuffer(&inBuffer_);
    out_->setBuffer(&outBuffer_);
}

int NCudpstream::done() { return status_ = 0; }

int NCudpstream::fail(int status, const char* text) {
    if (debug_)
        std::cerr << '\n' << text << '\n';
    return status_ = status;
}

int NCudpstream::failSystem(const char* text) {
    if (debug_)
        std::perror(text);
    return status_ = systemError;
}

int NCudpstream::failOpening(const char* text, int fd) {
    failSystem(text);
    ::close(fd);
    return status_;
}

int NCudpstream::overflow(uint32_t) {
    fail(tooLarge, "UDPstrm::overflow: Object does not fit in UDP packet.");
    return -1;
}

int NCudpstream::underflow() {
    if (debug_)
        std::cerr << "\nNCudpstream::underflow: Inconsistent class definitions\n";
    return -1;
}

int NCudpstream::bind(int port, const char* ipaddr) {
    if (open_)
        return fail(alreadyOpen, "NCudpstream::bind: File already open");
    sockaddr_in address = socketAddress(dottedAddress(ipaddr).value_or(INADDR_ANY), port);
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return failSystem("NCudpstream: socket");
    if (::bind(fd, generic(address), sizeof address) == -1)
        return failOpening("NCudpstream::listen: bind", fd);
    // A socket that may not broadcast says so at the first broadcast.
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    socklen_t length = sizeof address;
    if (port == 0 && ::getsockname(fd, generic(address), &length) == -1)
        return failOpening("NCudpstream::listen: bind", fd);
    if (!blocking_ && !setNonBlocking(fd, true))
        return failOpening("NCudpstream::listen: fcntl", fd);
    port_ = ntohs(address.sin_port);
    fd_ = fd;
    open_ = true;
    return done();
}

int NCudpstream::close() {
    if (!open_)
        return fail(notOpen, "NCudpstream::close: File not open");
    // An interrupted close has closed.
    if (::close(fd_) == -1 && errno != EINTR)
        return failSystem("NCudpstream::close: close");
    fd_ = -1;
    open_ = false;
    connected_ = false;
    return done();
}

bool NCudpstream::findHost(const char* host, int port, sockaddr_in& address) {
    const auto found = addressOfHost(host);
    if (found)
        address = socketAddress(*found, port);
    else
        fail(noHost, ("NCudpstream::connect: No host (" + std::string(host ? host : "(null)") + ")").c_str());
    return found.has_value();
}

int NCudpstream::connect(const char* host, int port) {
    if (!open_)
        return fail(notOpen, "NCudpstream::connect: File not open");
    sockaddr_in address{};
    return findHost(host, port, address) ? connect(address) : status_;
}

int NCudpstream::connect(const sockaddr_in& peer) {
    if (!open_)
        return fail(notOpen, "NCudpstream::connect: File not open");
    peer_ = peer;
    connected_ = true;
    return done();
}

int NCudpstream::setBlocking(bool blocking) {
    blocking_ = blocking;
    if (open_ && !setNonBlocking(fd_, !blocking))
        return failSystem("NCudpstream::listen: fcntl");
    return done();
}

int NCudpstream::send(const NCTransObject* object) {
    if (!open_)
        return fail(notOpen, "NCudpstream::send: File not open");
    if (!connected_)
        return fail(notConnected, "NCudpstream::send: Stream is not connected");
    if (encode(object) == 0)
        transmit(peer_, true);
    finishSending();
    return status_;
}

int NCudpstream::sendTo(const char* host, int port, const NCTransObject* object) {
    if (!open_)
        return fail(notOpen, "NCudpstream::send: File not open");
    if (connected_)
        return fail(connected, "NCudpstream::send: Stream is connected");
    sockaddr_in address{};
    return findHost(host, port, address) ? sendTo(address, object) : status_;
}

int NCudpstream::sendTo(const sockaddr_in& address, const NCTransObject* object) {
    if (!open_)
        return fail(notOpen, "NCudpstream::send: File not open");
    if (connected_)
        return fail(connected, "NCudpstream::send: Stream is connected");
    if (encode(object) == 0)
        transmit(address, false);
    finishSending();
    return status_;
}

int NCudpstream::broadcast(const NCTransObject* object, int port) {
    if (!open_)
        return fail(notOpen, "NCudpstream::send: File not open");
    if (!broadcastTableBuilt_ && tableMaker) {
        broadcastTable_ = tableMaker(fd_, port);
        broadcastTableBuilt_ = true;
    }
    if (encode(object) == 0 && broadcastTable_)
        broadcastTable_->forEachTarget([this](const sockaddr_in& target) { return transmit(target, false); });
    finishSending();
    return status_;
}

int NCudpstream::encode(const NCTransObject* object) {
    status_ = 0;
    out_->resetTypes();
    if (!ncEncodeMessage(*out_, object) && status_ == 0)
        overflow(outBuffer_.bytesWritten());
    return status_;
}

// Sends what has been encoded, which stays where it is for the next address.
int NCudpstream::transmit(const sockaddr_in& address, bool tellRefusal) {
    const size_t total = outBuffer_.bytesWritten();
    const ssize_t sent = uninterrupted(
        [&] { return ::sendto(fd_, outBuffer_.wbuf(), total, 0, generic(address), sizeof address); });
    if (sent == -1 && errno == ECONNREFUSED && tellRefusal)
        return fail(refused, "NCudpstream::send: Connection broken");
    if (sent == -1)
        return failSystem("NCudpstream::send: write");
    if (static_cast<size_t>(sent) != total)
        return fail(badObject, "NCudpstream::send: Unable to write out the Object");
    return done();
}

void NCudpstream::finishSending() {
    outBuffer_.resetWrite();
    out_->resetTypes();
}

NCTransObject* NCudpstream::receive(int& status, sockaddr_in* from) {
    NCTransObject* object = receive(from);
    status = status_;
    return object;
}

NCTransObject* NCudpstream::receive(sockaddr_in* from) {
    if (!open_) {
        status_ = notOpen;
        return nullptr;
    }
    in_->clearFailed();
    in_->resetTypes();
    inBuffer_.resetRead();
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t count = uninterrupted(
        [&] { return ::recvfrom(fd_, inBuffer_.rbuf(), datagramSize, MSG_TRUNC, generic(sender), &length); });
    if (count == -1) {
        if (errno == EAGAIN)
            fail(noData, "NCudpstream::receive No data available to read");
        else if (errno == ECONNREFUSED)
            fail(refused, "NCudpstream::receive: Connection broken");
        else
            failSystem("NCudpstream::receive: recvfrom");
        return nullptr;
    }
    if (from)
        *from = sender;
    if (count > static_cast<ssize_t>(datagramSize)) {
        fail(badObject, "NCudpstream::receive: Object length mismatch"); // the system has cut it
        return nullptr;
    }
    inBuffer_.advanceEnd(static_cast<size_t>(count));
    NCTransObject* object = decode();
    in_->resetTypes();
    return object;
}

NCTransObject* NCudpstream::decode() {
    if (!ncEnterDatagram(*in_)) {
        fail(badObject, "NCudpstream::receive: Object length mismatch");
        return nullptr;
    }
    NCTransObject* object = in_->readObject();
    status_ = object ? 0 : badObject;
    return object;
}

const DSAddr* NCudpstream::localAddrFor(const sockaddr_in& address) const {
    return broadcastTable_ ? broadcastTable_->localAddrFor(address) : nullptr;
}

NCBroadcastTableMaker NCudpstream::setBroadcastTableMaker(NCBroadcastTableMaker maker) {
    return std::exchange(tableMaker, maker);
}
