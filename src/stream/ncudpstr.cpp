#include "stream/ncudpstr.h"

#include "net/host_address.h"
#include "stream/ncframe.h"

#include <sys/socket.h>

#include <string>
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

NCudpstream::~NCudpstream() = default;

void NCudpstream::setStreams(std::unique_ptr<NCipcstream> in, std::unique_ptr<NCipcstream> out) {
    in_ = std::move(in);
    out_ = std::move(out);
    in_->setBuffer(&inBuffer_);
    out_->setBuffer(&outBuffer_);
}

int NCudpstream::overflow(uint32_t) {
    status_.fail(tooLarge, "UDPstrm::overflow: Object does not fit in UDP packet.");
    return -1;
}

int NCudpstream::underflow() {
    // Only reported: `decode` sets the status when the object turns out to be missing.
    status_.fail(status(), "NCudpstream::underflow: Inconsistent class definitions");
    return -1;
}

int NCudpstream::bind(int port, const char* ipaddr) {
    if (isOpen())
        return status_.fail(alreadyOpen, "NCudpstream::bind: File already open");
    // Dotted addresses only, because the look-up of a name may block.
    sockaddr_in address = socketAddress(dottedAddress(ipaddr).value_or(INADDR_ANY), port);
    Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen())
        return failSystem("NCudpstream: socket");
    if (::bind(socket.get(), generic(address), sizeof address) == -1)
        return failSystem("NCudpstream::listen: bind");
    // The result is ignored: a socket that may not broadcast fails at its first broadcast.
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    socklen_t length = sizeof address;
    if (port == 0 && ::getsockname(socket.get(), generic(address), &length) == -1)
        return failSystem("NCudpstream::listen: bind");
    if (!blocking_ && !setNonBlocking(socket.get(), true))
        return failSystem("NCudpstream::listen: fcntl");
    // Nothing can fail from here on, so a stream is either open with all its members set, or closed.
    port_ = ntohs(address.sin_port);
    socket_ = std::move(socket);
    return status_.done();
}

int NCudpstream::close() {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::close: File not open");
    if (!socket_.close())
        return failSystem("NCudpstream::close: close");
    connected_ = false;
    tellsRefusals_ = false;
    return status_.done();
}

bool NCudpstream::findHost(const char* host, int port, sockaddr_in& address) {
    const auto found = addressOfHost(host);
    if (found)
        address = socketAddress(*found, port);
    else
        status_.fail(noHost,
                     ("NCudpstream::connect: No host (" + std::string(host ? host : "(null)") + ")").c_str());
    return found.has_value();
}

int NCudpstream::connect(const char* host, int port) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::connect: File not open");
    sockaddr_in address{};
    return findHost(host, port, address) ? connect(address) : status();
}

int NCudpstream::connect(const sockaddr_in& peer) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::connect: File not open");
    peer_ = peer;
    connected_ = true;
    return status_.done();
}

int NCudpstream::setBlocking(bool blocking) {
    blocking_ = blocking;
    if (isOpen() && !setNonBlocking(fd(), !blocking))
        return failSystem("NCudpstream::listen: fcntl");
    return status_.done();
}

int NCudpstream::tellRefusals() {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::connect: File not open");
    const int on = 1;
    if (::setsockopt(fd(), IPPROTO_IP, IP_RECVERR, &on, sizeof on) == -1)
        return failSystem("NCudpstream::listen: setsockopt");
    tellsRefusals_ = true;
    return status_.done();
}

// The system keeps error reports beside the datagrams, and reports the socket as readable until they are
// read.
bool NCudpstream::dropReportedErrors() {
    constexpr int most = 64; // per call: a flood of reports must not block the caller
    bool any = false;
    for (int i = 0; i < most && tellsRefusals_; ++i) {
        msghdr message{};
        if (uninterrupted([&] { return ::recvmsg(fd(), &message, MSG_ERRQUEUE | MSG_DONTWAIT); }) == -1)
            break;
        any = true;
    }
    return any;
}

int NCudpstream::send(const NCTransObject* object) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::send: File not open");
    if (!connected_)
        return status_.fail(notConnected, "NCudpstream::send: Stream is not connected");
    if (encode(object) == 0)
        transmit(peer_, true);
    finishSending();
    return status();
}

int NCudpstream::sendTo(const char* host, int port, const NCTransObject* object) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::send: File not open");
    if (connected_)
        return status_.fail(connected, "NCudpstream::send: Stream is connected");
    sockaddr_in address{};
    return findHost(host, port, address) ? sendTo(address, object) : status();
}

int NCudpstream::sendTo(const sockaddr_in& address, const NCTransObject* object) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::send: File not open");
    if (connected_)
        return status_.fail(connected, "NCudpstream::send: Stream is connected");
    if (encode(object) == 0)
        transmit(address, false);
    finishSending();
    return status();
}

int NCudpstream::broadcast(const NCTransObject* object, int port) {
    if (!isOpen())
        return status_.fail(notOpen, "NCudpstream::send: File not open");
    // Built at the first use and kept, because it needs system calls for each interface, or reads a file.
    if (!broadcastTableBuilt_ && tableMaker) {
        broadcastTable_ = tableMaker(fd(), port, debug());
        broadcastTableBuilt_ = true;
    }
    // Encoded once; every network is sent the same octets.
    if (encode(object) == 0 && broadcastTable_)
        broadcastTable_->forEachTarget([this](const sockaddr_in& target) { return transmit(target, false); });
    finishSending();
    return status();
}

int NCudpstream::encode(const NCTransObject* object) {
    status_.done();
    out_->resetTypes();
    // An object stream installed by the caller may have called `overflow` itself.
    if (!ncEncodeMessage(*out_, object) && status() == 0)
        overflow(outBuffer_.bytesWritten());
    return status();
}

// Sends the encoded message, which stays in the buffer for the next address.
int NCudpstream::transmit(const sockaddr_in& address, bool tellRefusal) {
    const size_t total = outBuffer_.bytesWritten();
    const auto sendNow = [&] {
        return uninterrupted(
            [&] { return ::sendto(fd(), outBuffer_.wbuf(), total, 0, generic(address), sizeof address); });
    };
    ssize_t sent = sendNow();
    // The system returns the error of an earlier datagram instead of sending this one.
    if (sent == -1 && errno != ECONNREFUSED && dropReportedErrors())
        sent = sendNow();
    if (sent == -1 && errno == ECONNREFUSED && tellRefusal)
        return status_.fail(refused, "NCudpstream::send: Connection broken");
    if (sent == -1)
        return failSystem("NCudpstream::send: write");
    if (static_cast<size_t>(sent) != total)
        return status_.fail(badObject, "NCudpstream::send: Unable to write out the Object");
    return status_.done();
}

void NCudpstream::finishSending() {
    outBuffer_.resetWrite();
    out_->resetTypes();
}

NCTransObject* NCudpstream::receive(int& status, sockaddr_in* from) {
    NCTransObject* object = receive(from);
    status = status_.value();
    return object;
}

NCTransObject* NCudpstream::receive(sockaddr_in* from) {
    if (!isOpen()) {
        status_.set(notOpen);
        return nullptr;
    }
    in_->clearFailed();
    in_->resetTypes();
    NCTransObject* object = takeDatagram(from) ? decode() : nullptr;
    in_->resetTypes();
    return object;
}

bool NCudpstream::takeDatagram(sockaddr_in* from) {
    inBuffer_.resetRead();
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    // With MSG_TRUNC the result is the length of the whole datagram, even if the area is smaller.
    const ssize_t count = uninterrupted([&] {
        return ::recvfrom(fd(), inBuffer_.rbuf(), datagramSize, MSG_TRUNC, generic(sender), &length);
    });
    if (count == -1) {
        const int error = errno;
        const bool reported = dropReportedErrors();
        errno = error;
        if (error == EAGAIN || (reported && error != ECONNREFUSED))
            status_.fail(noData, "NCudpstream::receive No data available to read");
        else if (error == ECONNREFUSED)
            status_.fail(refused, "NCudpstream::receive: Connection broken");
        else
            failSystem("NCudpstream::receive: recvfrom");
        return false;
    }
    // Set also for a datagram that is dropped below: the caller uses the sender to decide whether that
    // matters.
    if (from)
        *from = sender;
    if (count > static_cast<ssize_t>(datagramSize)) {
        status_.fail(badObject, "NCudpstream::receive: Object length mismatch");
        return false;
    }
    inBuffer_.advanceEnd(static_cast<size_t>(count));
    return true;
}

NCTransObject* NCudpstream::decode() {
    if (!ncEnterDatagram(*in_)) {
        status_.fail(badObject, "NCudpstream::receive: Object length mismatch");
        return nullptr;
    }
    NCTransObject* object = in_->readObject();
    // A null object from a peer is not a message either.
    status_.set(object ? 0 : badObject);
    return object;
}

const DSAddr* NCudpstream::localAddrFor(const sockaddr_in& address) const {
    return broadcastTable_ ? broadcastTable_->localAddrFor(address) : nullptr;
}

NCBroadcastTableMaker NCudpstream::setBroadcastTableMaker(NCBroadcastTableMaker maker) {
    return std::exchange(tableMaker, maker);
}
