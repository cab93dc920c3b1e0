#include "oadd/access.h"

#include "net/host_address.h"

#include <ifaddrs.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

using namespace harbolance;

namespace oadd {

namespace {

bool isOwnAddress(in_addr_t address) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return false;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owned(list, &::freeifaddrs);
    for (const ifaddrs* each = list; each; each = each->ifa_next) {
        if (each->ifa_addr && each->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr.s_addr == address)
            return true;
    }
    return false;
}

} // namespace

std::optional<Network> networkOf(const std::string& text) {
    constexpr unsigned allBits = 32;
    const size_t slash = text.find('/');
    const auto address = dottedAddress(text.substr(0, slash).c_str());
    unsigned bits = allBits;
    if (slash != text.npos) {
        const char* end = text.data() + text.size();
        const auto [last, error] = std::from_chars(text.data() + slash + 1, end, bits);
        if (error != std::errc() || last != end || bits > allBits)
            return std::nullopt;
    }
    if (!address || text.find_first_not_of("0123456789./") != text.npos)
        return std::nullopt;
    const uint32_t mask = bits == 0 ? 0 : ~uint32_t{0} << (allBits - bits);
    return Network{*address, htonl(mask)};
}

bool Access::isTrusted(int fd) const {
    if (fd < 0)
        return true;
    sockaddr_in peer{};
    sockaddr_in local{};
    socklen_t peerLength = sizeof peer;
    socklen_t localLength = sizeof local;
    return ::getpeername(fd, generic(peer), &peerLength) == 0 &&
           ::getsockname(fd, generic(local), &localLength) == 0 && peer.sin_family == AF_INET &&
           isTrusted(peer.sin_addr.s_addr, local.sin_addr.s_addr);
}

bool Access::isTrusted(in_addr_t peer, in_addr_t local) const {
    const Network loopback{htonl(INADDR_LOOPBACK), htonl(IN_CLASSA_NET)};
    return loopback.contains(peer) || peer == local || isOwnAddress(peer) ||
           std::any_of(networks_.begin(), networks_.end(),
                       [peer](const Network& network) { return network.contains(peer); });
}

bool Access::isOpenToAll(std::string_view operation) {
    constexpr std::array<std::string_view, 10> open = {"lookup_interface", "lookup_implementation",
                                                       "get_status",       "get_status_interface",
                                                       "get_status_all",   "_is_a",
                                                       "_non_existent",    "_hash",
                                                       "__bind",           "__unbind"};
    return std::find(open.begin(), open.end(), operation) != open.end();
}

} // namespace oadd
