#pragma once

#include "agent/records/dscodes.h"
#include "agent/records/dscookie.h"
#include "agent/records/dsresrc.h"
#include "stream/ncstring.h"

// What travels on a session with an agent: a request (DSRequest) or a reply (DSReply).
// Fields on the stream: version, msgType, msgNum, cookie.
//
// A message of another protocol version is read no further than that: `isCurrentVersion` is false and the
// rest is empty.
class DSMessage : public DSResource {
public:
    static const NCTypeInfo info;

    // Takes the next number of the process. The cookie is `cookieLen` octets, 4 when that is 0, with the raw
    // octets of `cookieValue` in front.
    DSMessage(int type, uint32_t cookieValue, int cookieLen);
    explicit DSMessage(NCistream& in);

    bool isCurrentVersion() const { return version_ == dsVersion; }
    int msgType() const { return msgType_; }
    uint32_t msgNum() const { return msgNum_; }
    const DSCookie& cookie() const { return cookie_; }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return msgNum_; }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

protected:
    DSMessage(int type, const DSCookie& cookie);

private:
    NCString version_;
    int msgType_ = 0;
    uint32_t msgNum_ = 0;
    DSCookie cookie_;
};
