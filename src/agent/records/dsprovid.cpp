#include "agent/records/dsprovid.h"

#include <iterator>

using namespace harbolance;

const NCTypeInfo DSProvider::info("DSProvider", ncCreate<DSProvider>, {&DSResource::info});

DSProvider::DSProvider(const DSName& name, const DSAddr& addr, int protocolType, int adminPort)
    : name_(name), addr_(addr), clientAddr_(0), agentAddr_(0), protocolType_(protocolType),
      adminPort_(adminPort) {}

DSProvider::DSProvider(NCistream& in)
    : DSResource(in), name_(in), addr_(in), clientAddr_(in), agentAddr_(in) {
    in.read(protocolType_).read(adminPort_);
}

void DSProvider::write(NCostream& out) const {
    out.writeEmbedded(name_).writeEmbedded(addr_).writeEmbedded(clientAddr_).writeEmbedded(agentAddr_);
    const int numbers[] = {protocolType_, adminPort_};
    out.write(numbers, std::size(numbers));
}

void DSProvider::printOn(NCostream& out) const {
    out.write("\nClassName: DSProvider\n");
    name_.printOn(out);
    addr_.printOn(out);
    out.write("Client Addr:");
    clientAddr_.printOn(out);
    out.write("Agent Addr:");
    agentAddr_.printOn(out);
    out.write("Protocol Type:").write(protocolType_).write(", Admin Port:").write(adminPort_).write("\n");
}

uint32_t DSProvider::hash() const {
    return name_.hash() ^ addr_.hash() ^ static_cast<uint32_t>(protocolType_);
}

int DSProvider::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSProvider>(other);
    if (!that)
        return -1;
    if (const int order = name_.compare(&that->name_))
        return order;
    const DSResource* value = name_.value();
    const DSResource* otherValue = that->name_.value();
    if (!value != !otherValue)
        return -1;
    if (const int order = dsCompare(value, otherValue))
        return order;
    if (const int order = addr_.compare(&that->addr_))
        return order;
    return dsDifference(protocolType_, that->protocolType_);
}

uint64_t DSProvider::fingerprint() const {
    uint64_t print = mixFingerprint(name_.fingerprint(), dsFingerprint(name_.value()));
    print = mixFingerprint(print, addr_.fingerprint());
    return mixFingerprint(print, static_cast<uint32_t>(protocolType_));
}
