#pragma once

#include "agent/records/dsmsg.h"

// A request on a session. Fields on the stream: those of DSMessage, requestType, request.
class DSRequest : public DSMessage {
public:
    static const NCTypeInfo info;

    explicit DSRequest(int requestType, DSResource* request = nullptr, uint32_t cookieValue = 0);
    explicit DSRequest(NCistream& in);

    int requestType() const { return requestType_; }
    // What is asked about; null for requests that need nothing. Held by the message.
    DSResource* request() const { return request_.get(); }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override;
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    int requestType_ = 0;
    NCRef<DSResource> request_;
};
