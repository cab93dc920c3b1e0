#include "agent/records/record.h"

#include <cstring>

namespace harbolance {

// An address is streamed as the four octets of a sockaddr_in.
bool readField(NCistream& in, in_addr& address) {
    unsigned char octets[sizeof address] = {};
    in.read(octets, sizeof octets);
    std::memcpy(&address, octets, sizeof address);
    return true;
}

void writeField(NCostream& out, in_addr address) {
    out.write(reinterpret_cast<const unsigned char*>(&address), sizeof address);
}

} // namespace harbolance
