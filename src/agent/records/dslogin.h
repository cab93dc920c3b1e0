#pragma once

#include "agent/records/dsresrc.h"
#include "stream/ncstring.h"

// What a process tells of itself when it logs in to an agent. Fields on the stream: hostName, loginName,
// loginExtra, userName, processId, machineType, verifyPort.
class DSLogin : public DSResource {
public:
    static const NCTypeInfo info;

    // Host, user and process are those of the caller. Null texts are empty ones.
    explicit DSLogin(const char* loginName, const char* loginExtra = nullptr);
    explicit DSLogin(NCistream& in);

    const char* hostName() const { return hostName_.str(); }
    const char* loginName() const { return loginName_.str(); }
    const char* loginExtra() const { return loginExtra_.str(); }
    const char* userName() const { return userName_.str(); }
    int processId() const { return processId_; }
    int machineType() const { return machineType_; }
    // The UDP port at which the process answers are-you-alive.
    int verifyPort() const { return verifyPort_; }
    void setVerifyPort(int port) { verifyPort_ = port; }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    NCString hostName_;
    NCString loginName_;
    NCString loginExtra_;
    NCString userName_;
    int processId_ = 0;
    int machineType_ = 0;
    int verifyPort_ = 0;
};
