#include "base/assertion.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr char loopback[] = "127.0.0.1";

char* dotted(const in_addr& address) {
    char* text = CORBA_string_alloc(INET_ADDRSTRLEN);
    inet_ntop(AF_INET, &address, text, INET_ADDRSTRLEN);
    return text;
}

// Null when the name has no address. A resolver that keeps saying 'try again' is not asked for ever.
char* resolved(const char* host) {
    constexpr int attempts = 5;
    const hostent* found = nullptr;
    for (int i = 0; i < attempts; ++i) {
        found = gethostbyname(host);
        if (found || h_errno != TRY_AGAIN)
            break;
    }
    if (!found || found->h_addrtype != AF_INET || !found->h_addr_list[0])
        return nullptr;
    in_addr address;
    std::memcpy(&address, found->h_addr_list[0], sizeof address);
    return dotted(address);
}

char* ownAddress() {
    char name[100];
    if (gethostname(name, sizeof name) != 0)
        return nullptr;
    name[sizeof name - 1] = '\0';
    return TRXUtil::host_address(name);
}

} // namespace

char* TRXUtil::peer_addr(int fd, unsigned short& port) {
    TRX_ASSERT(fd >= 0, "vutil");
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_family != AF_INET)
        return nullptr;
    port = ntohs(address.sin_port);
    return dotted(address.sin_addr);
}

char* TRXUtil::host_address(const char* host) {
    if (!host) {
        static const char* own = nullptr; // exit handlers still ask for it
        if (!own)
            own = ownAddress();
        return CORBA_string_dup(own);
    }
    return inet_addr(host) != INADDR_NONE ? CORBA_string_dup(host) : resolved(host);
}

void TRXUtil::make_addr(const char* host, unsigned short port, sockaddr_in* address) {
    *address = sockaddr_in{};
    address->sin_port = htons(port);
    if (!host || !*host)
        return;
    CORBA_String_var text = host_address(host);
    if (!text.in())
        throw CORBA_COMM_FAILURE();
    const CORBA_String_var own = host_address(nullptr);
    if (CORBA_string_compare(text.in(), own.in()) == 0)
        text = loopback;
    inet_aton(text.in(), &address->sin_addr);
}

void TRXUtil::sleep_milliseconds(CORBA_ULong milliseconds) {
    timeval limit{};
    limit.tv_sec = milliseconds / 1000;
    limit.tv_usec = milliseconds % 1000 * 1000;
    select(0, nullptr, nullptr, nullptr, &limit);
}

void TRXUtil::now(timeval& time) { gettimeofday(&time, nullptr); }

timeval TRXUtil::elapsed(const timeval& from, const timeval& to) {
    constexpr long second = 1000000;
    timeval difference{};
    difference.tv_sec = to.tv_sec - from.tv_sec;
    difference.tv_usec = to.tv_usec - from.tv_usec;
    if (difference.tv_usec < 0) {
        --difference.tv_sec;
        difference.tv_usec += second;
    } else if (difference.tv_usec >= second) {
        ++difference.tv_sec;
        difference.tv_usec -= second;
    }
    return difference;
}
