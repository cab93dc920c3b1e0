#include "agent/session/dsverify.h"

#include "agent/records/dsmsg.h"
#include "base/standard_streams.h"
#include "stream/ncudpstr.h"

#include <cerrno>
#include <cstdio>

int DSVerifyHandler::inputReady(int fd) { return owner_->receiveMsg(fd); }

void DSVerifyHandler::timerExpired(long, long) { owner_->timeout(); }

DSVerify::DSVerify() : handler_(std::make_unique<DSVerifyHandler>(this)) {}

DSVerify::~DSVerify() {
    // A timer runs only during a check.
    if (mode_ == verifying)
        dpDispatcher::instance()->stopTimer(handler_.get());
    if (mode_ != idle)
        unlinkSocket();
}

void DSVerify::unlinkSocket() { dpDispatcher::instance()->unlink(socket_->fd()); }

// Opens a new socket, with a descriptor that the dispatcher accepts.
int DSVerify::open(int port, const char* ipaddr) {
    socket_ = std::make_unique<NCudpstream>();
    if (socket_->bind(port, ipaddr) == 0) {
        if (socket_->fd() < dpDispatcher::maxDescriptors)
            return 0;
        // The reason for the complaint below, as an errno value.
        errno = EMFILE;
    }
    if (debug_) {
        std::perror("bind:");
        harbolance::standardOutput() << "DSVerify::bind: Unable to bind to port " << port << std::endl;
    }
    socket_.reset();
    return bindFailed;
}

int DSVerify::bind(int port, const char* ipaddr) {
    if (mode_ != idle)
        return busy;
    if (const int status = open(port, ipaddr))
        return status;
    dpDispatcher::instance()->link(socket_->fd(), dpDispatcher::readMask, handler_.get());
    mode_ = listening;
    return 0;
}

int DSVerify::port() const { return socket_ ? socket_->port() : 0; }

NCRef<DSAddr> DSVerify::localAddr() const { return mode_ == listening ? new DSAddr(port()) : nullptr; }

int DSVerify::verify(const DSAddr* peer) {
    if (mode_ != idle)
        return busy;
    if (const int status = open(0, nullptr))
        return status;
    if (socket_->connect(peer->socketAddress()) != 0) {
        if (debug_) {
            std::perror("connect:");
            harbolance::standardOutput()
                << "DSVerify::verify: Unable to connect to "
                << "host (" << peer->dottedAddr() << "), port (" << peer->port() << ")" << std::endl;
        }
        socket_.reset();
        return connectFailed;
    }
    if (ask() != 0) {
        if (debug_)
            harbolance::standardOutput() << "DSVerify::verify: Client at (" << peer->dottedAddr()
                                         << "), port (" << peer->port() << ") is down" << std::endl;
        socket_.reset();
        peerDown();
        return sendFailed;
    }
    if (debug_)
        harbolance::standardOutput() << "DSVerify::verify: Sent a areYouAlive message to "
                                     << "client at (" << peer->dottedAddr() << "), port (" << peer->port()
                                     << ")" << std::endl;
    auto* loop = dpDispatcher::instance();
    loop->link(socket_->fd(), dpDispatcher::readMask, handler_.get());
    if (!handler_->valid)
        handler_->reset();
    handler_->nrexmt = 0;
    loop->startTimer(handler_->start(), 0, handler_.get());
    mode_ = verifying;
    return 0;
}

// Makes a new message with a new number for each sending.
int DSVerify::ask() {
    const NCRef<DSRequest> question = new DSRequest(DSRequestAreYouAlive);
    return socket_->send(question.get());
}

int DSVerify::receiveMsg(int) {
    if (mode_ == idle) {
        harbolance::standardOutput() << "DSVerify::receiveMsg:: Unexpected message\n";
        return 0;
    }
    int status = 0;
    sockaddr_in from{};
    const std::unique_ptr<NCTransObject> received(socket_->receive(status, &from));
    if (status == NCudpstream::noData)
        return 0; // the system has dropped the datagram
    if (mode_ == listening) {
        answer(received.get(), status, from);
        return 0;
    }
    // Made idle before a hook is called: the hook may start the next check or destroy this object, which is
    // not used afterwards.
    stopVerifying();
    if (status == 0) {
        peerUp();
        return 0;
    }
    if (debug_)
        harbolance::standardOutput() << "DSVerify::receiveMsg: Peer is "
                                     << "down. Return Code (" << status << ")" << std::endl;
    peerDown();
    return 0;
}

void DSVerify::answer(const NCTransObject* received, int status, const sockaddr_in& from) {
    const auto* request = nc_cast<DSRequest>(received);
    // Any request shows that an agent wants to know; its type is not tested.
    if (!request || !request->isCurrentVersion()) {
        if (debug_)
            harbolance::standardOutput() << "DSVerify::receiveMsg: Error receiving "
                                         << "message. Return Code =" << status << std::endl;
        return;
    }
    if (debug_)
        harbolance::standardOutput() << "DSVerify::receiveMsg: Received a "
                                     << "areYouAlive message " << std::endl;
    const NCRef<DSReply> reply = new DSReply(DSReplyAlive, *request, DSStatusDone);
    socket_->sendTo(from, reply.get());
}

void DSVerify::stopVerifying() {
    dpDispatcher::instance()->stopTimer(handler_.get());
    unlinkSocket();
    socket_.reset();
    mode_ = idle;
}

void DSVerify::timeout() {
    const bool silent = ++handler_->nrexmt > NCrtt::maxRetransmissions;
    if (silent) {
        handler_->valid = 0;
        if (debug_)
            harbolance::standardOutput() << "DSVerify::timeout: Peer is not responding " << std::endl;
    } else {
        if (debug_)
            harbolance::standardOutput() << "DSVerify::timeout: Resending areYouAlive "
                                         << "message. " << std::endl;
        if (ask() == 0) {
            dpDispatcher::instance()->startTimer(handler_->start(), 0, handler_.get());
            return;
        }
    }
    stopVerifying();
    peerDown();
}
