#pragma once

#include "agent/records/dsaddr.h"

// The data that a process sends when it logs in to an agent.
class DSLogin : public harbolance::KeyedRecord<DSLogin> {
public:
    static const NCTypeInfo info;

    // Host, user and process are those of this process. A null text counts as an empty one.
    explicit DSLogin(const char* loginName = nullptr, const char* loginExtra = nullptr);
    explicit DSLogin(NCistream& in) : KeyedRecord(in) { readFields(in); }

    const char* hostName() const { return hostName_.str(); }
    const char* loginName() const { return loginName_.str(); }
    const char* loginExtra() const { return loginExtra_.str(); }
    const char* userName() const { return userName_.str(); }
    int processId() const { return processId_; }
    int machineType() const { return machineType_; }
    // The UDP port at which the process answers are-you-alive requests.
    int verifyPort() const { return verifyPort_; }
    void setVerifyPort(int port) { verifyPort_ = port; }

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{printedLine(&DSLogin::hostName_, "Host Name: "),
                          printedLine(&DSLogin::loginName_, "Login Name: "),
                          unprinted(&DSLogin::loginExtra_),
                          printedLine(&DSLogin::userName_, "User Name: "),
                          printedLine(&DSLogin::processId_, "Process id:"),
                          printedLine(&DSLogin::machineType_, "Machine Type: "),
                          printedLine(&DSLogin::verifyPort_, "Verify Port: ")};
    }
    auto key() const { return std::tie(hostName_, loginName_, loginExtra_); }

private:
    NCString hostName_;
    NCString loginName_;
    NCString loginExtra_;
    NCString userName_;
    int processId_ = 0;
    int machineType_ = 0;
    int verifyPort_ = 0;
};

// A user of an agent. It is not reference-counted and cannot be compared.
class DSUserInfo : public harbolance::Record<DSUserInfo, NCTransObject> {
public:
    static const NCTypeInfo info;

    DSUserInfo(const char* userName, const DSAddr& hostAddr, int processId)
        : userName_(userName), hostAddr_(hostAddr), processId_(processId) {}
    explicit DSUserInfo(NCistream& in) : Record(in) { readFields(in); }

    const char* userName() const { return userName_.str(); }
    const DSAddr& hostAddr() const { return hostAddr_; }
    int processId() const { return processId_; }

    // Prints the address last.
    void printOn(NCostream& out) const override;

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{unprinted(&DSUserInfo::userName_), unprinted(&DSUserInfo::hostAddr_),
                          unprinted(&DSUserInfo::processId_)};
    }

private:
    NCString userName_;
    DSAddr hostAddr_;
    int processId_ = 0;
};
