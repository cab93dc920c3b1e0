#pragma once

#include "agent/records/dsaddr.h"
#include "agent/records/dsname.h"

namespace harbolance {

// The value of a name as a part of a provider's key: unlike names, providers with different values are not
// equal.
struct NameValue {
    const DSResource* value;
};
// When exactly one of the two has a value, the result is -1, whichever it is.
int comparePart(NameValue a, NameValue b);
inline uint32_t hashPart(NameValue) { return 0; }
inline uint64_t fingerprintPart(NameValue part) { return fingerprintOf(part.value); }

} // namespace harbolance

// One registered server.
class DSProvider : public harbolance::KeyedRecord<DSProvider> {
public:
    static const NCTypeInfo info;

    // `clientAddr` and `agentAddr` are initially this host, port 0; the agent that holds the registration
    // sets `agentAddr`.
    DSProvider(const DSName& name, const DSAddr& addr, int protocolType = 0, int adminPort = 0)
        : name_(name), addr_(addr), clientAddr_(0), agentAddr_(0), protocolType_(protocolType),
          adminPort_(adminPort) {}
    explicit DSProvider(NCistream& in) : KeyedRecord(in) { readFields(in); }

    const DSName& name() const { return name_; }
    const DSAddr& addr() const { return addr_; }             // where the service listens
    const DSAddr& clientAddr() const { return clientAddr_; } // host of the registering process
    const DSAddr& agentAddr() const { return agentAddr_; }
    void setAgentAddr(const DSAddr& addr) { agentAddr_ = addr; }
    int protocolType() const { return protocolType_; }
    int adminPort() const { return adminPort_; }

    static constexpr const char* title = "\nClassName: DSProvider\n";
    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printed(&DSProvider::name_, ""),
                          printed(&DSProvider::addr_, ""),
                          printed(&DSProvider::clientAddr_, "Client Addr:"),
                          printed(&DSProvider::agentAddr_, "Agent Addr:"),
                          printed(&DSProvider::protocolType_, "Protocol Type:"),
                          printedLine(&DSProvider::adminPort_, ", Admin Port:")};
    }
    auto key() const {
        return std::tuple<const DSName&, harbolance::NameValue, const DSAddr&, int>{
            name_, {name_.value()}, addr_, protocolType_};
    }

private:
    DSName name_;
    DSAddr addr_;
    DSAddr clientAddr_;
    DSAddr agentAddr_;
    int protocolType_ = 0;
    int adminPort_ = 0;
};
