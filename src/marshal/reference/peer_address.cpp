#include "base/assertion.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"
#include "net/host_address.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>

using namespace harbolance;

namespace {

constexpr char loopback[] = "127.0.0.1";

std::optional<in_addr_t> ownAddress() {
    const ThisHost& host = thisHost();
    return host.state == ThisHost::State::known ? std::optional(host.address) : std::nullopt;
}

} // namespace

char* TRXUtil::peer_addr(int fd, unsigned short& port) {
    TRX_ASSERT(fd >= 0, "vutil");
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getpeername(fd, generic(address), &size) != 0 || address.sin_family != AF_INET)
        return nullptr;
    port = ntohs(address.sin_port);
    return CORBA_string_dup(dottedText(address.sin_addr.s_addr).c_str());
}

char* TRXUtil::host_address(const char* host) {
    if (host && dottedAddress(host))
        return CORBA_string_dup(host);
    const auto address = host ? addressOfHost(host) : ownAddress();
    return address ? CORBA_string_dup(dottedText(*address).c_str()) : nullptr;
}

void TRXUtil::make_addr(const char* host, unsigned short port, sockaddr_in* address) {
    // The caller sets the address family.
    *address = sockaddr_in{};
    address->sin_port = htons(port);
    if (!host || !*host)
        return;
    CORBA_String_var text = host_address(host);
    if (!text.in())
        throw CORBA_COMM_FAILURE();
    // A connection to this host itself uses loopback, which needs no network. The resolver is not asked for
    // this host's address when the result would be the same.
    if (CORBA_string_compare(text.in(), loopback) != 0) {
        const CORBA_String_var own = host_address(nullptr);
        if (CORBA_string_compare(text.in(), own.in()) == 0)
            text = loopback;
    }
    address->sin_addr.s_addr = dottedAddress(text.in()).value_or(0);
}

void TRXUtil::sleep_milliseconds(CORBA_ULong milliseconds) {
    timeval limit{};
    limit.tv_sec = milliseconds / 1000;
    limit.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    // A signal ends the sleep early.
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
