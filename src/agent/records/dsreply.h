#pragma once

#include "agent/records/dsmsg.h"

// The answer to a request, or a trigger notification of an agent.
// Fields on the stream: those of DSMessage, replyType, requestNum, status, reply.
class DSReply : public DSMessage {
public:
    static const NCTypeInfo info;

    // Repeats the cookie of `request`. A DSReply stands as `request` when it is acknowledged.
    DSReply(int replyType, const DSMessage& request, int status, DSResource* reply = nullptr);
    explicit DSReply(NCistream& in);

    int replyType() const { return replyType_; }
    uint32_t requestNum() const { return requestNum_; }
    int status() const { return status_; }
    // Held by the message; null for replies that carry nothing.
    DSResource* reply() const { return reply_.get(); }

    bool replyOk() const { return status_ == DSStatusDone; }
    bool answers(const DSMessage& message) const { return requestNum_ == message.msgNum(); }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    int replyType_ = 0;
    uint32_t requestNum_ = 0;
    int status_ = 0;
    NCRef<DSResource> reply_;
};
