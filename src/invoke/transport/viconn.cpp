#include "invoke/transport/viconn.h"

#include "base/assertion.h"
#include "base/standard_streams.h"
#include "invoke/transport/transport_settings.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"
#include "net/descriptors.h"
#include "net/dispatcher.h"
#include "net/host_address.h"
#include "object/global_table.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

using namespace harbolance;

namespace {

// Raises the exception for a socket that could not be made or accepted.
[[noreturn]] void failWithoutSocket(const char* prefix) {
    const int error = errno;
    if (error == ENOMEM || error == EMFILE || error == ENFILE)
        throw CORBA_NO_RESOURCES(static_cast<CORBA_ULong>(error), COMPLETED_NO);
    standardError() << prefix << std::strerror(error) << std::endl;
    throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(error), COMPLETED_NO);
}

[[noreturn]] void failWithErrno() { throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(errno), COMPLETED_NO); }

void setOption(int fd, int level, int option, int value) {
    ::setsockopt(fd, level, option, &value, sizeof value);
}

bool isLoopback(const char* address) { return std::strcmp(address, "127.0.0.1") == 0; }

bool isOwnAddress(const char* address) {
    const CORBA_String_var own = TRXUtil::host_address(nullptr);
    return CORBA_string_compare(address, own.in()) == 0;
}

bool isThisHost(const char* host) {
    const CORBA_String_var address = TRXUtil::host_address(host);
    return address.in() && (isLoopback(address.in()) || isOwnAddress(address.in()));
}

// The interface address that a listener for the host binds to; 0 for all interfaces.
in_addr_t interfaceOf(const char* host) {
    if (!*host)
        return INADDR_ANY;
    const CORBA_String_var address = TRXUtil::host_address(host);
    if (address.in() && !isLoopback(address.in()) && isOwnAddress(address.in()))
        return INADDR_ANY;
    return addressOfHost(host).value_or(INADDR_NONE);
}

// The caller must have checked the tag, so another one is a bug.
void checkTag(const IOP::TaggedProfile& profile) {
    TRX_ASSERT(profile.tag == IOP::TAG_INTERNET_IOP, "viconn");
}

} // namespace

TRXTCPConn::TRXTCPConn() : TRXConnection(IOP::TAG_INTERNET_IOP) { ignoreBrokenPipes(); }

TRXTCPConn::~TRXTCPConn() { TRXTCPConn::close(); }

// --- Client side -------------------------------------------------------------------------------------------

void TRXTCPConn::connect(const IOP::TaggedProfile& profile, CORBA_ULong timeout) {
    set_profile(profile);
    sockaddr_in address{};
    TRXUtil::make_addr(_body.host.in(), _body.port, &address);
    address.sin_family = AF_INET;
    connect(&address, timeout);
}

TRXConnection* TRXTCPConn::clone(CORBA_ULong timeout) {
    TRXRef<TRXTCPConn> copy(new TRXTCPConn);
    copy->connect(_profile, timeout);
    return copy.detach();
}

int TRXTCPConn::open_socket() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= dpDispatcher::maxDescriptors) {
        ::close(fd);
        errno = EMFILE;
    } else if (fd != -1) {
        return fd;
    }
    failWithoutSocket("socket: ");
}

void TRXTCPConn::set_client_options() {
    setOption(_fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(_fd, IPPROTO_TCP, TCP_NODELAY, transportSettings.tcpNoDelay);
    if (transportSettings.sendBufSize != 0)
        setOption(_fd, SOL_SOCKET, SO_SNDBUF, transportSettings.sendBufSize);
    if (transportSettings.rcvBufSize != 0)
        setOption(_fd, SOL_SOCKET, SO_RCVBUF, transportSettings.rcvBufSize);
}

// --- Server side -------------------------------------------------------------------------------------------

void TRXTCPConn::listen(const IOP::TaggedProfile& profile) {
    TRX_ASSERT(_state == INITIAL || _state == CLOSED, "viconn");
    set_profile(profile);
    sockaddr_in address = socketAddress(interfaceOf(_body.host.in()), _body.port);
    const int fd = open_socket();
    setOption(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    constexpr int backlog = 1024;
    if (::bind(fd, generic(address), sizeof address) == -1 || ::listen(fd, backlog) == -1) {
        const int error = errno;
        ::close(fd);
        errno = error;
        failWithErrno();
    }
    replace_socket(fd);
    blocking(0);
    socklen_t size = sizeof address;
    if (_body.port == 0 && ::getsockname(_fd, generic(address), &size) == 0) {
        _body.port = ntohs(address.sin_port);
        store_body();
    }
    _spare_fd = ::fcntl(_fd, F_DUPFD_CLOEXEC, 0);
    _state = LISTEN;
}

TRXConnection* TRXTCPConn::accept() {
    int fd = -1;
    accept(fd);
    TRXRef<TRXTCPConn> accepted(new TRXTCPConn);
    accepted->attach(fd);
    accepted->blocking(0);
    return accepted.detach();
}

void TRXTCPConn::accept(int& fd) {
    TRX_ASSERT(_state == LISTEN, "viconn");
    fd = next_accepted();
    if (fd == -1)
        failWithoutSocket("accept: ");
    setOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
}

// A descriptor too large for the event loop is kept until a lower number is free; then returns -1 with
// EMFILE.
int TRXTCPConn::next_accepted() {
    int fd = std::exchange(_waiting_fd, -1);
    if (fd == -1)
        fd = uninterrupted([this] { return ::accept4(_fd, nullptr, nullptr, SOCK_CLOEXEC); });
    if (fd < dpDispatcher::maxDescriptors)
        return fd;
    const int lower = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (lower != -1 && lower < dpDispatcher::maxDescriptors) {
        ::close(fd);
        return lower;
    }
    if (lower != -1)
        ::close(lower);
    _waiting_fd = fd;
    errno = EMFILE;
    return -1;
}

void TRXTCPConn::refuse() {
    int fd = std::exchange(_waiting_fd, -1);
    if (fd == -1) {
        ::close(std::exchange(_spare_fd, -1));
        fd = uninterrupted([this] { return ::accept4(_fd, nullptr, nullptr, SOCK_CLOEXEC); });
    }
    if (fd != -1)
        ::close(fd);
    if (_spare_fd == -1)
        _spare_fd = ::fcntl(_fd, F_DUPFD_CLOEXEC, 0);
}

void TRXTCPConn::attach(int fd) {
    TRX_ASSERT(_state == INITIAL || _state == CLOSED, "viconn");
    replace_socket(fd);
    CORBA_UShort port = 0;
    _body.host = TRXUtil::peer_addr(fd, port);
    if (!_body.host.in())
        _body.host = "";
    _body.port = port;
    _profile.tag = _profile_id;
    store_body();
    _state = ATTACHED;
}

// --- Both --------------------------------------------------------------------------------------------------

void TRXTCPConn::replace_socket(int fd) {
    drop_socket();
    _fd = fd;
    _blocking = true;
}

void TRXTCPConn::drop_socket() {
    if (_fd != -1)
        ::close(std::exchange(_fd, -1));
}

void TRXTCPConn::close() {
    if (TRXConnFactory* factory = TRXConnFactory::find(_profile_id))
        factory->destroy(this);
    TRXConnection::close();
    for (int* fd : {&_waiting_fd, &_spare_fd}) {
        if (*fd != -1)
            ::close(std::exchange(*fd, -1));
    }
    _state = CLOSED;
}

void TRXTCPConn::set_profile(const IOP::TaggedProfile& profile) {
    if (profile.tag != IOP::TAG_INTERNET_IOP)
        throw CORBA_INTERNAL();
    _profile = profile;
    TRXUtil::parse_profile_body(profile.profile_data, _body);
}

void TRXTCPConn::store_body() { _profile.profile_data = IIOP::encoded(_body); }

IOP::TaggedProfile* TRXTCPConn::profile(const CORBA_OctetSequence* key) {
    auto result = std::make_unique<IOP::TaggedProfile>(_profile);
    if (!key)
        return result.release();
    IIOP::ProfileBody body = _body;
    body.object_key = *key;
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    if (const auto port = table.property("OAproxyPort"); port && !port->empty())
        body.port = static_cast<CORBA_UShort>(std::strtol(port->c_str(), nullptr, 10));
    if (const auto host = table.property("OAproxyIPaddr"); host && !host->empty())
        body.host = host->c_str();
    result->tag = IOP::TAG_INTERNET_IOP;
    result->profile_data = IIOP::encoded(body);
    return result.release();
}

namespace {

// Sets the blocking mode that a transfer needs and restores the former one when the transfer fails.
class TransferMode {
public:
    TransferMode(TRXConnection& connection, CORBA_ULong timeout)
        : _connection(connection), _former(connection.blocking()) {
        connection.blocking(timeout == 0);
    }
    TransferMode(const TransferMode&) = delete;
    TransferMode& operator=(const TransferMode&) = delete;
    ~TransferMode() {
        if (!_done && _connection.fd() != -1)
            _connection.blocking(_former);
    }
    void done() { _done = true; }

private:
    TRXConnection& _connection;
    CORBA_Boolean _former;
    bool _done = false;
};

void waitReady(int fd, short events, int seconds) {
    const int ready = pollUntil(fd, events, Deadline(seconds));
    if (ready == 0)
        throw CORBA_NO_RESPONSE();
    if (ready == -1)
        failWithErrno();
}

// A limit of 0 means none for connections, -1 for a Deadline.
int limitOf(CORBA_ULong timeout) { return timeout == 0 ? -1 : static_cast<int>(timeout); }

// Repeats `call` until `total` octets have been transferred or it fails; returns its last result if that is 0
// or -1.
template <class Call>
ssize_t transferAll(int fd, CORBA_ULong total, CORBA_ULong& done, short events, CORBA_ULong timeout,
                    Call call) {
    while (done < total) {
        const ssize_t count = uninterrupted([&] { return call(done, total - done); });
        if (count > 0) {
            done += static_cast<CORBA_ULong>(count);
        } else if (count == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            waitReady(fd, events, limitOf(timeout));
        } else {
            return count;
        }
    }
    return 1;
}

} // namespace

void TRXTCPConn::read(char* buffer, CORBA_ULong& length, CORBA_ULong timeout) {
    if (!buffer) {
        length = 0;
        waitReady(_fd, POLLIN, static_cast<int>(timeout));
        return;
    }
    TRX_ASSERT(_state != INITIAL, "viconn");
    if (_state == CLOSED)
        fail_closed(_saved_errno);
    TransferMode mode(*this, timeout);
    const CORBA_ULong total = std::exchange(length, 0);
    const ssize_t result =
        transferAll(_fd, total, length, POLLIN, timeout,
                    [&](CORBA_ULong done, CORBA_ULong left) { return ::read(_fd, buffer + done, left); });
    if (result == 0)
        fail_closed(0);
    if (result < 0)
        failWithErrno();
    mode.done();
}

void TRXTCPConn::write(const char* octets, CORBA_ULong& length, CORBA_ULong timeout) {
    TRX_ASSERT(_state != INITIAL, "viconn");
    if (_state == CLOSED)
        fail_closed(_saved_errno);
    TransferMode mode(*this, timeout);
    const CORBA_ULong total = std::exchange(length, 0);
    const ssize_t result =
        transferAll(_fd, total, length, POLLOUT, timeout,
                    [&](CORBA_ULong done, CORBA_ULong left) { return ::write(_fd, octets + done, left); });
    if (result <= 0)
        fail_closed(errno);
    mode.done();
}

// --- The shared connections --------------------------------------------------------------------------------

TRXTCPConnFactory::TRXTCPConnFactory() : TRXConnFactory(IOP::TAG_INTERNET_IOP) {}

void TRXTCPConnFactory::destroy(TRXConnection* connection) {
    TRX_ASSERT(connection->profile_id() == IOP::TAG_INTERNET_IOP, "viconn");
    const IIOP::ProfileBody& body = static_cast<TRXTCPConn*>(connection)->body();
    const Place place{body.host.in(), body.port};
    // Another connection may have replaced a closed one.
    const auto* entry = _connections.find(place);
    if (entry && entry->connection == connection)
        _connections.take(place);
}

TRXConnection* TRXTCPConnFactory::create(const IOP::TaggedProfile& profile) {
    TRXRef<TRXTCPConn> listener(new TRXTCPConn);
    listener->listen(profile);
    return listener.detach();
}

TRXConnection* TRXTCPConnFactory::connection(const IOP::TaggedProfile& profile, CORBA_ULong timeout) {
    IIOP::ProfileBody body;
    TRXUtil::parse_profile_body(profile.profile_data, body);
    const Place place{body.host.in(), body.port};
    if (TRXConnection* open = find_open(place))
        return open;
    TRXRef<TRXTCPConn> made(new TRXTCPConn);
    made->connect(profile, timeout);
    // Connecting waits in the loop, so another call may have connected to the same place meanwhile.
    if (TRXConnection* open = find_open(place))
        return open;
    _connections.insert({std::string(place.host), place.port, made.get()});
    return made.detach();
}

// Returns a reference for the caller. A connection that is no longer open is removed from the table.
TRXConnection* TRXTCPConnFactory::find_open(const Place& place) {
    const auto* entry = _connections.find(place);
    if (!entry)
        return nullptr;
    if (entry->connection->state() == TRXConnection::CONNECTED)
        return TRXRef<TRXConnection>::duplicate(entry->connection).detach();
    _connections.take(place);
    return nullptr;
}

CORBA_Boolean TRXTCPConnFactory::is_local(const IOP::TaggedProfile& profile) {
    checkTag(profile);
    IIOP::ProfileBody body;
    TRXUtil::parse_profile_body(profile.profile_data, body);
    return isThisHost(body.host.in());
}
