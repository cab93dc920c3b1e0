#pragma once

#include "agent/records/dsaddr.h"
#include "stream/ncstring.h"

// A user of an agent. Neither counted nor comparable. Fields on the stream: userName, hostAddr, processId.
class DSUserInfo : public NCTransObject {
public:
    static const NCTypeInfo info;

    DSUserInfo(const char* userName, const DSAddr& hostAddr, int processId);
    explicit DSUserInfo(NCistream& in);

    const char* userName() const { return userName_.str(); }
    const DSAddr& hostAddr() const { return hostAddr_; }
    int processId() const { return processId_; }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;

private:
    NCString userName_;
    DSAddr hostAddr_;
    int processId_ = 0;
};
