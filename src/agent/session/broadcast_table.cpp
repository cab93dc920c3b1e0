#include "agent/session/broadcast_table.h"

#include "agent/records/dswrap.h"
#include "agent/session/word_file.h"
#include "base/standard_streams.h"
#include "stream/ncudpstr.h"

#include <net/if.h>
#include <sys/ioctl.h>

#include <array>
#include <cstdio>
#include <cstring>

using namespace harbolance;

namespace {

std::unique_ptr<NCBroadcastTable> makeTable(int fd, int port, bool debug) {
    return std::make_unique<BroadcastTable>(fd, port, debug);
}

// Installs the table maker in the stream layer, which does not know address records. Runs before `main`.
[[maybe_unused]] const bool registered = (NCudpstream::setBroadcastTableMaker(makeTable), true);

const NCBroadcastEntry& entryOf(const DSResource* element) {
    const auto* wrapper = static_cast<const DSWrapper*>(static_cast<const DSAssoc*>(element)->value());
    return *wrapper->pointer<const NCBroadcastEntry>();
}

DSAddr addressOf(const sockaddr& address, int port) {
    sockaddr_in internet{};
    // Copied, because reading one type as the other is undefined. Both have 16 octets, and the family is
    // AF_INET.
    std::memcpy(&internet, &address, sizeof internet);
    return {port, internet.sin_addr.s_addr};
}

} // namespace

std::ostream& operator<<(std::ostream& out, const NCBroadcastEntry& entry) {
    out << "Subnet: " << entry.netmask.dottedAddr();
    return out << "  Broadcast: " << entry.broadcast.dottedAddr();
}

BroadcastTable::BroadcastTable(int fd, int port, bool debug) : port_(port), debug_(debug) {
    readFile();
    if (networks_.isEmpty())
        askInterfaces(fd);
}

void BroadcastTable::add(const DSAddr& local, const DSAddr& netmask, const DSAddr& broadcast) {
    // entries_ is a list, since the wrappers keep pointers to its elements.
    entries_.push_back({port_, netmask, broadcast});
    networks_.put(new DSAddr(local), new DSWrapper(&entries_.back()));
}

void BroadcastTable::readFile() {
    auto file = WordFile::fromEnvironment("LOCD_LOCAL_FILE", "localaddr");
    if (!file)
        return;
    if (!file->isOpen()) {
        if (file->isNamedByVariable())
            standardOutput() << "DSAgentHandler::Unable to open localaddr file - " << file->path()
                             << std::endl;
        return;
    }
    while (const auto local = file->nextWord()) {
        const auto netmask = file->nextRawWord();
        const auto broadcast = file->nextRawWord();
        if (!netmask || !broadcast)
            return; // an incomplete line at the end of the file
        add(DSAddr(port_, local->c_str()), DSAddr(port_, netmask->c_str()),
            DSAddr(port_, broadcast->c_str()));
    }
}

bool BroadcastTable::ask(int fd, unsigned long question, void* answer, const char* failure) const {
    const bool answered = ioctl(fd, question, answer) != -1;
    if (!answered && debug_)
        std::perror(failure);
    return answered;
}

std::optional<DSAddr> BroadcastTable::askAddress(int fd, unsigned long question, const ifreq& record) const {
    // The system finds the interface by the name in the record and overwrites what follows it.
    ifreq answer = record;
    if (!ask(fd, question, &answer, "NCudpstream::getLocalAddr: ioctl"))
        return std::nullopt;
    return addressOf(answer.ifr_addr, port_);
}

void BroadcastTable::askInterfaces(int fd) {
    constexpr size_t areaSize = 8192;
    std::array<ifreq, areaSize / sizeof(ifreq)> records{};
    ifconf request{};
    request.ifc_len = sizeof records;
    request.ifc_req = records.data();
    if (!ask(fd, SIOCGIFCONF, &request, "NCudpstream::broadcast: ioctl"))
        return;
    // The system returns as many records as fit, 204, and drops the rest.
    const size_t count = static_cast<size_t>(request.ifc_len) / sizeof(ifreq);
    for (size_t i = 0; i < count; ++i)
        askInterface(fd, records[i]);
}

void BroadcastTable::askInterface(int fd, const ifreq& record) {
    if (record.ifr_addr.sa_family != AF_INET)
        return;
    ifreq flags = record;
    if (!ask(fd, SIOCGIFFLAGS, &flags, "NCudpstream::broadcast: ioctl error"))
        return;
    const bool pointToPoint = (flags.ifr_flags & IFF_POINTOPOINT) != 0;
    const bool reachesOthers = pointToPoint || (flags.ifr_flags & IFF_BROADCAST) != 0;
    // Loopback is left out, because this host is asked in a stage of its own.
    if (!(flags.ifr_flags & IFF_UP) || (flags.ifr_flags & IFF_LOOPBACK) || !reachesOthers)
        return;
    const auto local = askAddress(fd, SIOCGIFADDR, record);
    const auto netmask = local ? askAddress(fd, SIOCGIFNETMASK, record) : std::nullopt;
    // A point-to-point link has no broadcast address; the address of its other end is used.
    const auto broadcast =
        netmask ? askAddress(fd, pointToPoint ? SIOCGIFDSTADDR : SIOCGIFBRDADDR, record) : std::nullopt;
    // The system returns 0 for an address that is not set.
    if (broadcast && broadcast->addr() != INADDR_ANY)
        add(*local, *netmask, *broadcast);
}

int BroadcastTable::forEachTarget(const std::function<int(const sockaddr_in&)>& send) const {
    for (const DSResource* element : networks_) {
        if (const int status = send(entryOf(element).broadcast.socketAddress()))
            return status;
    }
    return 0;
}

const DSAddr* BroadcastTable::localAddrFor(const sockaddr_in& address) const {
    for (const DSResource* element : networks_) {
        const auto* local = static_cast<const DSAddr*>(static_cast<const DSAssoc*>(element)->key());
        const in_addr_t mask = entryOf(element).netmask.addr();
        if ((local->addr() & mask) == (address.sin_addr.s_addr & mask))
            return local;
    }
    return nullptr;
}
