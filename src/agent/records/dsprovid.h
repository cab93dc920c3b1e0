#pragma once

#include "agent/records/dsaddr.h"
#include "agent/records/dsname.h"

// One registered server. Fields on the stream: name, addr, clientAddr, agentAddr, protocolType, adminPort.
class DSProvider : public DSResource {
public:
    static const NCTypeInfo info;

    // `clientAddr` and `agentAddr` become this host, port 0; the agent that holds the registration sets the
    // latter.
    DSProvider(const DSName& name, const DSAddr& addr, int protocolType = 0, int adminPort = 0);
    explicit DSProvider(NCistream& in);

    const DSName& name() const { return name_; }
    const DSAddr& addr() const { return addr_; }             // where the service listens
    const DSAddr& clientAddr() const { return clientAddr_; } // the registering process's host
    const DSAddr& agentAddr() const { return agentAddr_; }
    void setAgentAddr(const DSAddr& addr) { agentAddr_ = addr; }
    int protocolType() const { return protocolType_; }
    int adminPort() const { return adminPort_; }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    DSName name_;
    DSAddr addr_;
    DSAddr clientAddr_;
    DSAddr agentAddr_;
    int protocolType_ = 0;
    int adminPort_ = 0;
};
