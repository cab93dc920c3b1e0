#include "base/assertion.h"
#include "invoke/transport/loop_wait.h"
#include "invoke/transport/viconn.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"
#include "net/host_address.h"

#include <sys/socket.h>

#include <cerrno>

// How a TRXTCPConn connects: non-blocking, with every wait in the event loop.

using namespace harbolance;

namespace {

// Detects when the socket of a pending connect has a result. Links the socket while it exists.
class ConnectHandler : public dpIOHandler {
public:
    ConnectHandler(dpDispatcher& dispatcher, int fd) : _dispatcher(dispatcher), _fd(fd) {
        dispatcher.link(fd, dpDispatcher::writeMask, this);
        dispatcher.link(fd, dpDispatcher::exceptMask, this);
    }
    ConnectHandler(const ConnectHandler&) = delete;
    ConnectHandler& operator=(const ConnectHandler&) = delete;
    ~ConnectHandler() override { _dispatcher.unlink(_fd); }

    int outputReady(int) override {
        _ready = true;
        return 0;
    }
    int exceptionRaised(int fd) override { return outputReady(fd); }

    bool ready() const { return _ready; }

private:
    dpDispatcher& _dispatcher;
    int _fd;
    bool _ready = false;
};

bool isLoopback(const sockaddr_in& address) { return address.sin_addr.s_addr == htonl(INADDR_LOOPBACK); }

} // namespace

void TRXTCPConn::connect(const sockaddr_in* address, CORBA_ULong timeout) {
    TRX_ASSERT(_state == INITIAL || _state == CLOSED, "viconn");
    constexpr int busyAttempts = 16;
    sockaddr_in target = *address;
    bool refusedBefore = false;
    CORBA_ULong pause = 1;
    CORBA_ULong left = timeout;
    int busy = 0;
    for (;;) {
        const int error = try_connecting(target, left);
        if (error == 0)
            break;
        const bool again = error == EADDRINUSE ? ++busy <= busyAttempts : error == ECONNREFUSED;
        if (!again)
            throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(error), COMPLETED_NO);
        if (error == EADDRINUSE)
            continue;
        if (!refusedBefore) {
            refusedBefore = true;
            const ThisHost& own = thisHost();
            if (isLoopback(target) && own.state == ThisHost::State::known)
                target.sin_addr.s_addr = own.address;
            continue;
        }
        pause *= 2;
        left = pause < left ? left - pause : 0;
        if (left == 0)
            throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(error), COMPLETED_NO);
        LoopWait().pause(std::chrono::seconds(pause));
    }
    set_client_options();
    _state = CONNECTED;
}

// Makes one attempt with a new socket. Returns 0 or errno.
int TRXTCPConn::try_connecting(const sockaddr_in& address, CORBA_ULong timeout) {
    replace_socket(open_socket());
    blocking(0);
    int error = 0;
    if (::connect(_fd, generic(address), sizeof address) == -1)
        error = errno;
    if (error == EINPROGRESS || error == EAGAIN || error == EINTR)
        error = wait_connected(timeout);
    if (error != 0)
        drop_socket();
    return error;
}

int TRXTCPConn::wait_connected(CORBA_ULong timeout) {
    LoopWait wait;
    bool decided = false;
    {
        const ConnectHandler handler(wait.dispatcher(), _fd);
        decided = wait.until(timeout, [&handler] { return handler.ready(); });
    }
    if (!decided) {
        drop_socket();
        throw CORBA_NO_RESPONSE();
    }
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(_fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}
