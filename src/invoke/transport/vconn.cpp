#include "invoke/transport/vconn.h"

#include "base/assertion.h"
#include "base/hash_table.h"
#include "marshal/exception/vexcept.h"
#include "net/descriptors.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

using namespace harbolance;

TRXConnection::~TRXConnection() { TRXConnection::close(); }

bool TRXConnection::data_available() { return _fd != -1 && pollUntil(_fd, POLLIN, Deadline(0)) == 1; }

int TRXConnection::fd() const { return _fd; }

void TRXConnection::close() {
    if (_fd == -1)
        return;
    ::shutdown(_fd, SHUT_RDWR);
    ::close(std::exchange(_fd, -1));
    _state = CLOSED;
}

void TRXConnection::blocking(CORBA_Boolean blocking) {
    TRX_ASSERT(_fd != -1, "vconn");
    if (_blocking == (blocking != 0))
        return;
    _blocking = blocking != 0;
    setNonBlocking(_fd, !_blocking);
}

CORBA_Boolean TRXConnection::blocking() const { return _blocking; }
TRXConnection::State TRXConnection::state() const { return _state; }
CORBA_ULong TRXConnection::profile_id() const { return _profile_id; }
CORBA_Boolean TRXConnection::reliable() const { return 1; }

void TRXConnection::fail_closed(int error) {
    _saved_errno = error;
    _state = CLOSED;
    throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(error), COMPLETED_NO);
}

[[gnu::hot]] size_t TRXConnection::receive_available(char* buffer, size_t size) {
    if (_state == CLOSED)
        fail_closed(_saved_errno);
    const ssize_t count = uninterrupted([&] { return ::recv(_fd, buffer, size, MSG_DONTWAIT); });
    if (count > 0)
        return static_cast<size_t>(count);
    if (count == -1 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return 0;
    fail_closed(count == 0 ? 0 : errno);
}

[[gnu::hot]] size_t TRXConnection::transmit_available(const iovec* parts, int count, bool more) {
    if (_state == CLOSED)
        fail_closed(_saved_errno);
    const int flags = MSG_DONTWAIT | MSG_NOSIGNAL | (more ? MSG_MORE : 0);
    const ssize_t sent = uninterrupted([&] {
        if (count == 1)
            return ::send(_fd, parts->iov_base, parts->iov_len, flags);
        msghdr message{};
        message.msg_iov = const_cast<iovec*>(parts);
        message.msg_iovlen = static_cast<size_t>(count);
        return ::sendmsg(_fd, &message, flags);
    });
    if (sent >= 0)
        return static_cast<size_t>(sent);
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        return 0;
    fail_closed(errno);
}

// Switching TCP_CORK off sends the octets that the system delays because of MSG_MORE. Sockets other than TCP
// delay nothing.
void TRXConnection::push() {
    const int off = 0;
    ::setsockopt(_fd, IPPROTO_TCP, TCP_CORK, &off, sizeof off);
}

void TRXConnection::break_off() { ::shutdown(_fd, SHUT_RDWR); }

namespace {

struct FactoryTraits : GrowWhenFull {
    using Entry = TRXConnFactory*;
    static bool isFree(Entry entry) { return !entry; }
    static uint32_t hash(CORBA_ULong tag) { return tag; }
    static uint32_t hash(Entry entry) { return hash(entry->tag()); }
    static bool equal(Entry stored, CORBA_ULong tag) { return stored->tag() == tag; }
    static bool equal(Entry stored, Entry entry) { return equal(stored, entry->tag()); }
};

HashTable<FactoryTraits>& factories() {
    static HashTable<FactoryTraits> table(16);
    return table;
}

} // namespace

TRXConnFactory::TRXConnFactory(CORBA_ULong tag) : _tag(tag) {
    if (!factories().insert(this).added)
        throw CORBA_BAD_PARAM();
}

TRXConnFactory::~TRXConnFactory() {
    if (find(_tag) == this)
        factories().take(_tag);
}

CORBA_Boolean TRXConnFactory::is_local(const IOP::TaggedProfile&) { return 0; }

TRXConnFactory* TRXConnFactory::find(CORBA_ULong tag) {
    TRXConnFactory* const* found = factories().find(tag);
    return found ? *found : nullptr;
}
